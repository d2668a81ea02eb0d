#include "snapshot/QELSES2Enclosure.h"

#include "snapshot/DeviceCopy.h"
#include "snapshot/ElementReader.h"
#include "snapshot/QELSESElement.h"

namespace {

// clang-format off
constexpr AttributeRow<QELSES2Enclosure> kAttributes[] = {
    {"deviceType",    asLong<&PhysicalDevice::deviceType>},
    {"vendor",        asText<&PhysicalDevice::vendor>},
    {"model",         asText<&PhysicalDevice::model>},
    {"serialNumber",  asText<&PhysicalDevice::serialNumber>},
    {"fruNumber",     asText<&PhysicalDevice::fruNumber>},
    {"wwn",           asText<&PhysicalDevice::wwn>},
    {"state",         asLong<&PhysicalDevice::state>},
    {"interfaceType", asLong<&PhysicalDevice::interfaceType>},
    {"wwn0",          asLong<&PhysicalDevice::wwn0>},
    {"wwn1",          asLong<&PhysicalDevice::wwn1>},
    {"sataPort",      asLong<&PhysicalDevice::sataPort>},
    {"sesDataValid",  asBool<&SES2EnclosureDevice::sesDataValid>},
    {"deviceID",      asID<&Addr::deviceID>},
};

constexpr ChildRow<QELSES2Enclosure> kChildren[] = {
    {"SESElement", [](QELSES2Enclosure& enclosure, SimpleXmlParser& parser) {
        readInto<QELSESElement>(enclosure, parser);
    }},
};
// clang-format on

}  // namespace

QELSES2Enclosure::QELSES2Enclosure(Adapter* ownAdapter, Channel* ownChannel)
    : SES2EnclosureDevice(ownAdapter, ownChannel) {}

bool QELSES2Enclosure::isInstanceOf(char const* name) const {
    return isNamed(name, "QELSES2Enclosure") || SES2EnclosureDevice::isInstanceOf(name);
}

void QELSES2Enclosure::writeTo(Writer* writer) const {
    SES2EnclosureDevice::writeTo(writer);
    writer->writeBool("sesDataValid", sesDataValid);
}

void QELSES2Enclosure::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "SESEnclosureDevice", attributes, {"deviceID", &Addr::deviceID},
                 kAttributes, kChildren);
}

void QELSES2Enclosure::build(SES2EnclosureDevice* source) {
    if (source == nullptr) return;
    copyDevice(*this, *source);
    sesDataValid = source->isSESDataValid();
    forEachChild(*source, [this](RaidObject* child) {
        if (child->isInstanceOf("SESElement")) {
            copyInto<QELSESElement>(*this, static_cast<SESElement*>(child));
        }
    });
}
