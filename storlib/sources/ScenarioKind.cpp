#include "storlib/sources/ScenarioKind.h"

#include <cstdlib>
#include <type_traits>

#include "storlib/Attributes.h"
#include "storlib/Enclosure.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SASPhy.h"
#include "storlib/SATAChannel.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/SafteStatus.h"
#include "storlib/StorEnums.h"
#include "storlib/VantAdapter.h"
#include "storlib/sources/CleanText.h"

namespace {

using Field = ScenarioField;
using Type = ScenarioField::Type;
using Words = std::vector<ScenarioField::Word>;

template <class Object>
Object& as(RaidObject& object) {
    return static_cast<Object&>(object);
}

int small(const ScenarioValue& value) { return static_cast<int>(value.integer); }

// What a member can hold: 32-bit numbers all of theirs, the 64-bit sizes no negative ones.
template <class Number>
constexpr std::int64_t leastOf() {
    return std::is_same_v<Number, int> ? INT32_MIN : 0;
}

template <class Number>
constexpr std::int64_t mostOf() {
    if (std::is_same_v<Number, int>) return INT32_MAX;
    return sizeof(Number) == 4 ? std::int64_t{UINT32_MAX} : INT64_MAX;
}

constexpr std::int64_t kHighestNumber = 0x7ffffffe;  // the one above it means "not set"
constexpr std::int64_t kByte = 0xff;

// clang-format off

// Rows for the plain members: the name in the file, the member, the purpose.
#define INTEGER(NAME, KIND, MEMBER, PURPOSE)                                                  \
    Field { NAME, Type::kInteger, PURPOSE, {}, [](RaidObject& o, const ScenarioValue& v) {    \
        as<KIND>(o).MEMBER = static_cast<decltype(KIND::MEMBER)>(v.integer); },               \
        leastOf<decltype(KIND::MEMBER)>(), mostOf<decltype(KIND::MEMBER)>() }
#define FLAG(NAME, KIND, MEMBER, PURPOSE)                                                     \
    Field { NAME, Type::kFlag, PURPOSE, {}, [](RaidObject& o, const ScenarioValue& v) {       \
        as<KIND>(o).MEMBER = v.flag; } }
#define TEXT(NAME, KIND, MEMBER, PURPOSE)                                                     \
    Field { NAME, Type::kText, PURPOSE, {}, [](RaidObject& o, const ScenarioValue& v) {       \
        setText(as<KIND>(o).MEMBER, cleanText(v.text).c_str()); },                            \
        0, 0, sizeof(KIND::MEMBER) - 1 }
#define LIMIT(NAME, LIMITNUMBER, PURPOSE)                                                     \
    Field { NAME, Type::kInteger, PURPOSE, {}, [](RaidObject& o, const ScenarioValue& v) {    \
        as<Adapter>(o).setLimit(LIMITNUMBER, small(v)); }, 0 }
// Numbers by which an object is found; settled before the object is made (see ScenarioModel).
#define NUMBER(PURPOSE)                                                                       \
    Field { "number", Type::kInteger, PURPOSE "; the lowest free one when absent", {},        \
        nullptr, 0, kHighestNumber }

const Words kAdapterStatusWords = {{"normal", 0}, {"failed", 1}};
const Words kBatteryWords = {{"none", 0}, {"charging", 2}, {"normal", 5}, {"new", 6},
                             {"optimal", 7}, {"low", 8}, {"discharging", 9}};
const Words kDriveStateWords = {{"ready", 0}, {"member", 1}, {"failed", 2}, {"hotSpare", 4},
                                {"rebuilding", 5}, {"notPresent", 7}};
const Words kArrayStateWords = {{"free", 0}, {"offline", 1}, {"optimal", 2}, {"degraded", 3},
                                {"resyncing", 4}, {"hidden", 5}, {"rebuilding", 6},
                                {"hiddenCritical", 7}};
const Words kLevelWords = {{"RAID0", 0}, {"RAID1", 1}, {"RAID1E", 2}, {"RAID3", 3}, {"RAID4", 4},
                           {"RAID5", 5}, {"RAID5E", 6}, {"RAID5EE", 7}, {"RAID00", 8},
                           {"RAID10", 9}, {"RAID1E0", 10}, {"RAID50", 11}, {"spanned", 13},
                           {"volume", 14}, {"simple", 15}, {"RAID6", 16}, {"RAID60", 17}};
const Words kChannelWords = {{"scsi", 0}, {"sata", 1}, {"sas", 4}};
const Words kSafteFanWords = {{"ok", 0}, {"failed", 1}, {"missing", 2}, {"unknown", 128}};
const Words kSafteSupplyWords = {{"ok", 0}, {"failed", 0x10}, {"failedAndOff", 0x11},
                                 {"missing", 0x20}, {"unknown", 128}};
const Words kElementTypeWords = {{"device", 1}, {"powerSupply", 2}, {"fan", 3}, {"temperature", 4}, {"slot", 23}};
const Words kElementStatusWords = {{"unsupported", 0}, {"ok", 1}, {"critical", 2},
                                   {"nonCritical", 3}, {"unrecoverable", 4}, {"notInstalled", 5},
                                   {"unknown", 6}, {"notAvailable", 7}};
const Words kTaskWords = {{"initialize", 1}, {"synchronize", 4}, {"verify", 5},
                          {"rebuild", 6}};
const Words kTaskStatusWords = {{"running", 0}, {"paused", 1}, {"finished", 2}};
const Words kFamilyWords = {{"vant", 1}, {"zor", 2}};

// Fields that every device at a channel and device number has.
#define DEVICE_FIELDS                                                                         \
    Field{"device", Type::kInteger, "device number at its channel", {},                       \
        [](RaidObject& o, const ScenarioValue& v) {                                           \
            o.addr.deviceID = static_cast<unsigned int>(v.integer); },                        \
        0, kHighestNumber, 0, true},                                                          \
    TEXT("vendor", PhysicalDevice, vendor, "vendor"),                                         \
    TEXT("model", PhysicalDevice, model, "model"),                                            \
    TEXT("serial", PhysicalDevice, serialNumber, "serial number"),                            \
    TEXT("firmware", PhysicalDevice, firmwareLevel, "firmware level"),                        \
    TEXT("part", PhysicalDevice, fruNumber, "part number to order as a replacement"),         \
    Field{"wwn", Type::kWwn, "world-wide name, 16 hexadecimal digits", {}, applyWwn}

void applyWwn(RaidObject& object, const ScenarioValue& value) {
    auto& device = as<PhysicalDevice>(object);
    setText(device.wwn, cleanText(value.text).c_str());
    // The storage order of the number's text: its first two digits are the low byte of wwn0.
    unsigned int words[2] = {0, 0};
    for (unsigned int byte = 0; byte < 8 && byte * 2 + 1 < value.text.size(); ++byte) {
        const std::string digits = value.text.substr(byte * 2, 2);
        const auto number = static_cast<unsigned int>(std::strtoul(digits.c_str(), nullptr, 16));
        words[byte / 4] |= (number & 0xffu) << (8 * (byte % 4));
    }
    device.wwn0 = words[0];
    device.wwn1 = words[1];
}

const std::vector<ScenarioKind>& rows() {
    static const std::vector<ScenarioKind> kinds = {
        {"controller",
         {
             {"family", Type::kWord, "controller family; only vant is monitored", kFamilyWords, nullptr},
             NUMBER("controller number"),
             TEXT("vendor", Adapter, deviceVendor, "vendor"),
             TEXT("name", Adapter, deviceName, "name"),
             TEXT("serial", Adapter, controllerSerial, "serial number"),
             INTEGER("pciBus", Adapter, pciBus, "first part of the identity; its first number plus 1 when absent"),
             INTEGER("pciDevice", Adapter, pciDevice, "second part of the identity"),
             INTEGER("pciFunction", Adapter, pciFunction, "third part of the identity"),
             INTEGER("type", Adapter, controllerType, "controller type"),
             INTEGER("slot", Adapter, physicalSlot, "physical slot"),
             {"status", Type::kWord, "controller status", kAdapterStatusWords,
              [](RaidObject& o, const ScenarioValue& v) { as<Adapter>(o).controllerStatus = small(v); }},
             {"battery", Type::kWord, "state of the cache battery", kBatteryWords,
              [](RaidObject& o, const ScenarioValue& v) {
                  as<Adapter>(o).batStatus = static_cast<EnumBatteryStatus>(v.integer); }},
             FLAG("batteryTooHot", Adapter, batTempWarning, "the battery is over its temperature"),
             {"versionsMatch", Type::kFlag, "BIOS, firmware and driver belong together", {},
              [](RaidObject& o, const ScenarioValue& v) { as<Adapter>(o).versionMatchStatus = v.flag ? 0 : 1; }},
             {"temperature", Type::kInteger, "degrees Celsius; makes the controller report its temperature", {},
              [](RaidObject& o, const ScenarioValue& v) {
                  as<Adapter>(o).temperature = small(v);
                  as<Adapter>(o).setFeature(kFeatureTemperature, true); }},
             INTEGER("temperatureLimit", Adapter, temperatureLimit, "degrees Celsius; at or above it the controller is too hot"),
             {"features", Type::kNumberList, "numbers of further features", {},
              [](RaidObject& o, const ScenarioValue& v) {
                  for (int feature : v.list) as<Adapter>(o).setFeature(static_cast<FeatureEnum>(feature), true); },
              0, Adapter::kFeatures - 1, Adapter::kFeatures},
             TEXT("bios", Adapter, biosVersion, "BIOS version"),
             TEXT("firmware", Adapter, firmwareVersion, "firmware version"),
             TEXT("driver", Adapter, deviceDriverVersion, "driver version"),
             LIMIT("maxLogicalDrives", kLimitLogicalDrives, "highest logical drive number; what lies above is ignored (all count when absent)"),
             LIMIT("maxArrays", kLimitArrays, "most arrays"),
             LIMIT("maxSpannedArrays", kLimitSpannedArrays, "most spanned arrays"),
             LIMIT("maxChannels", kLimitChannels, "most channels"),
             LIMIT("maxID", kLimitID, "highest device number"),
             LIMIT("maxDevicesPerArray", kLimitDevicesPerArray, "most drives in an array"),
             LIMIT("maxControllers", kLimitControllers, "most controllers"),
         },
         {{"channels", "channel"}, {"logicalDrives", "logicalDrive"}, {"phys", "phy"}, {"tasks", "task"}}},
        {"channel",
         {
             NUMBER("channel number"),
             {"type", Type::kWord, "kind of bus", kChannelWords,
              [](RaidObject& o, const ScenarioValue& v) { as<Channel>(o).channelType = small(v); }},
             {"ports", Type::kInteger, "number of ports of a sata channel", {}, nullptr, 0},
         },
         {{"drives", "drive"}, {"safteEnclosures", "safteEnclosure"}, {"sesEnclosures", "sesEnclosure"}}},
        {"drive",
         {
             DEVICE_FIELDS,
             {"state", Type::kWord, "state", kDriveStateWords,
              [](RaidObject& o, const ScenarioValue& v) { as<HardDrive>(o).state = small(v); }},
             FLAG("canPredict", HardDrive, pfaSupported, "the drive predicts its failure (default true)"),
             FLAG("failurePredicted", HardDrive, pfaError, "it does so now"),
             INTEGER("sizeMB", HardDrive, size, "size in MB"),
             INTEGER("sataPort", HardDrive, sataPort, "SATA port"),
             INTEGER("interface", HardDrive, interfaceType, "interface type"),
             FLAG("system", HardDrive, OSPartition, "holds a partition of the system"),
             FLAG("busy", HardDrive, taskInProgress, "a task runs on it"),
             INTEGER("temperature", HardDrive, temperature, "degrees Celsius, where the drive tells them"),
             {"spurious", Type::kFlag, "no drive but an empty place that the controller lists; its device number has 255 as low byte", {}, nullptr},
         },
         {{"phys", "phy"}}},
        {"logicalDrive",
         {
             NUMBER("logical drive number"),
             {"state", Type::kWord, "state", kArrayStateWords,
              [](RaidObject& o, const ScenarioValue& v) { as<LogicalDrive>(o).state = small(v); }},
             {"level", Type::kWord, "RAID level", kLevelWords,
              [](RaidObject& o, const ScenarioValue& v) { as<LogicalDrive>(o).raidLevel = small(v); }},
             INTEGER("size", LogicalDrive, dataSpace, "size in MB (vant) or 512-byte blocks (zor)"),
             INTEGER("badStripes", LogicalDrive, badBlockCount, "bad stripes"),
             FLAG("blocked", LogicalDrive, blockedAccess, "access is blocked"),
             {"quickInit", Type::kFlag, "it was initialised quickly", {},
              [](RaidObject& o, const ScenarioValue& v) {
                  as<LogicalDrive>(o).subState = v.flag ? kSubStateQuickInit : kSubStateNone; }},
             {"name", Type::kText, "the user's name for it", {},
              [](RaidObject& o, const ScenarioValue& v) { as<LogicalDrive>(o).logicalName = cleanText(v.text); }},
             {"secondaryLogicals", Type::kText, "numbers of the drives that it is made of", {},
              [](RaidObject& o, const ScenarioValue& v) { as<LogicalDrive>(o).secondaryLogicals = cleanText(v.text); }},
             INTEGER("writeCacheMode", LogicalDrive, writeCacheMode, "write cache mode"),
             INTEGER("uniqueID", LogicalDrive, uniqueID, "unique number"),
             INTEGER("snapshotType", LogicalDrive, snapshotType, "snapshot type"),
             INTEGER("snapshotPartner", LogicalDrive, snapshotPartnerID, "number of the snapshot partner"),
             INTEGER("createYear", LogicalDrive, createYear, "creation time, local"),
             INTEGER("createMonth", LogicalDrive, createMonth, "creation time"),
             INTEGER("createDay", LogicalDrive, createDay, "creation time"),
             INTEGER("createHour", LogicalDrive, createHour, "creation time"),
             INTEGER("createMinute", LogicalDrive, createMinute, "creation time"),
             INTEGER("createSecond", LogicalDrive, createSecond, "creation time"),
             INTEGER("createMilliSec", LogicalDrive, createMilliSec, "creation time"),
             FLAG("system", LogicalDrive, OSPartition, "holds a partition of the system"),
             FLAG("busy", LogicalDrive, bTaskInProgress, "a task runs on it"),
             {"named", Type::kFlag, "a zor drive that shows its name", {}, nullptr},
         },
         {}},
        {"safteEnclosure",
         {
             DEVICE_FIELDS,
             {"answers", Type::kFlag, "its SAF-TE data is valid (default true)", {}, nullptr},
             {"fans", Type::kWordList, "state of each fan", kSafteFanWords, nullptr, 0, kByte, SafteStatus::kUnits},
             {"supplies", Type::kWordList, "state of each power supply", kSafteSupplyWords, nullptr, 0, kByte, SafteStatus::kUnits},
             {"slots", Type::kNumberList, "device number in each slot, 255 for none", {}, nullptr, 0, kByte, SafteStatus::kSlots},
             {"tooHot", Type::kFlag, "a temperature is out of range", {}, nullptr},
         },
         {}},
        {"sesEnclosure",
         {
             DEVICE_FIELDS,
             {"answers", Type::kFlag, "its SES data is valid (default true)", {},
              [](RaidObject& o, const ScenarioValue& v) { as<SES2EnclosureDevice>(o).sesDataValid = v.flag; }},
         },
         {{"elements", "element"}}},
        {"element",
         {
             NUMBER("element number"),
             {"type", Type::kWord, "kind of element", kElementTypeWords,
              [](RaidObject& o, const ScenarioValue& v) { as<SESElement>(o).elementType = small(v); },
              INT32_MIN, INT32_MAX, 0, true},
             {"status", Type::kWord, "status", kElementStatusWords,
              [](RaidObject& o, const ScenarioValue& v) { as<SESElement>(o).status = static_cast<unsigned int>(v.integer); }, 0},
             INTEGER("reading", SESElement, reading, "degrees Celsius of a temperature sensor, turns a minute of a fan"),
             {"descriptor", Type::kText, "text on the element, for example SLOT 3", {},
              [](RaidObject& o, const ScenarioValue& v) { as<SESElement>(o).descriptor = cleanText(v.text); }},
         },
         {{"phys", "phy"}}},
        {"phy",
         {
             NUMBER("phy number"),
             TEXT("address", SASPhy, SASaddress, "SAS address of this end"),
             TEXT("attachedAddress", SASPhy, attachedSASaddress, "SAS address of the other end"),
             INTEGER("attachedPhy", SASPhy, attachedPhyID, "phy number of the other end"),
             INTEGER("attachedType", SASPhy, attachedDeviceType, "kind of the other end, 0 for nothing"),
             INTEGER("initiatorProtocols", SASPhy, initiatorProtocols, "protocol bits"),
             INTEGER("targetProtocols", SASPhy, targetProtocols, "protocol bits"),
             INTEGER("attachedInitiatorProtocols", SASPhy, attachedInitiatorProtocols, "protocol bits"),
             INTEGER("attachedTargetProtocols", SASPhy, attachedTargetProtocols, "protocol bits"),
             INTEGER("linkRate", SASPhy, negPhyLinkRate, "negotiated rate as SAS code"),
             INTEGER("programmedMinRate", SASPhy, progMinPhyLinkRate, "rate as SAS code"),
             INTEGER("programmedMaxRate", SASPhy, progMaxPhyLinkRate, "rate as SAS code"),
             INTEGER("hardwareMinRate", SASPhy, hwMinPhyLinkRate, "rate as SAS code"),
             INTEGER("hardwareMaxRate", SASPhy, hwMaxPhyLinkRate, "rate as SAS code"),
             INTEGER("changes", SASPhy, phyChangeCount, "number of link changes"),
             FLAG("virtual", SASPhy, virtualPhy, "a phy without a plug"),
             INTEGER("pathTimeout", SASPhy, pathTimeout, "path time-out"),
             INTEGER("routing", SASPhy, routingType, "routing type"),
         },
         {}},
        {"task",
         {
             {"on", Type::kInteger, "number of the logical drive at work", {}, nullptr, 0, kHighestNumber, 0, true},
             {"type", Type::kWord, "kind of task", kTaskWords, nullptr, INT32_MIN, INT32_MAX, 0, true},
             {"percent", Type::kInteger, "how much is done", {}, nullptr, 0, 100},
             {"status", Type::kWord, "state of the task (default running)", kTaskStatusWords, nullptr},
         },
         {}},
    };
    return kinds;
}

#undef INTEGER
#undef FLAG
#undef TEXT
#undef LIMIT
#undef NUMBER
#undef DEVICE_FIELDS
// clang-format on

}  // namespace

const std::vector<ScenarioKind>& ScenarioKind::all() { return rows(); }

const ScenarioKind& ScenarioKind::named(const std::string& kindName) {
    for (const ScenarioKind& kind : rows()) {
        if (kindName == kind.name) return kind;
    }
    std::abort();  // only names from the rows themselves come here
}

const ScenarioField* ScenarioKind::field(const std::string& fieldName) const {
    for (const ScenarioField& row : fields) {
        if (fieldName == row.name) return &row;
    }
    return nullptr;
}

const ScenarioKind::Holds* ScenarioKind::list(const std::string& listName) const {
    for (const Holds& row : lists) {
        if (listName == row.list) return &row;
    }
    return nullptr;
}
