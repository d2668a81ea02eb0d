#include "storlib/PhysicalDevice.h"

#include "storlib/Adapter.h"
#include "storlib/Attributes.h"
#include "storlib/Channel.h"

namespace {

template <class Self, class Visitor>
void visit(Self& self, Visitor& v) {
    v.integer("deviceType", self.deviceType);
    v.text("vendor", self.vendor);
    v.text("model", self.model);
    v.text("serialNumber", self.serialNumber);
    v.text("firmwareLevel", self.firmwareLevel);
    v.text("fruNumber", self.fruNumber);
    v.text("wwn", self.wwn);
    v.integer("state", self.state);
    v.integer("interfaceType", self.interfaceType);
    v.integer("wwn0", self.wwn0);
    v.integer("wwn1", self.wwn1);
    v.integer("sataPort", self.sataPort);
}

}  // namespace

PhysicalDevice::PhysicalDevice(Adapter* ownAdapter, Channel* ownChannel)
    : adapter(ownAdapter), channel(ownChannel) {
    if (ownAdapter != nullptr) addr.controllerID = ownAdapter->addr.controllerID;
    if (ownChannel != nullptr) addr.channelID = ownChannel->addr.channelID;
}

bool PhysicalDevice::isInstanceOf(char const* name) const {
    return isNamed(name, "PhysicalDevice") || RaidObject::isInstanceOf(name);
}

char const* PhysicalDevice::typeName() const { return "PhysicalDevice"; }

void PhysicalDevice::writeTo(Writer* writer) const {
    RaidObject::writeTo(writer);
    AttributeWriter v{writer};
    visit(*this, v);
}

void PhysicalDevice::readFrom(Reader* reader) {
    RaidObject::readFrom(reader);
    AttributeReader v{reader};
    visit(*this, v);
}
