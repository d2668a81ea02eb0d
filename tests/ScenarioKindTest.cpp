// Each field that a scenario file may have reaches its place in the storage object, and no other.
#include "storlib/sources/ScenarioKind.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "storlib/Enclosure.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/SASPhy.h"
#include "storlib/SATAChannel.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/SafteConfig.h"
#include "storlib/SafteStatus.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/sources/Scenario.h"

namespace {

using Lines = std::set<std::string>;

// --- storage objects as lines "type.member=value" ---

class Dump {
public:
    explicit Dump(const System& system) { add(system.getChildren()); }
    Lines lines;

private:
    void add(const std::vector<RaidObject*>& objects) {
        for (const RaidObject* object : objects) {
            type = object->typeName();
            note("type", type);
            address(object->addr);
            members(*object);
            add(object->getChildren());
        }
    }

    void note(const std::string& name, const std::string& value) {
        lines.insert(type + "." + name + "=" + value);
    }
    template <class Number>
    void number(const char* name, Number value) {
        note(name, std::to_string(value));
    }

    void address(const Addr& a) {
        number("controllerID", a.controllerID);
        number("channelID", a.channelID);
        number("deviceID", a.deviceID);
        number("logicalDriveID", a.logicalDriveID);
        number("itemID", a.itemID);
        number("phyID", a.phyID);
    }

    void members(const RaidObject& o) {
        if (o.isInstanceOf("Adapter")) adapter(static_cast<const Adapter&>(o));
        if (o.isInstanceOf("Channel"))
            number("channelType", static_cast<const Channel&>(o).channelType);
        if (o.isInstanceOf("SATAChannel"))
            number("portCount", static_cast<const SATAChannel&>(o).portCount);
        if (o.isInstanceOf("PhysicalDevice")) device(static_cast<const PhysicalDevice&>(o));
        if (o.isInstanceOf("HardDrive")) drive(static_cast<const HardDrive&>(o));
        if (o.isInstanceOf("LogicalDrive")) logical(static_cast<const LogicalDrive&>(o));
        if (o.isInstanceOf("Enclosure")) safte(static_cast<const Enclosure&>(o));
        if (o.isInstanceOf("SES2EnclosureDevice")) {
            number("sesDataValid", static_cast<const SES2EnclosureDevice&>(o).sesDataValid);
        }
        if (o.isInstanceOf("SESElement")) element(static_cast<const SESElement&>(o));
        if (o.isInstanceOf("SASPhy")) phy(static_cast<const SASPhy&>(o));
    }

    void adapter(const Adapter& a) {
        note("deviceVendor", a.deviceVendor);
        note("deviceName", a.deviceName);
        note("controllerSerial", a.controllerSerial);
        number("pciBus", a.pciBus);
        number("pciDevice", a.pciDevice);
        number("pciFunction", a.pciFunction);
        number("controllerType", a.controllerType);
        number("physicalSlot", a.physicalSlot);
        number("controllerStatus", a.controllerStatus);
        number("batStatus", static_cast<int>(a.batStatus));
        number("batTempWarning", a.batTempWarning);
        number("versionMatchStatus", a.versionMatchStatus);
        number("temperature", a.temperature);
        number("temperatureLimit", a.temperatureLimit);
        note("biosVersion", a.biosVersion);
        note("firmwareVersion", a.firmwareVersion);
        note("deviceDriverVersion", a.deviceDriverVersion);
        for (int i = 0; i < Adapter::kFeatures; ++i) {
            const int present = a.getFeature(static_cast<FeatureEnum>(i));
            if (present != 0) number("feature", i);
        }
        for (int i = 1; i < Adapter::kLimits; ++i) {
            number(("limit" + std::to_string(i)).c_str(), a.getLimit(static_cast<Limit>(i)));
        }
    }

    void device(const PhysicalDevice& d) {
        number("deviceType", d.deviceType);
        note("vendor", d.vendor);
        note("model", d.model);
        note("serialNumber", d.serialNumber);
        note("firmwareLevel", d.firmwareLevel);
        note("fruNumber", d.fruNumber);
        note("wwn", d.wwn);
        number("wwn0", d.wwn0);
        number("wwn1", d.wwn1);
        number("state", d.state);
        number("interfaceType", d.interfaceType);
        number("sataPort", d.sataPort);
    }

    void drive(const HardDrive& d) {
        number("size", d.size);
        number("pfaError", d.pfaError);
        number("pfaSupported", d.pfaSupported);
        number("OSPartition", d.OSPartition);
        number("taskInProgress", d.taskInProgress);
        number("temperature", d.temperature);
        number("temperature", d.temperature);
    }

    void logical(const LogicalDrive& d) {
        number("state", d.state);
        number("raidLevel", d.raidLevel);
        number("blockedAccess", d.blockedAccess);
        number("writeCacheMode", d.writeCacheMode);
        number("OSPartition", d.OSPartition);
        number("badBlockCount", d.badBlockCount);
        number("snapshotType", d.snapshotType);
        number("snapshotPartnerID", d.snapshotPartnerID);
        number("uniqueID", d.uniqueID);
        number("dataSpace", d.dataSpace);
        number("subState", d.subState);
        note("logicalName", d.logicalName);
        note("secondaryLogicals", d.secondaryLogicals);
        number("createDay", d.createDay);
        number("createMonth", d.createMonth);
        number("createYear", d.createYear);
        number("createHour", d.createHour);
        number("createMinute", d.createMinute);
        number("createSecond", d.createSecond);
        number("createMilliSec", d.createMilliSec);
        number("bTaskInProgress", d.bTaskInProgress);
    }

    void safte(const Enclosure& e) {
        number("safteDataValid", e.safteDataValid);
        number("fanCount", e.getFanCount());
        number("powerSupplyCount", e.getPowerSupplyCount());
        number("fan0", e.getFanStatus(0));
        number("fan1", e.getFanStatus(1));
        number("supply0", e.getPowerSupplyStatus(0));
        number("slot1", e.getDeviceIDFromSlotNumber(1));
        number("slotCount", e.getSafteConfig() == nullptr ? 0 : e.getSafteConfig()->slotCount);
        number("hot", e.isTempOutOfRange());
    }

    void element(const SESElement& e) {
        number("elementType", e.elementType);
        number("status", e.status);
        note("descriptor", e.descriptor);
        number("reading", e.reading);
    }

    void phy(const SASPhy& p) {
        note("SASaddress", p.SASaddress);
        note("attachedSASaddress", p.attachedSASaddress);
        number("attachedPhyID", p.attachedPhyID);
        number("attachedDeviceType", p.attachedDeviceType);
        number("initiatorProtocols", p.initiatorProtocols);
        number("targetProtocols", p.targetProtocols);
        number("attachedInitiatorProtocols", p.attachedInitiatorProtocols);
        number("attachedTargetProtocols", p.attachedTargetProtocols);
        number("negPhyLinkRate", p.negPhyLinkRate);
        number("progMinPhyLinkRate", p.progMinPhyLinkRate);
        number("progMaxPhyLinkRate", p.progMaxPhyLinkRate);
        number("hwMinPhyLinkRate", p.hwMinPhyLinkRate);
        number("hwMaxPhyLinkRate", p.hwMaxPhyLinkRate);
        number("phyChangeCount", p.phyChangeCount);
        number("virtualPhy", p.virtualPhy);
        number("pathTimeout", p.pathTimeout);
        number("routingType", p.routingType);
    }

    std::string type;
};

// --- a machine with one object of a kind ---

// `fields` stands behind what the kind needs: "" or ", \"name\": value".
std::string machineWith(const std::string& kind, const std::string& fields) {
    const auto channel = [](const std::string& list, const std::string& object) {
        return R"({"number": 9, "channels": [{"number": 9, ")" + list + "\": [" + object + "]}]}";
    };
    const auto device = [&](const std::string& list, const std::string& more) {
        const bool given = fields.find("\"device\"") != std::string::npos;
        return channel(list,
                       "{" + (given ? fields.substr(2) : "\"device\": 9" + fields) + more + "}");
    };
    const auto object = [](const std::string& text) {
        return "{" + (text.empty() ? text : text.substr(2)) + "}";
    };
    if (kind == "controller") return object(fields);
    if (kind == "channel") {
        const bool typed = fields.find("\"type\"") != std::string::npos;
        return R"({"number": 9, "channels": [{)" +
               (typed ? fields.substr(2) : "\"type\": \"sata\"" + fields) + "}]}";
    }
    if (kind == "drive") return device("drives", "");
    if (kind == "safteEnclosure") return device("safteEnclosures", "");
    if (kind == "sesEnclosure") return device("sesEnclosures", "");
    if (kind == "element") {
        const bool typed = fields.find("\"type\"") != std::string::npos;
        return channel("sesEnclosures", R"({"device": 9, "elements": [{)" +
                                            (typed ? fields.substr(2) : "\"type\": 1" + fields) +
                                            "}]}");
    }
    if (kind == "phy") return R"({"number": 9, "phys": [)" + object(fields) + "]}";
    if (kind == "logicalDrive")
        return R"({"number": 9, "logicalDrives": [)" + object(fields) + "]}";
    return "{}";
}

Lines linesOf(const std::string& controller) {
    std::string error;
    const auto scenario = Scenario::parse(
        R"({"scenario": 1, "title": "t", "controllers": [)" + controller + "]}", "f", error);
    EXPECT_NE(nullptr, scenario) << controller << "\n" << error;
    System system;
    if (scenario) scenario->fill(system);
    return Dump(system).lines;
}

Lines difference(const Lines& a, const Lines& b) {
    Lines found;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(found, found.end()));
    return found;
}

struct FieldCase {
    const char* kind;
    const char* field;
    const char* value;
    Lines appears;  // what is in the storage objects only with the field
};

// clang-format off
const std::vector<FieldCase>& fieldCases() {
    static const std::vector<FieldCase> rows = {
        {"controller", "family", "\"zor\"", {}},  // another class: see the test of its own below
        {"controller", "number", "5", {"VantAdapter.controllerID=5", "VantAdapter.pciBus=6"}},
        {"controller", "vendor", "\" Acme \"", {"VantAdapter.deviceVendor=Acme"}},
        {"controller", "name", "\"RX\"", {"VantAdapter.deviceName=RX"}},
        {"controller", "serial", "\"SN1\"", {"VantAdapter.controllerSerial=SN1"}},
        {"controller", "pciBus", "7", {"VantAdapter.pciBus=7"}},
        {"controller", "pciDevice", "3", {"VantAdapter.pciDevice=3"}},
        {"controller", "pciFunction", "2", {"VantAdapter.pciFunction=2"}},
        {"controller", "type", "4", {"VantAdapter.controllerType=4"}},
        {"controller", "slot", "0", {"VantAdapter.physicalSlot=0"}},
        {"controller", "status", "\"failed\"", {"VantAdapter.controllerStatus=1"}},
        {"controller", "battery", "\"discharging\"", {"VantAdapter.batStatus=9"}},
        {"controller", "batteryTooHot", "true", {"VantAdapter.batTempWarning=1"}},
        {"controller", "versionsMatch", "false", {"VantAdapter.versionMatchStatus=1"}},
        {"controller", "temperature", "-5", {"VantAdapter.temperature=-5", "VantAdapter.feature=47"}},
        {"controller", "temperatureLimit", "70", {"VantAdapter.temperatureLimit=70"}},
        {"controller", "features", "[0, 3]", {"VantAdapter.feature=0", "VantAdapter.feature=3"}},
        {"controller", "bios", "\"1\"", {"VantAdapter.biosVersion=1"}},
        {"controller", "firmware", "\"2\"", {"VantAdapter.firmwareVersion=2"}},
        {"controller", "driver", "\"3\"", {"VantAdapter.deviceDriverVersion=3"}},
        {"controller", "maxLogicalDrives", "21", {"VantAdapter.limit1=21"}},
        {"controller", "maxArrays", "22", {"VantAdapter.limit2=22"}},
        {"controller", "maxSpannedArrays", "23", {"VantAdapter.limit3=23"}},
        {"controller", "maxChannels", "24", {"VantAdapter.limit4=24"}},
        {"controller", "maxID", "25", {"VantAdapter.limit5=25"}},
        {"controller", "maxDevicesPerArray", "26", {"VantAdapter.limit6=26"}},
        {"controller", "maxControllers", "27", {"VantAdapter.limit7=27"}},

        {"channel", "number", "5", {"SATAChannel.channelID=5"}},
        {"channel", "type", "\"sas\"", {"Channel.type=Channel", "Channel.channelType=4", "Channel.controllerID=9", "Channel.channelID=0",
                                         "Channel.deviceID=2147483647", "Channel.logicalDriveID=2147483647", "Channel.itemID=2147483647", "Channel.phyID=2147483647"}},
        {"channel", "ports", "4", {"SATAChannel.portCount=4"}},

        {"drive", "device", "3", {"HardDrive.deviceID=3"}},
        {"drive", "vendor", "\"V\"", {"HardDrive.vendor=V"}},
        {"drive", "model", "\"M\"", {"HardDrive.model=M"}},
        {"drive", "serial", "\"S\"", {"HardDrive.serialNumber=S"}},
        {"drive", "firmware", "\"F\"", {"HardDrive.firmwareLevel=F"}},
        {"drive", "part", "\"P\"", {"HardDrive.fruNumber=P"}},
        // The digits lie in storage from the low byte of the first word on.
        {"drive", "wwn", "\"0102030405060708\"", {"HardDrive.wwn=0102030405060708", "HardDrive.wwn0=67305985", "HardDrive.wwn1=134678021"}},
        {"drive", "state", "\"hotSpare\"", {"HardDrive.state=4"}},
        {"drive", "canPredict", "false", {"HardDrive.pfaSupported=0"}},
        {"drive", "failurePredicted", "true", {"HardDrive.pfaError=1"}},
        {"drive", "sizeMB", "5000000000", {"HardDrive.size=5000000000"}},
        {"drive", "sataPort", "0", {"HardDrive.sataPort=0"}},
        {"drive", "interface", "4", {"HardDrive.interfaceType=4"}},
        {"drive", "system", "true", {"HardDrive.OSPartition=1"}},
        {"drive", "busy", "true", {"HardDrive.taskInProgress=1"}},
        {"drive", "temperature", "-3", {"HardDrive.temperature=-3"}},
        {"drive", "spurious", "true, \"device\": 255", {"HardDrive.deviceID=255"}},

        {"logicalDrive", "number", "5", {"LogicalDrive.logicalDriveID=5"}},
        {"logicalDrive", "state", "\"rebuilding\"", {"LogicalDrive.state=6"}},
        {"logicalDrive", "level", "\"RAID60\"", {"LogicalDrive.raidLevel=17"}},
        {"logicalDrive", "size", "9223372036854775807", {"LogicalDrive.dataSpace=9223372036854775807"}},
        {"logicalDrive", "badStripes", "3", {"LogicalDrive.badBlockCount=3"}},
        {"logicalDrive", "blocked", "true", {"LogicalDrive.blockedAccess=1"}},
        {"logicalDrive", "quickInit", "true", {"LogicalDrive.subState=8"}},
        {"logicalDrive", "name", "\"home\"", {"LogicalDrive.logicalName=home"}},
        {"logicalDrive", "secondaryLogicals", "\"1 2\"", {"LogicalDrive.secondaryLogicals=1 2"}},
        {"logicalDrive", "writeCacheMode", "3", {"LogicalDrive.writeCacheMode=3"}},
        {"logicalDrive", "uniqueID", "4294967295", {"LogicalDrive.uniqueID=4294967295"}},
        {"logicalDrive", "snapshotType", "2", {"LogicalDrive.snapshotType=2"}},
        {"logicalDrive", "snapshotPartner", "6", {"LogicalDrive.snapshotPartnerID=6"}},
        {"logicalDrive", "createYear", "2026", {"LogicalDrive.createYear=2026"}},
        {"logicalDrive", "createMonth", "11", {"LogicalDrive.createMonth=11"}},
        {"logicalDrive", "createDay", "21", {"LogicalDrive.createDay=21"}},
        {"logicalDrive", "createHour", "5", {"LogicalDrive.createHour=5"}},
        {"logicalDrive", "createMinute", "45", {"LogicalDrive.createMinute=45"}},
        {"logicalDrive", "createSecond", "31", {"LogicalDrive.createSecond=31"}},
        {"logicalDrive", "createMilliSec", "999", {"LogicalDrive.createMilliSec=999"}},
        {"logicalDrive", "system", "true", {"LogicalDrive.OSPartition=1"}},
        {"logicalDrive", "busy", "true", {"LogicalDrive.bTaskInProgress=1"}},
        {"logicalDrive", "named", "true", {}},  // another class: see below

        {"safteEnclosure", "device", "3", {"Enclosure.deviceID=3"}},
        {"safteEnclosure", "vendor", "\"V\"", {"Enclosure.vendor=V"}},
        {"safteEnclosure", "model", "\"M\"", {"Enclosure.model=M"}},
        {"safteEnclosure", "serial", "\"S\"", {"Enclosure.serialNumber=S"}},
        {"safteEnclosure", "firmware", "\"F\"", {"Enclosure.firmwareLevel=F"}},
        {"safteEnclosure", "part", "\"P\"", {"Enclosure.fruNumber=P"}},
        {"safteEnclosure", "wwn", "\"0100000000000002\"", {"Enclosure.wwn=0100000000000002", "Enclosure.wwn0=1", "Enclosure.wwn1=33554432"}},
        {"safteEnclosure", "answers", "false", {"Enclosure.safteDataValid=0", "Enclosure.slot1=2147483647"}},
        {"safteEnclosure", "fans", "[\"failed\", 2]", {"Enclosure.fanCount=2", "Enclosure.fan0=1", "Enclosure.fan1=2"}},
        {"safteEnclosure", "supplies", "[\"missing\"]", {"Enclosure.powerSupplyCount=1", "Enclosure.supply0=32"}},
        {"safteEnclosure", "slots", "[255, 6]", {"Enclosure.slotCount=2", "Enclosure.slot1=6"}},
        {"safteEnclosure", "tooHot", "true", {"Enclosure.hot=1"}},

        {"sesEnclosure", "device", "3", {"SES2EnclosureDevice.deviceID=3"}},
        {"sesEnclosure", "vendor", "\"V\"", {"SES2EnclosureDevice.vendor=V"}},
        {"sesEnclosure", "model", "\"M\"", {"SES2EnclosureDevice.model=M"}},
        {"sesEnclosure", "serial", "\"S\"", {"SES2EnclosureDevice.serialNumber=S"}},
        {"sesEnclosure", "firmware", "\"F\"", {"SES2EnclosureDevice.firmwareLevel=F"}},
        {"sesEnclosure", "part", "\"P\"", {"SES2EnclosureDevice.fruNumber=P"}},
        {"sesEnclosure", "wwn", "\"0100000000000002\"", {"SES2EnclosureDevice.wwn=0100000000000002", "SES2EnclosureDevice.wwn0=1", "SES2EnclosureDevice.wwn1=33554432"}},
        {"sesEnclosure", "answers", "false", {"SES2EnclosureDevice.sesDataValid=0"}},

        {"element", "number", "5", {"SESElement.itemID=5"}},
        {"element", "type", "\"fan\"", {"SESElement.elementType=3"}},
        {"element", "status", "\"unrecoverable\"", {"SESElement.status=4"}},
        {"element", "descriptor", "\"SLOT 3\"", {"SESElement.descriptor=SLOT 3"}},
        {"element", "reading", "5220", {"SESElement.reading=5220"}},

        {"phy", "number", "5", {"SASPhy.phyID=5"}},
        {"phy", "address", "\"5000A\"", {"SASPhy.SASaddress=5000A"}},
        {"phy", "attachedAddress", "\"5000B\"", {"SASPhy.attachedSASaddress=5000B"}},
        {"phy", "attachedPhy", "11", {"SASPhy.attachedPhyID=11"}},
        {"phy", "attachedType", "12", {"SASPhy.attachedDeviceType=12"}},
        {"phy", "initiatorProtocols", "13", {"SASPhy.initiatorProtocols=13"}},
        {"phy", "targetProtocols", "14", {"SASPhy.targetProtocols=14"}},
        {"phy", "attachedInitiatorProtocols", "15", {"SASPhy.attachedInitiatorProtocols=15"}},
        {"phy", "attachedTargetProtocols", "16", {"SASPhy.attachedTargetProtocols=16"}},
        {"phy", "linkRate", "17", {"SASPhy.negPhyLinkRate=17"}},
        {"phy", "programmedMinRate", "18", {"SASPhy.progMinPhyLinkRate=18"}},
        {"phy", "programmedMaxRate", "19", {"SASPhy.progMaxPhyLinkRate=19"}},
        {"phy", "hardwareMinRate", "20", {"SASPhy.hwMinPhyLinkRate=20"}},
        {"phy", "hardwareMaxRate", "21", {"SASPhy.hwMaxPhyLinkRate=21"}},
        {"phy", "changes", "22", {"SASPhy.phyChangeCount=22"}},
        {"phy", "virtual", "true", {"SASPhy.virtualPhy=1"}},
        {"phy", "pathTimeout", "23", {"SASPhy.pathTimeout=23"}},
        {"phy", "routing", "24", {"SASPhy.routingType=24"}},
    };
    return rows;
}
// clang-format on

bool changesTheClass(const FieldCase& c) {
    return std::string(c.field) == "family" || std::string(c.field) == "named";
}

TEST(ScenarioKind, GivenAFieldThenItReachesItsMemberAndNoOther) {
    for (const FieldCase& c : fieldCases()) {
        if (changesTheClass(c)) continue;
        SCOPED_TRACE(std::string(c.kind) + "." + c.field);
        const std::string given = std::string(", \"") + c.field + "\": " + c.value;
        EXPECT_EQ(c.appears, difference(linesOf(machineWith(c.kind, given)),
                                        linesOf(machineWith(c.kind, ""))));
    }
}

// Tasks are no objects of the tree; ScenarioTest has them.
TEST(ScenarioKind, GivenEveryFieldOfEveryKindThenTheTableAboveHasIt) {
    std::set<std::string> tested;
    for (const FieldCase& c : fieldCases()) tested.insert(std::string(c.kind) + "." + c.field);
    for (const ScenarioKind& kind : ScenarioKind::all()) {
        if (std::string(kind.name) == "task") continue;
        for (const ScenarioField& field : kind.fields) {
            EXPECT_EQ(1u, tested.erase(std::string(kind.name) + "." + field.name))
                << kind.name << "." << field.name << " is not tested";
        }
    }
    for (const std::string& left : tested) ADD_FAILURE() << left << " is no field any more";
}

TEST(ScenarioKind, GivenAZorControllerOrANamedDriveThenTheObjectIsOfThatClass) {
    EXPECT_EQ(1u, linesOf(R"({"family": "zor"})").count("ZorAdapter.type=ZorAdapter"));
    EXPECT_EQ(1u, linesOf(R"({"family": "vant"})").count("VantAdapter.type=VantAdapter"));
    EXPECT_EQ(1u, linesOf(R"({"logicalDrives": [{"named": true}]})")
                      .count("ZorBasicLogicalDrive.type=ZorBasicLogicalDrive"));
}

TEST(ScenarioKind, GivenNoFieldsThenTheObjectIsInOrder) {
    const Lines drive = linesOf(machineWith("drive", ""));
    EXPECT_EQ(1u, drive.count("HardDrive.state=0"));
    EXPECT_EQ(1u, drive.count("HardDrive.pfaSupported=1"));
    EXPECT_EQ(1u, drive.count("HardDrive.controllerID=9"));
    EXPECT_EQ(1u, drive.count("HardDrive.channelID=9"));
    EXPECT_EQ(1u, drive.count("HardDrive.sataPort=2147483647"));
    EXPECT_EQ(1u, linesOf(machineWith("safteEnclosure", "")).count("Enclosure.safteDataValid=1"));
    EXPECT_EQ(1u,
              linesOf(machineWith("sesEnclosure", "")).count("SES2EnclosureDevice.sesDataValid=1"));
    EXPECT_EQ(1u, linesOf(machineWith("element", "")).count("SESElement.status=1"));
    EXPECT_EQ(1u, linesOf(machineWith("logicalDrive", "")).count("LogicalDrive.state=2"));
}

TEST(ScenarioKind, GivenAWordThenItIsUniqueInItsFieldAndItsNumberWithinTheBounds) {
    for (const ScenarioKind& kind : ScenarioKind::all()) {
        for (const ScenarioField& field : kind.fields) {
            SCOPED_TRACE(std::string(kind.name) + "." + field.name);
            std::set<std::string> names;
            std::set<int> numbers;
            for (const ScenarioField::Word& word : field.words) {
                EXPECT_TRUE(names.insert(word.name).second) << word.name;
                EXPECT_TRUE(numbers.insert(word.number).second) << word.name;
                EXPECT_GE(word.number, field.least) << word.name;
                EXPECT_LE(word.number, field.most) << word.name;
            }
            EXPECT_STRNE("", field.purpose);
            EXPECT_EQ(&field, kind.field(field.name));
            EXPECT_EQ(nullptr, kind.list(field.name));
        }
        EXPECT_EQ(&kind, &ScenarioKind::named(kind.name));
    }
}

}  // namespace
