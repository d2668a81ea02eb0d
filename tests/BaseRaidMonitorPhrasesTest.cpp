#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "snapshot/QELAdapter.h"
#include "tests/support/BareMonitor.h"
#include "tests/support/TreeBuilder.h"

namespace {

const std::string kController = shown("eventArgController2", {"1", "", "Unknown"});

class NamingMonitor : public BareMonitor {
public:
    std::string getLogicalName(LogicalDrive*) override { return "backup"; }
};

class BaseRaidMonitorPhrases : public testing::Test {
protected:
    BareRoom room;
    NamingMonitor monitor;
    std::unique_ptr<VantAdapter> adapter = tree::adapter(0);
};

// --- controllers and channels ---

struct DescriptionCase {
    const char* vendor;
    const char* name;
    const char* serial;
    const char* description;
};

// clang-format off
constexpr DescriptionCase kDescriptions[] = {
    {"",  "",  "",  ""},
    {"A", "B", "7", " A B #7"},
    {"A", "",  "",  " A"},
    {"",  "B", "",  " B"},
    {"",  "",  "7", " #7"},
    {"A", "",  "7", " A #7"},
};
// clang-format on

TEST_F(BaseRaidMonitorPhrases, GivenAnAdapterThenDescriptionBeginsWithABlankUnlessEmpty) {
    for (const DescriptionCase& c : kDescriptions) {
        setText(adapter->deviceVendor, c.vendor);
        setText(adapter->deviceName, c.name);
        setText(adapter->controllerSerial, c.serial);
        EXPECT_EQ(shown("eventArgController2", {"1", c.description, "Unknown"}),
                  monitor.getDetailedAdapterID(adapter.get()));
    }
}

// A stored snapshot may hold anything. A name that calls for itself would be inserted for ever, and
// a "{" at the end has no number behind it.
TEST_F(BaseRaidMonitorPhrases, GivenNamesThatAskForASubstitutionWithoutEndThenTheyAreShown) {
    for (const char* name : {"{0} {1}", "{1} {x}", "{1}a{"}) {
        SCOPED_TRACE(name);
        std::string safe = name;
        std::replace(safe.begin(), safe.end(), '{', '_');
        setText(adapter->deviceName, name);
        setText(adapter->controllerSerial, name);
        EXPECT_EQ(shown("eventArgController2", {"1", " " + safe + " #" + safe, "Unknown"}),
                  monitor.getDetailedAdapterID(adapter.get()));
        HardDrive* drive = tree::drive(*tree::channel(*adapter, 0), 1);
        setText(drive->vendor, name);
        setText(drive->model, name);
        EXPECT_EQ(shown("deviceArgVendorModel", {safe, safe}), monitor.getReplacementID(drive));
        setText(drive->fruNumber, name);
        EXPECT_EQ(shown("deviceArgFRU", {safe}), monitor.getReplacementID(drive));
    }
}

// Intended: a "{" that a name leaves open takes what follows it, and calls for the first argument.
TEST_F(BaseRaidMonitorPhrases, GivenANameThatLeavesABraceOpenThenItTakesWhatFollows) {
    setText(adapter->deviceName, "a{");
    EXPECT_EQ("eventArgController2[1][ a1Unknown]", monitor.getDetailedAdapterID(adapter.get()));
    setText(adapter->controllerSerial, "{");
    EXPECT_EQ("eventArgController2[1][ a11Unknown]", monitor.getDetailedAdapterID(adapter.get()));
}

// Intended: a name is substituted like the text that it is inserted into.
TEST_F(BaseRaidMonitorPhrases, GivenANameThatAsksForAnotherArgumentThenItIsInserted) {
    setText(adapter->deviceName, "A{2}B{7}CD");
    EXPECT_EQ(shown("eventArgController2", {"1", " AUnknownBCD", "Unknown"}),
              monitor.getDetailedAdapterID(adapter.get()));
}

// Two look-ups: what the first leaves as "{0}" is an argument of the second.
TEST_F(BaseRaidMonitorPhrases, GivenANameThatAsksTwiceThenItEndsAllTheSame) {
    setText(adapter->deviceName, "{9}{0}");
    EXPECT_EQ(shown("eventArgController", {shown("eventArgController2", {"1", " _0}", "Unknown"})}),
              monitor.getEventID(adapter.get()));
}

TEST_F(BaseRaidMonitorPhrases, GivenAnAdapterThenNumberFrom1AndSlotAsStored) {
    adapter->addr.controllerID = 11;
    adapter->physicalSlot = 0;
    const std::string description = shown("eventArgController2", {"12", "", "0"});
    EXPECT_EQ(description, monitor.getDetailedAdapterID(adapter.get()));
    EXPECT_EQ(shown("eventArgController", {description}), monitor.getEventID(adapter.get()));
    adapter->physicalSlot = -1;
    EXPECT_EQ(shown("eventArgController2", {"12", "", "-1"}),
              monitor.getDetailedAdapterID(adapter.get()));
}

TEST_F(BaseRaidMonitorPhrases, GivenAChannelThenNumberFrom1) {
    EXPECT_EQ(shown("eventArgControllerChannel", {kController, "3"}),
              monitor.getEventID(tree::channel(*adapter, 2)));
    Channel loose(nullptr);
    loose.addr.channelID = 0;
    EXPECT_EQ(shown("eventArgControllerChannel", {"2147483647", "1"}), monitor.getEventID(&loose));
}

TEST_F(BaseRaidMonitorPhrases, GivenNullThenNothing) {
    EXPECT_EQ("", monitor.getEventID(static_cast<Adapter*>(nullptr)));
    EXPECT_EQ("", monitor.getEventID(static_cast<HardDrive*>(nullptr)));
    EXPECT_EQ("", monitor.getEventID(static_cast<LogicalDrive*>(nullptr)));
    EXPECT_EQ("", monitor.getEventID(static_cast<Channel*>(nullptr)));
    EXPECT_EQ("", monitor.getDetailedAdapterID(nullptr));
    EXPECT_EQ("", monitor.getReplacementID(nullptr));
    EXPECT_EQ("0 GB", monitor.getSize(nullptr));
    EXPECT_EQ("", monitor.getRaidLevel(nullptr));
    EXPECT_EQ("", monitor.getQuickInit(nullptr));
    EXPECT_EQ("", room.takeDebugLog());
}

TEST_F(BaseRaidMonitorPhrases, GivenAKeyThatTheCatalogueLacksThenThePhraseIsEmpty) {
    room.forget("eventArgController2");
    EXPECT_EQ("", monitor.getDetailedAdapterID(adapter.get()));
    EXPECT_EQ("eventArgController[]", monitor.getEventID(adapter.get()));
}

// --- drives on parallel SCSI and of unknown place ---

TEST_F(BaseRaidMonitorPhrases, GivenAScsiDriveThenChannelFrom1AndDeviceAsStored) {
    HardDrive* drive = tree::drive(*tree::channel(*adapter, 1), 5);
    EXPECT_EQ(shown("eventArgControllerScsiDevice", {kController, "2", "5"}),
              monitor.getEventID(drive));
}

TEST_F(BaseRaidMonitorPhrases, GivenAnUnknownChannelTypeThenTheScsiForm) {
    for (const int type : {kChannelScsi + 0, 2, 3, 5, -1}) {
        HardDrive* drive = tree::drive(*tree::channel(*adapter, 1, type), 5);
        EXPECT_EQ(shown("eventArgControllerScsiDevice", {kController, "2", "5"}),
                  monitor.getEventID(drive))
            << type;
    }
}

TEST_F(BaseRaidMonitorPhrases, GivenNeitherAdapterNorChannelThenTheRawNumbers) {
    HardDrive drive(nullptr, nullptr);
    drive.addr.deviceID = 5;
    EXPECT_EQ(shown("eventArgControllerScsiDevice", {"2147483647", "2147483647", "5"}),
              monitor.getEventID(&drive));
}

// Says that it is no drive, whatever its class.
class Impostor : public HardDrive {
public:
    Impostor() : HardDrive(nullptr, nullptr) {}
    bool isInstanceOf(char const* name) const override { return RaidObject::isInstanceOf(name); }
};

TEST_F(BaseRaidMonitorPhrases, GivenAnObjectThatIsNoHardDriveThenNothing) {
    Impostor impostor;
    EXPECT_EQ("", monitor.getEventID(&impostor));
}

// --- SATA ---

TEST_F(BaseRaidMonitorPhrases, GivenPortsOfChannelsBeforeThenTheyCount) {
    tree::sataChannel(*adapter, 0, 4);
    tree::sataChannel(*adapter, 1, 4);
    SATAChannel* channel = tree::sataChannel(*adapter, 2, 4);
    tree::sataChannel(*adapter, 3, 100);
    HardDrive* drive = tree::drive(*channel, 9);
    drive->sataPort = 2;
    EXPECT_EQ(shown("eventArgControllerSATADevice", {kController, "10"}),
              monitor.getEventID(drive));
    drive->sataPort = Addr::kNotSet;
    drive->addr.deviceID = 2;
    EXPECT_EQ(shown("eventArgControllerSATADevice", {kController, "10"}), monitor.getEventID(drive))
        << "the device number stands in for a port that is not set";
}

// The order of the list counts, not that of the numbers.
TEST_F(BaseRaidMonitorPhrases, GivenChannelsOutOfOrderThenTheListDecides) {
    SATAChannel* channel = tree::sataChannel(*adapter, 5, 4);
    tree::hole(*adapter);
    tree::sataChannel(*adapter, 0, 4);
    HardDrive* drive = tree::drive(*channel, 1);
    EXPECT_EQ(shown("eventArgControllerSATADevice", {kController, "1"}), monitor.getEventID(drive));
}

TEST_F(BaseRaidMonitorPhrases, GivenNoSataChannelOfThatNumberThenTheScsiForm) {
    tree::sataChannel(*adapter, 0, 4);
    HardDrive* drive = tree::drive(*tree::channel(*adapter, 1, kChannelSata), 3);
    EXPECT_EQ(shown("eventArgControllerScsiDevice", {kController, "2", "3"}),
              monitor.getEventID(drive));
}

// A snapshot keeps the channel's number and type, not its ports: a drive that is gone after a
// restart is named by channel and device.
TEST_F(BaseRaidMonitorPhrases, GivenAStoredSataDriveThenTheScsiForm) {
    (void)tree::drive(*tree::sataChannel(*adapter, 1, 4), 3);
    QELAdapter stored;
    stored.build(adapter.get());
    RaidObject* drive = stored.getObject(Addr::ofDevice(0, 1, 3));
    ASSERT_NE(nullptr, drive);
    EXPECT_EQ(shown("eventArgControllerScsiDevice", {kController, "2", "3"}),
              monitor.getEventID(static_cast<HardDrive*>(drive)));
}

// Slots are kept, so a drive in an enclosure is still named by its slot.
TEST_F(BaseRaidMonitorPhrases, GivenAStoredSataDriveInAStoredEnclosureThenItsSlot) {
    SATAChannel* channel = tree::sataChannel(*adapter, 1, 4);
    (void)tree::drive(*channel, 3);
    tree::answer(*tree::enclosure(*channel, 8))->slotDeviceID[6] = 3;
    QELAdapter stored;
    stored.build(adapter.get());
    channel->deleteAllChildren();  // the live enclosure answers no more
    RaidObject* drive = stored.getObject(Addr::ofDevice(0, 1, 3));
    ASSERT_NE(nullptr, drive);
    EXPECT_EQ(shown("eventArgControllerSATADeviceEnclosure", {kController, "8", "6"}),
              monitor.getEventID(static_cast<HardDrive*>(drive)));
}

TEST_F(BaseRaidMonitorPhrases, GivenASataDriveWithoutAdapterThenTheScsiForm) {
    SATAChannel channel(nullptr);
    channel.addr.channelID = 1;
    HardDrive drive(nullptr, &channel);
    drive.addr.deviceID = 3;
    EXPECT_EQ(shown("eventArgControllerScsiDevice", {"2147483647", "2", "3"}),
              monitor.getEventID(&drive));
}

TEST_F(BaseRaidMonitorPhrases, GivenASaftEnclosureWithTheDriveThenItsSlotAsStored) {
    SATAChannel* channel = tree::sataChannel(*adapter, 0, 4);
    HardDrive* drive = tree::drive(*channel, 3);
    Enclosure* enclosure = tree::enclosure(*channel, 8);
    SafteStatus* status = tree::answer(*enclosure);
    status->slotDeviceID[6] = 3;
    EXPECT_EQ(shown("eventArgControllerSATADeviceEnclosure", {kController, "8", "6"}),
              monitor.getEventID(drive));
    status->slotDeviceID[0] = 3;
    EXPECT_EQ(shown("eventArgControllerSATADeviceEnclosure", {kController, "8", "0"}),
              monitor.getEventID(drive))
        << "slot 0 is a slot";
}

TEST_F(BaseRaidMonitorPhrases, GivenEnclosuresThenTheFirstThatAnswersAndHoldsTheDrive) {
    SATAChannel* channel = tree::sataChannel(*adapter, 0, 4);
    HardDrive* drive = tree::drive(*channel, 3);
    tree::enclosure(*channel, 7);  // silent
    tree::answer(*tree::enclosure(*channel, 8));
    EXPECT_EQ(shown("eventArgControllerSATADevice", {kController, "3"}), monitor.getEventID(drive))
        << "none holds it";
    tree::answer(*tree::enclosure(*channel, 9))->slotDeviceID[1] = 3;
    tree::answer(*tree::enclosure(*channel, 10))->slotDeviceID[2] = 3;
    EXPECT_EQ(shown("eventArgControllerSATADeviceEnclosure", {kController, "9", "1"}),
              monitor.getEventID(drive));
}

// An enclosure is looked for on SATA channels only.
TEST_F(BaseRaidMonitorPhrases, GivenAScsiDriveInASaftEnclosureThenTheScsiForm) {
    Channel* channel = tree::channel(*adapter, 0);
    HardDrive* drive = tree::drive(*channel, 3);
    tree::answer(*tree::enclosure(*channel, 8))->slotDeviceID[1] = 3;
    EXPECT_EQ(shown("eventArgControllerScsiDevice", {kController, "1", "3"}),
              monitor.getEventID(drive));
}

// --- SAS ---

class BaseRaidMonitorSasPhrases : public BaseRaidMonitorPhrases {
protected:
    BaseRaidMonitorSasPhrases() { use(tree::adapter(0)); }

    void use(std::unique_ptr<Adapter> newAdapter) {
        sasAdapter = std::move(newAdapter);
        channel = tree::channel(*sasAdapter, 0, kChannelSas);
        drive = tree::drive(*channel, 4);
        drive->wwn0 = 0x44332211;
        drive->wwn1 = 0x88776655;
    }

    std::string slot(const char* enclosure, const char* number) {
        return shown("eventArgControllerSASDeviceEnclosure", {kController, enclosure, number});
    }
    std::string direct(const char* phy) {
        return shown("eventArgControllerSASDeviceDirect", {kController, phy});
    }
    const std::string worldWide =
        shown("eventArgControllerSASDeviceWWN", {kController, "1122334455667788"});

    std::unique_ptr<Adapter> sasAdapter;
    Channel* channel = nullptr;
    HardDrive* drive = nullptr;
};

TEST_F(BaseRaidMonitorSasPhrases, GivenNoPhysThenTheWorldWideNameInStorageOrder) {
    EXPECT_EQ(worldWide, monitor.getEventID(drive));
    drive->wwn0 = 0x0a000000;
    drive->wwn1 = 0xf0;
    EXPECT_EQ(shown("eventArgControllerSASDeviceWWN", {kController, "0000000AF0000000"}),
              monitor.getEventID(drive));
}

TEST_F(BaseRaidMonitorSasPhrases, GivenNoAdapterThenTheWorldWideName) {
    Channel loose(nullptr);
    loose.channelType = kChannelSas;
    HardDrive other(nullptr, &loose);
    tree::phy(other, 0, "D", 2, "A");
    EXPECT_EQ(shown("eventArgControllerSASDeviceWWN", {"2147483647", "0000000000000000"}),
              monitor.getEventID(&other));
}

struct SlotCase {
    const char* descriptor;
    const char* number;  // null: passed over
};

// clang-format off
constexpr SlotCase kSlots[] = {
    {"SLOT 07",             "7"},
    {"SLOT 3",              "3"},
    {"slot 12",             "12"},
    {"SLOT 5 upper",        "5"},
    {"SLOT -2",             "-2"},
    {"SLOT ",               "0"},
    {"SLOT x",              "0"},
    {"SLOT 99999999999",    "2147483647"},
    {"Bay SLOT 07",         "0"},  // the number is read from the sixth character, wherever the word is
    {"12345678 slot 3",     "678"},
    {"Slot 3",              nullptr},
    {"SLOT3",               nullptr},
    {"BAY 3",               nullptr},
    {"",                    nullptr},
};
// clang-format on

TEST_F(BaseRaidMonitorSasPhrases, GivenADescriptorThenItsSlotOrTheNextElement) {
    for (const SlotCase& c : kSlots) {
        SCOPED_TRACE(c.descriptor);
        use(tree::adapter(0));
        tree::phy(*drive, 1, "D", 6, "E");
        SES2EnclosureDevice* enclosure = tree::ses2Enclosure(*channel, 20);
        tree::phy(*tree::element(*enclosure, 0, kSesArrayDevice, c.descriptor), 0, "D", 0, "E");
        EXPECT_EQ(c.number == nullptr ? worldWide : slot("20", c.number),
                  monitor.getEventID(drive));
        tree::phy(*tree::element(*enclosure, 1, kSesArrayDevice, "SLOT 41"), 0, "D", 0, "E");
        EXPECT_EQ(slot("20", c.number == nullptr ? "41" : c.number), monitor.getEventID(drive));
    }
}

struct LinkCase {
    const char* when;
    const char* address;
    const char* attached;
    bool same;
};

// clang-format off
constexpr LinkCase kLinks[] = {
    {"both addresses are the drive's",   "D",  "E",  true},
    {"another address",                  "X",  "E",  false},
    {"another attached address",         "D",  "X",  false},
    {"the other way round",              "E",  "D",  false},
    {"lower case",                       "d",  "e",  false},
    {"longer",                           "D0", "E",  false},
};
// clang-format on

TEST_F(BaseRaidMonitorSasPhrases, GivenAnElementThenItsPhyMustShowTheSameLink) {
    for (const LinkCase& c : kLinks) {
        SCOPED_TRACE(c.when);
        use(tree::adapter(0));
        tree::phy(*drive, 1, "D", 6, "E");
        SESElement* element =
            tree::element(*tree::ses2Enclosure(*channel, 20), 0, kSesArrayDevice, "SLOT 2");
        tree::phy(*element, 77, "Y", 88, "Z");
        tree::hole(*element);
        tree::phy(*element, 77, c.address, 88, c.attached, 0);
        EXPECT_EQ(c.same ? slot("20", "2") : worldWide, monitor.getEventID(drive));
    }
}

TEST_F(BaseRaidMonitorSasPhrases, GivenEnclosuresThenTheFirstThatIsBelievedAndShowsTheLink) {
    tree::phy(*drive, 1, "D", 6, "E");
    SES2EnclosureDevice* silent = tree::ses2Enclosure(*channel, 20, false);
    tree::phy(*tree::element(*silent, 0, kSesArrayDevice, "SLOT 1"), 0, "D", 0, "E");
    tree::ses2Enclosure(*channel, 21);
    EXPECT_EQ(worldWide, monitor.getEventID(drive));
    for (const unsigned int device : {22u, 23u}) {
        tree::phy(
            *tree::element(*tree::ses2Enclosure(*channel, device), 0, kSesArrayDevice, "SLOT 3"), 0,
            "D", 0, "E");
    }
    EXPECT_EQ(slot("22", "3"), monitor.getEventID(drive));
}

// Their enclosures do not mark their data as valid, and are believed all the same.
TEST_F(BaseRaidMonitorSasPhrases, GivenAZorAdapterThenAnyEnclosureIsBelieved) {
    use(tree::adapter<ZorAdapter>(0));
    tree::phy(*drive, 1, "D", 6, "E");
    SES2EnclosureDevice* silent = tree::ses2Enclosure(*channel, 20, false);
    tree::phy(*tree::element(*silent, 0, kSesArrayDevice, "SLOT 1"), 0, "D", 0, "E");
    EXPECT_EQ(slot("20", "1"), monitor.getEventID(drive));
}

struct CableCase {
    const char* when;
    unsigned int number;
    const char* address;
    unsigned int attachedNumber;
    const char* attached;
    bool cabled;
};

// clang-format off
constexpr CableCase kCables[] = {
    // the drive's phy is number 1 at "D", attached to phy 6 at "A"
    {"the other end",              6, "A", 1, "D", true},
    {"another number",             7, "A", 1, "D", false},
    {"attached to another number", 6, "A", 2, "D", false},
    {"another address",            6, "X", 1, "D", false},
    {"attached to another drive",  6, "A", 1, "X", false},
};
// clang-format on

TEST_F(BaseRaidMonitorSasPhrases, GivenAnAdapterPhyThenAllFourEndsMustAgree) {
    for (const CableCase& c : kCables) {
        SCOPED_TRACE(c.when);
        use(tree::adapter(0));
        tree::phy(*drive, 1, "D", 6, "A");
        tree::phy(*sasAdapter, 3, "Y", 1, "D");
        tree::phy(*sasAdapter, c.number, c.address, c.attachedNumber, c.attached, 0);
        EXPECT_EQ(c.cabled ? direct("6") : worldWide, monitor.getEventID(drive));
    }
}

TEST_F(BaseRaidMonitorSasPhrases, GivenAPhyWithNothingAttachedThenItIsNotMatched) {
    tree::phy(*drive, 1, "D", 6, "A", 0);
    tree::phy(*sasAdapter, 6, "A", 1, "D");
    tree::phy(*tree::element(*tree::ses2Enclosure(*channel, 20), 0, kSesArrayDevice, "SLOT 1"), 0,
              "D", 0, "A");
    EXPECT_EQ(worldWide, monitor.getEventID(drive));
}

TEST_F(BaseRaidMonitorSasPhrases, GivenSlotAndDirectLinkOfOnePhyThenTheSlot) {
    tree::phy(*drive, 1, "D", 6, "A");
    tree::phy(*sasAdapter, 6, "A", 1, "D");
    tree::phy(*tree::element(*tree::ses2Enclosure(*channel, 20), 0, kSesArrayDevice, "SLOT 1"), 0,
              "D", 0, "A");
    EXPECT_EQ(slot("20", "1"), monitor.getEventID(drive));
}

// Each phy tries both ways before the next one has its turn.
TEST_F(BaseRaidMonitorSasPhrases, GivenADirectLinkOfTheFirstPhyThenItWinsOverASlotOfTheSecond) {
    tree::hole(*drive);
    tree::phy(*drive, 1, "D", 6, "A");
    tree::phy(*drive, 2, "D2", 7, "E");
    tree::phy(*sasAdapter, 6, "A", 1, "D");
    tree::phy(*tree::element(*tree::ses2Enclosure(*channel, 20), 0, kSesArrayDevice, "SLOT 1"), 0,
              "D2", 0, "E");
    EXPECT_EQ(direct("6"), monitor.getEventID(drive));
}

TEST_F(BaseRaidMonitorSasPhrases, GivenOnlyTheSecondPhyMatchesThenIt) {
    tree::phy(*drive, 1, "D", 6, "A");
    tree::phy(*drive, 2, "D2", 7, "A");
    tree::phy(*sasAdapter, 7, "A", 2, "D2");
    EXPECT_EQ(direct("7"), monitor.getEventID(drive));
}

// Phys hang where the library puts them: all of them below an object count, not only its children.
TEST_F(BaseRaidMonitorSasPhrases, GivenPhysThatHangDeeperThenTheyAreFound) {
    auto* port = new SESElement;
    drive->addChild(port);
    tree::phy(*port, 1, "D", 6, "A");
    EXPECT_EQ(worldWide, monitor.getEventID(drive));
    tree::phy(*tree::channel(*sasAdapter, 7, kChannelSas), 6, "A", 1, "D");
    EXPECT_EQ(direct("6"), monitor.getEventID(drive));
    SESElement* slotElement =
        tree::element(*tree::ses2Enclosure(*channel, 20), 0, kSesArrayDevice, "SLOT 2");
    auto* connector = new SESElement;
    slotElement->addChild(connector);
    tree::phy(*connector, 0, "D", 0, "A");
    EXPECT_EQ(slot("20", "2"), monitor.getEventID(drive));
}

// A snapshot keeps phys, elements and descriptors: a drive that is gone after a restart is named
// as it was before.
TEST_F(BaseRaidMonitorSasPhrases, GivenAStoredDriveThenTheSameSlotOrPhyOrName) {
    const auto stored = [this] {
        QELAdapter copy;
        copy.build(sasAdapter.get());
        auto* gone = static_cast<HardDrive*>(copy.getObject(Addr::ofDevice(0, 0, 4)));
        return gone == nullptr ? std::string("not stored") : monitor.getEventID(gone);
    };
    EXPECT_EQ(worldWide, stored());
    tree::phy(*drive, 1, "D", 6, "A");
    tree::phy(*sasAdapter, 6, "A", 1, "D");
    EXPECT_EQ(direct("6"), stored());
    tree::phy(*tree::element(*tree::ses2Enclosure(*channel, 20), 0, kSesArrayDevice, "SLOT 2"), 0,
              "D", 0, "A");
    EXPECT_EQ(slot("20", "2"), stored());
}

// --- logical drives ---

TEST_F(BaseRaidMonitorPhrases, GivenALogicalDriveThenItsNumberAsStored) {
    EXPECT_EQ(shown("eventArgControllerLogicalDrive", {kController, "4"}),
              monitor.getEventID(tree::logicalDrive(*adapter, 4)));
    LogicalDrive loose(nullptr);
    loose.addr.logicalDriveID = 0;
    EXPECT_EQ(shown("eventArgControllerLogicalDrive", {"2147483647", "0"}),
              monitor.getEventID(&loose));
}

TEST_F(BaseRaidMonitorPhrases, GivenADriveOfTheFamilyWithNamesThenNameAndNumber) {
    ZorBasicLogicalDrive drive(adapter.get());
    drive.addr.logicalDriveID = 4;
    EXPECT_EQ(shown("eventArgControllerLogicalDrive",
                    {kController, shown("eventArgControllerLogicalDrive2", {"backup", "4"})}),
              monitor.getEventID(&drive));
    BareMonitor plain;
    EXPECT_EQ("", plain.getLogicalName(&drive));
    EXPECT_EQ(shown("eventArgControllerLogicalDrive",
                    {kController, shown("eventArgControllerLogicalDrive2", {"", "4"})}),
              plain.getEventID(&drive));
}

struct SizeCase {
    unsigned long long space;
    const char* size;
};

// clang-format off
constexpr SizeCase kMegabytes[] = {
    {0, "0.0 GB"}, {1, "0.0 GB"}, {6, "0.1 GB"}, {512, "0.50 GB"}, {1023, "0.100 GB"},
    {1024, "1.0 GB"}, {1075, "1.5 GB"}, {1536, "1.50 GB"}, {2047, "1.100 GB"}, {2048, "2.0 GB"},
    {139776, "136.50 GB"}, {4398046511103ULL, "4294967295.100 GB"},
    {0xffffffffffffffffULL, "18014398509481984.0 GB"},  // as many digits as a double keeps
};

constexpr SizeCase kBlocks[] = {
    {0, "0.0 GB"}, {1, "0.0 GB"}, {2097152, "1.0 GB"}, {3145728, "1.50 GB"},
    {2097151, "0.100 GB"}, {2201600, "1.5 GB"}, {0x0080000000000000ULL, "0.0 GB"},
};
// clang-format on

TEST_F(BaseRaidMonitorPhrases, GivenAVantDriveThenItsMegabytesAsGigabytes) {
    LogicalDrive* drive = tree::logicalDrive(*adapter, 0);
    for (const SizeCase& c : kMegabytes) {
        drive->dataSpace = c.space;
        EXPECT_EQ(c.size, monitor.getSize(drive)) << c.space;
    }
}

TEST_F(BaseRaidMonitorPhrases, GivenAZorDriveThenItsBlocksAsGigabytes) {
    auto zor = tree::adapter<ZorAdapter>(0);
    LogicalDrive* drive = tree::logicalDrive(*zor, 0);
    for (const SizeCase& c : kBlocks) {
        drive->dataSpace = c.space;
        EXPECT_EQ(c.size, monitor.getSize(drive)) << c.space;
    }
}

TEST_F(BaseRaidMonitorPhrases, GivenAnotherFamilyOrNoneThenNoSize) {
    auto other = tree::adapter<Adapter>(0);
    LogicalDrive* drive = tree::logicalDrive(*other, 0);
    drive->dataSpace = 2048;
    EXPECT_EQ("0.0 GB", monitor.getSize(drive));
    LogicalDrive loose(nullptr);
    loose.dataSpace = 2048;
    EXPECT_EQ("0 GB", monitor.getSize(&loose));
}

struct LevelCase {
    int level;
    const char* text;
};

// clang-format off
constexpr LevelCase kLevels[] = {
    {0, "0"}, {1, "1"}, {2, "infoLogDriveRAID1E"}, {3, "3"}, {4, "4"}, {5, "5"},
    {6, "infoLogDriveRAID5E"}, {7, "infoLogDriveRAID5EE"}, {8, "RAID00"}, {9, "RAID10"},
    {10, "RAID1E0"}, {11, "RAID50"}, {12, ""}, {13, "infoLogDriveSpannedVolume"},
    {14, "infoLogDriveRaidVolume"}, {15, "infoLogDriveSimpleVolume"}, {16, "6"}, {17, "RAID60"},
    {18, ""}, {-1, ""}, {0x7fffffff, ""},
};
// clang-format on

TEST_F(BaseRaidMonitorPhrases, GivenALevelThenDigitsOrItsCatalogueText) {
    LogicalDrive* drive = tree::logicalDrive(*adapter, 0);
    for (const LevelCase& c : kLevels) {
        drive->raidLevel = c.level;
        EXPECT_EQ(c.text, monitor.getRaidLevel(drive)) << c.level;
    }
}

TEST_F(BaseRaidMonitorPhrases, GivenASubStateThenTheMethodOnlyForQuickInitialisation) {
    LogicalDrive* drive = tree::logicalDrive(*adapter, 0);
    for (const int state : {-1, 0, 1, 7, 9}) {
        drive->subState = state;
        EXPECT_EQ("", monitor.getQuickInit(drive)) << state;
    }
    drive->subState = 8;
    EXPECT_EQ(", Method = LD_SUB_QUICK_INIT", monitor.getQuickInit(drive));
    room.forget("LD_SUB_QUICK_INIT");
    EXPECT_EQ(", Method = ", monitor.getQuickInit(drive));
}

// --- replacements ---

struct ReplacementCase {
    const char* fru;
    const char* vendor;
    const char* model;
    const char* phrase;
};

// clang-format off
constexpr ReplacementCase kReplacements[] = {
    {"39R7342", "V", "M", "deviceArgFRU[39R7342]"},
    {"39R7342", "",  "",  "deviceArgFRU[39R7342]"},
    {"",        "V", "M", "deviceArgVendorModel[V][M]"},
    {"",        " V ", "M ", "deviceArgVendorModel[ V ][M ]"},  // nothing is trimmed
    {" ",       "V", "M", "deviceArgFRU[ ]"},
    {"",        "V", "",  ""},
    {"",        "",  "M", ""},
    {"",        "",  "",  ""},
};
// clang-format on

TEST_F(BaseRaidMonitorPhrases, GivenADeviceThenPartNumberOrVendorAndModel) {
    HardDrive* drive = tree::drive(*tree::channel(*adapter, 0), 0);
    for (const ReplacementCase& c : kReplacements) {
        setText(drive->fruNumber, c.fru);
        setText(drive->vendor, c.vendor);
        setText(drive->model, c.model);
        EXPECT_EQ(c.phrase, monitor.getReplacementID(drive));
    }
}

}  // namespace
