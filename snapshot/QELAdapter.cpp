#include "snapshot/QELAdapter.h"

#include <vector>

#include "snapshot/ElementReader.h"
#include "snapshot/QELChannel.h"
#include "snapshot/QELLogicalDrive.h"
#include "snapshot/QELSASPhy.h"

namespace {

constexpr Limit kKeptLimits[] = {
    kLimitLogicalDrives,   kLimitArrays,      kLimitSpannedArrays, kLimitChannels, kLimitID,
    kLimitDevicesPerArray, kLimitControllers,
};

template <Limit Number>
void asLimit(QELAdapter& adapter, const XmlAttributeList_C& list, std::uint32_t place) {
    adapter.setLimit(Number, static_cast<std::int32_t>(list.GetLong(place)));
}

// clang-format off
constexpr AttributeRow<QELAdapter> kAttributes[] = {
    {"controllerID",       asID<&Addr::controllerID>},
    {"controllerType",     asLong<&Adapter::controllerType>},
    {"physicalSlot",       asLong<&Adapter::physicalSlot>},
    {"controllerStatus",   asLong<&Adapter::controllerStatus>},
    {"deviceVendor",       asText<&Adapter::deviceVendor>},
    {"deviceName",         asText<&Adapter::deviceName>},
    {"controllerSerial",   asText<&Adapter::controllerSerial>},
    {"pciBus",             asULong<&Adapter::pciBus>},
    {"pciDevice",          asULong<&Adapter::pciDevice>},
    {"pciFunction",        asULong<&Adapter::pciFunction>},
    {"batStatus",          asLong<&Adapter::batStatus>},
    {"batTempWarning",     asBool<&Adapter::batTempWarning>},
    {"versionMatchStatus", asLong<&Adapter::versionMatchStatus>},
    {"maxLogicalDrives",   asLimit<kLimitLogicalDrives>},
    {"maxArrays",          asLimit<kLimitArrays>},
    {"maxSpannedArrays",   asLimit<kLimitSpannedArrays>},
    {"maxChannels",        asLimit<kLimitChannels>},
    {"maxID",              asLimit<kLimitID>},
    {"maxDevicesPerArray", asLimit<kLimitDevicesPerArray>},
    {"maxControllers",     asLimit<kLimitControllers>},
};

constexpr ChildRow<QELAdapter> kChildren[] = {
    {"Channel", [](QELAdapter& adapter, SimpleXmlParser& parser) {
        readInto<QELChannel>(adapter, parser, &adapter);
    }},
    {"LogicalDrive", [](QELAdapter& adapter, SimpleXmlParser& parser) {
        readInto<QELLogicalDrive>(adapter, parser, &adapter);
    }},
    {"SASPhy", [](QELAdapter& adapter, SimpleXmlParser& parser) {
        readInto<QELSASPhy>(adapter, parser);
    }},
};
// clang-format on

}  // namespace

bool QELAdapter::isInstanceOf(char const* name) const {
    return isNamed(name, "QELAdapter") || Adapter::isInstanceOf(name);
}

void QELAdapter::writeTo(Writer* writer) const {
    Adapter::writeTo(writer);
    writeASCII(writer, "LDPath", LDPath);
    writeASCII(writer, "controllerSerial", controllerSerial);
    writer->writeInt("pciBus", pciBus);
    writer->writeInt("pciDevice", pciDevice);
    writer->writeInt("pciFunction", pciFunction);
    writer->writeInt("batStatus", batStatus);
    writer->writeInt("batTempWarning", batTempWarning ? 1 : 0);
    writer->writeInt("versionMatchStatus", versionMatchStatus);
}

void QELAdapter::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "Controller", attributes, {"controllerID", &Addr::controllerID},
                 kAttributes, kChildren);
}

void QELAdapter::build(Adapter* source) {
    if (source == nullptr) return;
    addr = source->addr;
    controllerType = source->controllerType;
    physicalSlot = source->getPhysicalSlot();
    controllerStatus = source->getAdapterStatus();
    setText(deviceVendor, source->deviceVendor);
    setText(deviceName, source->deviceName);
    setText(controllerSerial, source->controllerSerial);
    pciBus = source->pciBus;
    pciDevice = source->pciDevice;
    pciFunction = source->pciFunction;
    batStatus = source->batStatus;
    batTempWarning = source->batTempWarning;
    versionMatchStatus = source->versionMatchStatus;
    for (const Limit limit : kKeptLimits) setLimit(limit, source->getLimit(limit));

    forEachChild(*source, [this](RaidObject* child) {
        if (child->isInstanceOf("Channel")) {
            copyInto<QELChannel>(*this, static_cast<Channel*>(child), this);
        } else if (child->isInstanceOf("LogicalDrive")) {
            addLogicalDrive(child);
        } else if (child->isInstanceOf("SASPhy")) {
            copyInto<QELSASPhy>(*this, static_cast<SASPhy*>(child));
        } else if (child->isInstanceOf("Config")) {
            std::vector<RaidObject*> drives;
            child->getChildren(drives, "LogicalDrive", true, true);
            for (RaidObject* drive : drives) addLogicalDrive(drive);
        }
    });
}

void QELAdapter::addLogicalDrive(RaidObject* source) {
    if (source != nullptr) {
        copyInto<QELLogicalDrive>(*this, static_cast<LogicalDrive*>(source), this);
    }
}
