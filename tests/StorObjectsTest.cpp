// The kinds of storage objects: what each answers to, what it is called, what it writes and reads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "storlib/Attributes.h"
#include "storlib/Reader.h"
#include "storlib/System.h"
#include "storlib/Writer.h"
#include "tests/support/SlotOf.h"
#include "tests/support/TreeBuilder.h"

namespace {

// Notes every attribute as "operation name=value".
class RecordingWriter : public Writer {
public:
    void writeChar(char const* name, char v) override { note("char", name, std::string(1, v)); }
    void writeUChar(char const* name, unsigned char v) override { number("uchar", name, v); }
    void writeLong(char const* name, long v) override { number("long", name, v); }
    void writeULong(char const* name, unsigned long v) override { number("ulong", name, v); }
    void writeShort(char const* name, short v) override { number("short", name, v); }
    void writeUShort(char const* name, unsigned short v) override { number("ushort", name, v); }
    void writeInt(char const* name, int v) override { number("int", name, v); }
    void writeUInt(char const* name, unsigned int v) override { number("uint", name, v); }
    void writeUIntHex(char const* name, unsigned int v) override { number("hex", name, v); }
    void writeFloat(char const* name, float v) override { number("float", name, v); }
    void writeDouble(char const* name, double v) override { number("double", name, v); }
    void writeU64(char const* name, unsigned long long v) override { number("u64", name, v); }
    void writeI64(char const* name, long long v) override { number("i64", name, v); }
    void writeBlockT(char const* name, unsigned long long v) override { number("block", name, v); }
    void writeBool(char const* name, bool v) override { note("bool", name, v ? "true" : "false"); }
    void writeString(char const* name, char const* v) override { note("string", name, v); }
    void writeASCIIString(char const* name, char* v) override {
        for (char* c = v; *c != 0; ++c) *c = static_cast<char>(*c & 0x7f);
        note("ascii", name, v);
    }
    void writeObject(RaidObject const*) override { notes.push_back("object"); }
    void writeObject(RaidObject const&) override { notes.push_back("object"); }
    void writeObject(Addr const*) override { notes.push_back("address"); }
    void writeObject(Addr const&) override { notes.push_back("address"); }
    void writeAddr(Addr const*) override { notes.push_back("addr"); }
    void writeAddr(Addr const&) override { notes.push_back("addr"); }
    void writeAddrDefinedIDsOnly(Addr const& a) override {
        defined("controllerID", a.controllerID);
        defined("arrayID", a.arrayID);
        defined("logicalDriveID", a.logicalDriveID);
        defined("channelID", a.channelID);
        defined("deviceID", a.deviceID);
        defined("itemID", a.itemID);
        defined("phyID", a.phyID);
    }
    void writeTree(RaidObject const*) override { notes.push_back("tree"); }
    void writeTree(RaidObject const&) override { notes.push_back("tree"); }
    void writeRawString(char const*) override { notes.push_back("raw"); }
    void writeBinary(char const*, char const*, unsigned long) override {
        notes.push_back("binary");
    }
    void addTag(char const*) override { notes.push_back("tag"); }

    std::vector<std::string> notes;

private:
    void note(const char* operation, char const* name, const std::string& value) {
        notes.push_back(std::string(operation) + " " + name + "=" + value);
    }
    template <class Number>
    void number(const char* operation, char const* name, Number value) {
        note(operation, name, std::to_string(value));
    }
    void defined(char const* name, unsigned int id) {
        if (id != Addr::kNotSet) number("id", name, id);
    }
};

// Answers from what a RecordingWriter noted.
class NotesReader : public Reader {
public:
    explicit NotesReader(const std::vector<std::string>& notes) {
        for (const std::string& note : notes) {
            const auto blank = note.find(' ');
            const auto equal = note.find('=');
            values[note.substr(blank + 1, equal - blank - 1)] = note.substr(equal + 1);
        }
    }

    bool readInt(char const* name, int& value) override {
        return read(name, [&value](const std::string& text) { value = std::stoi(text); });
    }
    bool readUInt(char const* name, unsigned int& value) override {
        return read(name, [&value](const std::string& text) {
            value = static_cast<unsigned int>(std::stoul(text));
        });
    }
    bool readI64(char const* name, long long& value) override {
        return read(name, [&value](const std::string& text) { value = std::stoll(text); });
    }
    bool readBool(char const* name, bool& value) override {
        return read(name, [&value](const std::string& text) { value = text == "true"; });
    }
    bool readString(char const* name, char* value, unsigned long size) override {
        return read(name, [value, size](const std::string& text) {
            const std::size_t length = text.copy(value, size - 1);
            value[length] = 0;
        });
    }

private:
    bool read(char const* name, const std::function<void(const std::string&)>& use) {
        const auto found = values.find(name);
        if (found == values.end()) return false;
        use(found->second);
        return true;
    }

    std::map<std::string, std::string> values;
};

std::vector<std::string> written(const RaidObject& object) {
    RecordingWriter writer;
    object.writeTo(&writer);
    return writer.notes;
}

// Every kind, made without an adapter or channel.
struct KindCase {
    const char* type;
    const char* element;
    std::function<std::unique_ptr<RaidObject>()> make;
    std::set<std::string> answersTo;
};

template <class Kind, class... Args>
std::function<std::unique_ptr<RaidObject>()> maker(Args... args) {
    return [=] { return std::unique_ptr<RaidObject>(new Kind(args...)); };
}

std::vector<KindCase> kinds() {
    Adapter* const noAdapter = nullptr;
    Channel* const noChannel = nullptr;
    return {
        {"RaidObject", "RaidObject", maker<RaidObject>(), {"RaidObject"}},
        {"System", "System", maker<System>(), {"RaidObject", "System"}},
        {"Adapter", "Controller", maker<Adapter>(), {"RaidObject", "Adapter"}},
        {"VantAdapter",
         "Controller",
         maker<VantAdapter>(),
         {"RaidObject", "Adapter", "VantAdapter"}},
        {"ZorAdapter", "Controller", maker<ZorAdapter>(), {"RaidObject", "Adapter", "ZorAdapter"}},
        {"Channel", "Channel", maker<Channel>(noAdapter), {"RaidObject", "Channel"}},
        {"SATAChannel",
         "Channel",
         maker<SATAChannel>(noAdapter),
         {"RaidObject", "Channel", "SATAChannel"}},
        {"PhysicalDevice",
         "PhysicalDevice",
         maker<PhysicalDevice>(noAdapter, noChannel),
         {"RaidObject", "PhysicalDevice"}},
        {"HardDrive",
         "HardDrive",
         maker<HardDrive>(noAdapter, noChannel),
         {"RaidObject", "PhysicalDevice", "HardDrive"}},
        {"Enclosure",
         "Enclosure",
         maker<Enclosure>(noAdapter, noChannel),
         {"RaidObject", "PhysicalDevice", "Enclosure"}},
        // Not an "Enclosure": it would be checked twice.
        {"SES2EnclosureDevice",
         "SESEnclosureDevice",
         maker<SES2EnclosureDevice>(noAdapter, noChannel),
         {"RaidObject", "PhysicalDevice", "SES2EnclosureDevice"}},
        {"SESElement", "SESElement", maker<SESElement>(), {"SESElement"}},
        {"SASPhy", "SASPhy", maker<SASPhy>(), {"RaidObject", "SASPhy"}},
        {"LogicalDrive",
         "LogicalDrive",
         maker<LogicalDrive>(noAdapter),
         {"RaidObject", "LogicalDrive"}},
        {"ZorBasicLogicalDrive",
         "LogicalDrive",
         maker<ZorBasicLogicalDrive>(noAdapter),
         {"RaidObject", "LogicalDrive", "ZorBasicLogicalDrive"}},
        {"SafteConfig", "SafteConfig", maker<SafteConfig>(), {"RaidObject", "SafteConfig"}},
        {"SafteStatus", "SafteStatus", maker<SafteStatus>(), {"RaidObject", "SafteStatus"}},
    };
}

TEST(StorObjects, EachAnswersToItsOwnKindAndItsBasesOnly) {
    const std::vector<KindCase> all = kinds();
    for (const KindCase& kind : all) {
        SCOPED_TRACE(kind.type);
        const auto object = kind.make();
        for (const KindCase& other : all) {
            EXPECT_EQ(kind.answersTo.count(other.type) != 0, object->isInstanceOf(other.type))
                << other.type;
        }
        EXPECT_FALSE(object->isInstanceOf(nullptr));
        EXPECT_FALSE(object->isInstanceOf(""));
        EXPECT_FALSE(object->isInstanceOf("Controller"));
        EXPECT_FALSE(object->isInstanceOf("hardDrive"));
    }
}

TEST(StorObjects, EachHasItsTypeAndElementName) {
    for (const KindCase& kind : kinds()) {
        const auto object = kind.make();
        EXPECT_STREQ(kind.type, object->typeName());
        EXPECT_STREQ(kind.element, object->serializedName());
    }
}

TEST(StorObjects, GivenNothingSetThenEveryKindCanBeWritten) {
    for (const KindCase& kind : kinds()) {
        SCOPED_TRACE(kind.type);
        const auto object = kind.make();
        for (const std::string& note : written(*object)) {
            EXPECT_EQ(std::string::npos, note.find("id ")) << note;  // no identifier is defined
        }
    }
}

TEST(StorObjects, OperationsStandInTheirSlotsAndKindsContinueThem) {
    using R = RaidObject;
    EXPECT_EQ(2U, slotOf(&R::isInstanceOf));  // behind the destructor's two
    EXPECT_EQ(3U, slotOf(&R::typeName));
    EXPECT_EQ(4U, slotOf(&R::serializedName));
    EXPECT_EQ(5U, slotOf(&R::writeTo));
    EXPECT_EQ(6U, slotOf(&R::sortChildren));
    EXPECT_EQ(7U, slotOf<void (R::*)(RaidObject*)>(&R::addChild));
    EXPECT_EQ(8U, slotOf<void (R::*)(RaidObject*, unsigned long)>(&R::addChild));
    EXPECT_EQ(9U, slotOf(&R::descendantAdded));
    EXPECT_EQ(10U, slotOf(&R::readFrom));
    EXPECT_EQ(11U, slotOf(&SESElement::getType));
    EXPECT_EQ(12U, slotOf(&SESElement::getDescriptor));
    EXPECT_EQ(13U, slotOf(&SESElement::getStatus));
}

// --- attributes, in order ---

using Notes = std::vector<std::string>;

const Notes kDeviceNotes = {
    "int deviceType=0",      "ascii vendor=KOVA-PQ", "ascii model=M1", "ascii serialNumber=S1",
    "ascii firmwareLevel=F", "ascii fruNumber=39R",  "ascii wwn=5000", "int state=2",
    "int interfaceType=4",   "int wwn0=-272716322",  "int wwn1=7",     "int sataPort=2147483647",
};

void fill(PhysicalDevice& device) {
    device.addr.channelID = 1;
    device.addr.deviceID = 5;
    setText(device.vendor, "KOVA-PQ");
    setText(device.model, "M1");
    setText(device.serialNumber, "S1");
    setText(device.firmwareLevel, "F");
    setText(device.fruNumber, "39R");
    setText(device.wwn, "5000");
    device.state = kDriveFailed;
    device.interfaceType = kChannelSas;
    device.wwn0 = 4022250974U;  // beyond 31 bits: written as a signed number, or it reads back cut
    device.wwn1 = 7;
}

Notes operator+(Notes left, const Notes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST(StorObjects, HardDriveWritesItsAddressTheDevicesAndItsOwnAttributes) {
    HardDrive drive(nullptr, nullptr);
    fill(drive);
    drive.size = 20000000;
    drive.pfaError = true;
    EXPECT_EQ((Notes{"id channelID=1", "id deviceID=5"} + kDeviceNotes +
               Notes{"i64 size=20000000", "bool pfaError=true", "bool pfaSupported=false",
                     "bool OSPartition=false", "bool taskInProgress=false"}),
              written(drive));
}

TEST(StorObjects, EnclosuresWriteWhatEveryDeviceWrites) {
    Enclosure safte(nullptr, nullptr);
    fill(safte);
    EXPECT_EQ((Notes{"id channelID=1", "id deviceID=5"} + kDeviceNotes), written(safte));
    SES2EnclosureDevice ses(nullptr, nullptr);
    fill(ses);
    EXPECT_EQ((Notes{"id channelID=1", "id deviceID=5"} + kDeviceNotes), written(ses));
}

TEST(StorObjects, AdapterWritesItsAttributesAndTheSevenLimits) {
    Adapter adapter;
    adapter.addr.controllerID = 2;
    adapter.controllerType = 3;
    adapter.physicalSlot = 4;
    adapter.controllerStatus = kAdapterFailed;
    setText(adapter.deviceVendor, "Acme");
    setText(adapter.deviceName, "RX");
    for (int limit = 1; limit <= 7; ++limit) adapter.setLimit(Limit(limit), limit * 10);
    EXPECT_EQ((Notes{"id controllerID=2", "int controllerType=3", "int physicalSlot=4",
                     "int controllerStatus=1", "ascii deviceVendor=Acme", "ascii deviceName=RX",
                     "int maxLogicalDrives=10", "int maxArrays=20", "int maxSpannedArrays=30",
                     "int maxChannels=40", "int maxID=50", "int maxDevicesPerArray=60",
                     "int maxControllers=70"}),
              written(adapter));
}

TEST(StorObjects, LogicalDriveLeavesNameTimesAndTaskToTheSnapshot) {
    LogicalDrive drive(nullptr);
    drive.addr.controllerID = 0;
    drive.addr.logicalDriveID = 5;
    drive.state = kLogicalDegraded;
    drive.raidLevel = kRaid5;
    drive.blockedAccess = true;
    drive.badBlockCount = 3;
    drive.uniqueID = 4000000000U;
    drive.logicalName = "data";
    EXPECT_EQ((Notes{"id controllerID=0", "id logicalDriveID=5", "int state=3", "int raidLevel=5",
                     "bool blockedAccess=true", "int writeCacheMode=0", "bool OSPartition=false",
                     "int badBlockCount=3", "int snapshotType=0",
                     "int snapshotPartnerID=2147483647", "uint uniqueID=4000000000"}),
              written(drive));
}

TEST(StorObjects, ChannelWritesItsType) {
    Channel channel(nullptr);
    channel.addr.channelID = 1;
    channel.channelType = kChannelSas;
    EXPECT_EQ((Notes{"id channelID=1", "int channelType=4"}), written(channel));
}

TEST(StorObjects, SesElementWritesStatusDescriptorAndType) {
    SESElement element;
    element.addr.itemID = 3;
    element.status = kSesCritical;
    element.descriptor = "SLOT 3";
    element.elementType = kSesCooling;
    EXPECT_EQ(
        (Notes{"id itemID=3", "ulong status=2", "string descriptor=SLOT 3", "int elementType=3"}),
        written(element));
}

TEST(StorObjects, SasPhyWritesBothEnds) {
    SASPhy phy;
    phy.addr.phyID = 2;
    setText(phy.SASaddress, "50A");
    phy.attachedPhyID = 9;
    setText(phy.attachedSASaddress, "50B");
    phy.attachedDeviceType = 1;
    phy.negPhyLinkRate = 10;
    phy.virtualPhy = true;
    EXPECT_EQ((Notes{"id phyID=2", "ascii SASaddress=50A", "int initiatorProtocols=0",
                     "int targetProtocols=0", "int attachedPhyID=9", "ascii attachedSASaddress=50B",
                     "int attachedInitiatorProtocols=0", "int attachedTargetProtocols=0",
                     "int attachedDeviceType=1", "int negPhyLinkRate=10",
                     "int progMinPhyLinkRate=0", "int progMaxPhyLinkRate=0",
                     "int hwMinPhyLinkRate=0", "int hwMaxPhyLinkRate=0", "int phyChangeCount=0",
                     "bool virtualPhy=true", "int pathTimeout=0", "int routingType=0"}),
              written(phy));
}

TEST(StorObjects, WritingClearsBit7InACopyOnly) {
    HardDrive drive(nullptr, nullptr);
    drive.vendor[0] = static_cast<char>(0xff);
    const Notes notes = written(drive);
    EXPECT_NE(notes.end(), std::find(notes.begin(), notes.end(), "ascii vendor=\x7f"));
    EXPECT_EQ(static_cast<char>(0xff), drive.vendor[0]);
}

TEST(StorObjects, GivenATextWithoutItsTerminatorThenWritingStaysInside) {
    HardDrive drive(nullptr, nullptr);
    std::memset(drive.vendor, 'v', sizeof drive.vendor);
    const Notes notes = written(drive);
    const std::string cut = "ascii vendor=" + std::string(sizeof drive.vendor - 1, 'v');
    EXPECT_NE(notes.end(), std::find(notes.begin(), notes.end(), cut));
}

// --- reading back ---

template <class Kind>
void expectReadsBack(const Kind& original, Kind& empty) {
    NotesReader reader(written(original));
    empty.readFrom(&reader);
    EXPECT_EQ(written(original), written(empty));
}

TEST(StorObjects, WhatWasWrittenIsReadBack) {
    HardDrive drive(nullptr, nullptr);
    fill(drive);
    drive.size = 0x123456789LL;
    drive.taskInProgress = true;
    HardDrive drive2(nullptr, nullptr);
    expectReadsBack(drive, drive2);
    EXPECT_EQ(4022250974U, drive2.wwn0);
    EXPECT_EQ(0x123456789LL, drive2.size);

    Adapter adapter;
    adapter.addr.controllerID = 2;
    adapter.setLimit(kLimitChannels, 9);
    Adapter adapter2;
    expectReadsBack(adapter, adapter2);
    EXPECT_EQ(9, adapter2.getLimit(kLimitChannels));

    LogicalDrive logical(nullptr);
    logical.addr.logicalDriveID = 5;
    logical.uniqueID = 4000000000U;
    logical.raidLevel = kRaid6;
    LogicalDrive logical2(nullptr);
    expectReadsBack(logical, logical2);

    Channel channel(nullptr);
    channel.channelType = kChannelSata;
    Channel channel2(nullptr);
    expectReadsBack(channel, channel2);

    SESElement element;
    element.addr.itemID = 1;
    element.status = kSesNotInstalled;
    element.descriptor = "Fan 1";
    element.elementType = kSesCooling;
    SESElement element2;
    expectReadsBack(element, element2);
    EXPECT_EQ("Fan 1", element2.descriptor);

    SASPhy phy;
    phy.addr.phyID = 2;
    phy.attachedPhyID = 4294967295U;
    phy.virtualPhy = true;
    SASPhy phy2;
    expectReadsBack(phy, phy2);
    EXPECT_EQ(4294967295U, phy2.attachedPhyID);
}

TEST(StorObjects, GivenAbsentAttributesThenEverythingStaysAsItWas) {
    HardDrive drive(nullptr, nullptr);
    fill(drive);
    const Notes before = written(drive);
    NotesReader nothing({});
    drive.readFrom(&nothing);
    EXPECT_EQ(before, written(drive));
}

TEST(StorObjects, GivenAnOverlongTextThenItIsCutAtTheField) {
    HardDrive drive(nullptr, nullptr);
    NotesReader reader({"ascii vendor=" + std::string(10000, 'x')});
    drive.readFrom(&reader);
    EXPECT_EQ(std::string(sizeof drive.vendor - 1, 'x'), drive.vendor);
}

// --- texts ---

struct TextCase {
    const char* text;
    const char* kept;
};

TEST(SetText, CutsEndsAndClearsTheRest) {
    const TextCase cases[] = {
        {nullptr, ""}, {"", ""}, {"a", "a"}, {"abcdefg", "abcdefg"}, {"abcdefgh", "abcdefg"},
    };
    for (const TextCase& c : cases) {
        char field[8];
        std::memset(field, '#', sizeof field);
        setText(field, c.text);
        EXPECT_STREQ(c.kept, field);
        for (std::size_t i = std::strlen(c.kept); i < sizeof field; ++i) EXPECT_EQ(0, field[i]);
    }
}

TEST(SetText, GivenTheFieldItselfThenItStays) {
    char field[8] = "abc";
    setText(field, field);
    EXPECT_STREQ("abc", field);
}

// --- what objects inherit and compute ---

TEST(StorObjects, NumbersAreInheritedFromAdapterAndChannel) {
    auto adapter = tree::adapter(3);
    Channel* channel = tree::channel(*adapter, 1);
    HardDrive* drive = tree::drive(*channel, 5);
    LogicalDrive* logical = tree::logicalDrive(*adapter, 7);
    EXPECT_TRUE(drive->addr.IsEqual(Addr::ofDevice(3, 1, 5)));
    EXPECT_TRUE(logical->addr.IsEqual(Addr::ofLogicalDrive(3, 7)));
    EXPECT_TRUE(channel->addr.IsEqual(Addr::ofChannel(3, 1)));
    EXPECT_EQ(channel, drive->getChannel());
    EXPECT_EQ(adapter.get(), drive->getAdapter());
    EXPECT_EQ(adapter.get(), logical->getAdapter());
    EXPECT_EQ(kChannelSata, SATAChannel(adapter.get()).getChannelType());
}

TEST(StorObjects, FeaturesAndLimitsOutsideTheTableAreAbsent) {
    Adapter adapter;
    adapter.setFeature(FeatureEnum(-1), true);
    adapter.setFeature(FeatureEnum(128), true);
    adapter.setFeature(kFeatureTemperature, true);
    EXPECT_EQ(0, adapter.getFeature(FeatureEnum(-1)));
    EXPECT_EQ(0, adapter.getFeature(FeatureEnum(128)));
    EXPECT_EQ(1, adapter.getFeature(kFeatureTemperature));
    adapter.setFeature(kFeatureTemperature, false);
    EXPECT_EQ(0, adapter.getFeature(kFeatureTemperature));
    adapter.setLimit(Limit(0), 5);
    adapter.setLimit(Limit(8), 5);
    EXPECT_EQ(0, adapter.getLimit(Limit(0)));
    EXPECT_EQ(0, adapter.getLimit(Limit(8)));
    EXPECT_EQ(0, adapter.getLimit(kLimitArrays));
    // Open until somebody sets it, or every logical drive above number 0 would be hidden.
    EXPECT_EQ(0x7ffffffe, adapter.getLimit(kLimitLogicalDrives));
}

TEST(Enclosure, GivenNoAnswerThenNothingIsKnown) {
    Enclosure enclosure(nullptr, nullptr);
    EXPECT_FALSE(enclosure.isSafteDataValid());
    EXPECT_EQ(0, enclosure.getFanCount());
    EXPECT_EQ(0, enclosure.getPowerSupplyCount());
    EXPECT_EQ(128, enclosure.getFanStatus(0));
    EXPECT_EQ(128, enclosure.getPowerSupplyStatus(0));
    EXPECT_FALSE(enclosure.isTempOutOfRange());
    EXPECT_EQ(0x7fffffff, enclosure.getSlotNumberFromDeviceID(1));
    EXPECT_EQ(0x7fffffff, enclosure.getDeviceIDFromSlotNumber(0));
}

TEST(Enclosure, AnswersFromItsStatusBytes) {
    Enclosure enclosure(nullptr, nullptr);
    SafteStatus* status = tree::answer(enclosure, 2, 1);
    status->fanStatus[1] = 2;
    status->powerSupplyStatus[0] = 0x10;
    status->slotDeviceID[3] = 9;
    status->slotDeviceID[63] = 10;
    EXPECT_TRUE(enclosure.isSafteDataValid());
    EXPECT_EQ(2, enclosure.getFanCount());
    EXPECT_EQ(1, enclosure.getPowerSupplyCount());
    EXPECT_EQ(2, enclosure.getFanStatus(1));
    EXPECT_EQ(128, enclosure.getFanStatus(31));
    EXPECT_EQ(128, enclosure.getFanStatus(32));
    EXPECT_EQ(0x10, enclosure.getPowerSupplyStatus(0));
    EXPECT_EQ(128, enclosure.getPowerSupplyStatus(65535));
    EXPECT_EQ(3, enclosure.getSlotNumberFromDeviceID(9));
    EXPECT_EQ(63, enclosure.getSlotNumberFromDeviceID(10));
    EXPECT_EQ(0x7fffffff, enclosure.getSlotNumberFromDeviceID(8));
    EXPECT_EQ(9, enclosure.getDeviceIDFromSlotNumber(3));
    EXPECT_EQ(255, enclosure.getDeviceIDFromSlotNumber(0));
    EXPECT_EQ(0x7fffffff, enclosure.getDeviceIDFromSlotNumber(64));
    EXPECT_EQ(0x7fffffff, enclosure.getDeviceIDFromSlotNumber(-1));
    EXPECT_FALSE(enclosure.isTempOutOfRange());
    status->tempFlags2 = 1;
    EXPECT_TRUE(enclosure.isTempOutOfRange());
    status->tempFlags2 = 0;
    status->tempFlags1 = 0x80;
    EXPECT_TRUE(enclosure.isTempOutOfRange());
}

TEST(Enclosure, GivenHalfAnAnswerThenItIsNotValid) {
    Enclosure enclosure(nullptr, nullptr);
    enclosure.setSafteData(std::make_unique<SafteConfig>(), nullptr);
    EXPECT_FALSE(enclosure.isSafteDataValid());
    enclosure.setSafteData(nullptr, std::make_unique<SafteStatus>());
    EXPECT_FALSE(enclosure.isSafteDataValid());
    enclosure.setSafteData(std::make_unique<SafteConfig>(), std::make_unique<SafteStatus>());
    EXPECT_TRUE(enclosure.isSafteDataValid());
}

TEST(SES2EnclosureDevice, CountsAndStatesComeFromItsElements) {
    auto adapter = tree::adapter(0);
    SES2EnclosureDevice* box = tree::ses2Enclosure(*tree::channel(*adapter, 0), 8);
    tree::element(*box, 0, kSesArrayDevice, "SLOT 1", kSesCritical);
    tree::element(*box, 1, kSesCooling, "Fan 1", kSesOk);
    tree::element(*box, 2, kSesPowerSupply, "PSU 1", kSesUnrecoverable);
    tree::element(*box, 3, kSesCooling, "Fan 2", kSesCritical);
    tree::hole(*box);
    EXPECT_EQ(2, box->getFanCount());
    EXPECT_EQ(1, box->getPowerSupplyCount());
    EXPECT_EQ(kSesOk, box->getFanStatus(0));
    EXPECT_EQ(kSesCritical, box->getFanStatus(1));
    EXPECT_EQ(kSesNotInstalled, box->getFanStatus(2));
    EXPECT_EQ(kSesUnrecoverable, box->getPowerSupplyStatus(0));
    EXPECT_EQ(kSesNotInstalled, box->getPowerSupplyStatus(1));
    EXPECT_FALSE(box->isTempOutOfRange());
}

TEST(SES2EnclosureDevice, TemperatureIsOutOfRangeWhenASensorSaysSo) {
    for (unsigned int status = 0; status <= 7; ++status) {
        SCOPED_TRACE(status);
        auto adapter = tree::adapter(0);
        SES2EnclosureDevice* box = tree::ses2Enclosure(*tree::channel(*adapter, 0), 8);
        tree::element(*box, 0, kSesTemperature, "Front", kSesOk);
        tree::element(*box, 1, kSesTemperature, "Back", status);
        EXPECT_EQ(status >= 2 && status <= 4, box->isTempOutOfRange());
    }
}

TEST(System, CountsItsAdapters) {
    System system(kStorLibGeneric);
    system.addChild(new VantAdapter);
    system.addChild(new ZorAdapter);
    Ret result{Ret::kFailed, 5};
    EXPECT_EQ(2, system.getControllerCount(nullptr, result));
    EXPECT_EQ(Ret::kOk, result.status);
    result = Ret{Ret::kFailed, 5};
    system.buildChildren(nullptr, result);
    EXPECT_EQ(Ret::kOk, result.status);
    EXPECT_EQ(2ul, system.getChildCount());
}

}  // namespace
