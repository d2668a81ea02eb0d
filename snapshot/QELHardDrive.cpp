#include "snapshot/QELHardDrive.h"

#include "snapshot/DeviceCopy.h"
#include "snapshot/ElementReader.h"
#include "snapshot/QELSASPhy.h"

namespace {

// clang-format off
constexpr AttributeRow<QELHardDrive> kAttributes[] = {
    {"deviceType",     asLong<&PhysicalDevice::deviceType>},
    {"vendor",         asText<&PhysicalDevice::vendor>},
    {"model",          asText<&PhysicalDevice::model>},
    {"serialNumber",   asText<&PhysicalDevice::serialNumber>},
    {"firmwareLevel",  asText<&PhysicalDevice::firmwareLevel>},
    {"fruNumber",      asText<&PhysicalDevice::fruNumber>},
    {"wwn",            asText<&PhysicalDevice::wwn>},
    {"state",          asLong<&PhysicalDevice::state>},
    {"interfaceType",  asLong<&PhysicalDevice::interfaceType>},
    {"wwn0",           asLong<&PhysicalDevice::wwn0>},
    {"wwn1",           asLong<&PhysicalDevice::wwn1>},
    {"sataPort",       asLong<&PhysicalDevice::sataPort>},
    {"size",           asLong<&HardDrive::size>},
    {"pfaError",       asBool<&HardDrive::pfaError>},
    {"pfaSupported",   asBool<&HardDrive::pfaSupported>},
    {"OSPartition",    asBool<&HardDrive::OSPartition>},
    {"taskInProgress", asBool<&HardDrive::taskInProgress>},
    {"LDPath",         asString<&QELHardDrive::LDPath>},
    {"deviceID",       asID<&Addr::deviceID>},
};

constexpr ChildRow<QELHardDrive> kChildren[] = {
    {"SASPhy", [](QELHardDrive& drive, SimpleXmlParser& parser) {
        readInto<QELSASPhy>(drive, parser);
    }},
};
// clang-format on

}  // namespace

QELHardDrive::QELHardDrive(Adapter* ownAdapter, Channel* ownChannel)
    : HardDrive(ownAdapter, ownChannel) {}

bool QELHardDrive::isInstanceOf(char const* name) const {
    return isNamed(name, "QELHardDrive") || HardDrive::isInstanceOf(name);
}

void QELHardDrive::writeTo(Writer* writer) const {
    HardDrive::writeTo(writer);
    writeASCII(writer, "LDPath", LDPath);
}

void QELHardDrive::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "HardDrive", attributes, {"deviceID", &Addr::deviceID}, kAttributes,
                 kChildren);
}

void QELHardDrive::build(HardDrive* source) {
    if (source == nullptr) return;
    copyDevice(*this, *source);
    setText(firmwareLevel, source->firmwareLevel);
    size = source->size;
    pfaError = source->getPfaError();
    pfaSupported = source->getPfaSupported();
    OSPartition = source->OSPartition;
    taskInProgress = source->taskInProgress;
    forEachChild(*source, [this](RaidObject* child) {
        if (child->isInstanceOf("SASPhy")) {
            copyInto<QELSASPhy>(*this, static_cast<SASPhy*>(child));
        }
    });
}
