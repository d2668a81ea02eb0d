#include "snapshot/QELChannel.h"

#include "snapshot/ElementReader.h"
#include "snapshot/QELEnclosure.h"
#include "snapshot/QELHardDrive.h"
#include "snapshot/QELSES2Enclosure.h"

namespace {

template <class Device>
void readDevice(QELChannel& channel, SimpleXmlParser& parser) {
    readInto<Device>(channel, parser, channel.getAdapter(), &channel);
}

// clang-format off
constexpr AttributeRow<QELChannel> kAttributes[] = {
    {"channelType", asLong<&Channel::channelType>},
    {"channelID",   asID<&Addr::channelID>},
};

constexpr ChildRow<QELChannel> kChildren[] = {
    {"HardDrive",          readDevice<QELHardDrive>},
    {"Enclosure",          readDevice<QELEnclosure>},
    {"SESEnclosureDevice", readDevice<QELSES2Enclosure>},
};
// clang-format on

}  // namespace

QELChannel::QELChannel(Adapter* owner) : Channel(owner) {}

bool QELChannel::isInstanceOf(char const* name) const {
    return isNamed(name, "QELChannel") || Channel::isInstanceOf(name);
}

void QELChannel::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "Channel", attributes, {"channelID", &Addr::channelID}, kAttributes,
                 kChildren);
}

void QELChannel::build(Channel* source) {
    if (source == nullptr) return;
    addr = source->addr;
    channelType = source->getChannelType();
    forEachChild(*source, [this](RaidObject* child) {
        if (child->isInstanceOf("HardDrive")) {
            copyInto<QELHardDrive>(*this, static_cast<HardDrive*>(child), getAdapter(), this);
        } else if (child->isInstanceOf("Enclosure")) {
            copyInto<QELEnclosure>(*this, static_cast<Enclosure*>(child), getAdapter(), this);
        } else if (child->isInstanceOf("SES2EnclosureDevice")) {
            copyInto<QELSES2Enclosure>(*this, static_cast<SES2EnclosureDevice*>(child),
                                       getAdapter(), this);
        }
    });
}
