#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/BareMonitor.h"
#include "tests/support/TreeBuilder.h"

namespace {

const std::string kController = shown("eventArgController2", {"2", " #NEW", "Unknown"});

std::string drivePhrase(const std::string& controller = kController) {
    return shown("eventArgControllerScsiDevice", {controller, "4", "5"});
}

class BaseRaidMonitorPhysicalDrives : public testing::Test {
protected:
    BaseRaidMonitorPhysicalDrives() {
        room.clock.advance(1);
        // The reminder is out of the way until a test asks for it.
        monitor.lastUnsupportedDrivesReport = 1;
        reset();
    }

    // Two adapters with channel 3 each and no drives.
    void reset() {
        now = tree::adapter(1, "NEW");
        before = tree::adapter(1, "OLD");
        newBus = tree::channel(*now, 3);
        oldBus = tree::channel(*before, 3);
    }

    // The same place on both sides.
    void place(int oldState, int newState) {
        reset();
        oldDrive = tree::drive(*oldBus, 5, oldState);
        newDrive = tree::drive(*newBus, 5, newState);
    }

    std::string compare() {
        monitor.comparePhysicalDrives(room.events, now.get(), before.get());
        return room.takeSummary();
    }

    std::string check() {
        monitor.checkPhysicalDrives(room.events, now.get());
        return room.takeSummary();
    }

    QELEvent expected(int code, int severity, const std::string& identifier, const std::string& key,
                      const std::vector<std::string>& args) {
        return expectedEvent(code, severity, shown(key, args), identifier, 5,
                             Addr::ofDevice(1, 3, 5), "NEW");
    }

    BareRoom room;
    BareMonitor monitor;
    std::unique_ptr<VantAdapter> now;
    std::unique_ptr<VantAdapter> before;
    Channel* newBus = nullptr;
    Channel* oldBus = nullptr;
    HardDrive* newDrive = nullptr;
    HardDrive* oldDrive = nullptr;
};

// --- names of vendors ---

struct TrimCase {
    const char* text;
    const char* result;
    const char* left;  // of the caller's text
};

// clang-format off
constexpr TrimCase kTrimCases[] = {
    {"x",          "x",      "x"},
    {"x   ",       "x",      "x"},
    {"   x",       "x",      "   x"},
    {"\tx",        "x",      "\tx"},
    {"x\t\t",      "x",      "x\t\t"},
    {"a b\tc",     "a b\tc", "a b\tc"},
    {"x\t ",       "x",      "x\t"},
    {"\t x",       "x",      "\t x"},
    {" \t \tx",    "x",      " \t \tx"},
    {" \t x \t ",  "x",      " \t x \t"},  // the second look takes the blank off
    // Mixed ends keep a blank: only the first character is looked at again.
    {"x \t",       "x ",     "x \t"},
    {"x \t ",      "x ",     "x \t"},
    {"x \r",       "x \r",   "x \r"},      // no other white space counts
};
// clang-format on

TEST_F(BaseRaidMonitorPhysicalDrives, GivenATextWhenTrimmedThenResultAndCallersText) {
    for (const TrimCase& c : kTrimCases) {
        std::string text = c.text;
        EXPECT_EQ(c.result, monitor.trim(text)) << "\"" << c.text << "\"";
        EXPECT_EQ(c.left, text) << "\"" << c.text << "\"";
    }
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenNothingButBlanksWhenTrimmedThenThrows) {
    for (const char* blanks : {"", " ", "    ", "\t", " \t ", "\t \t"}) {
        std::string text = blanks;
        EXPECT_THROW(monitor.trim(text), std::out_of_range) << "\"" << blanks << "\"";
    }
    std::string text = "  ";
    EXPECT_THROW(monitor.trim(text), std::out_of_range);
    EXPECT_EQ("", text) << "the caller's text has lost its blanks by then";
}

struct VendorCase {
    const char* vendor;
    bool supported;
};

// clang-format off
constexpr VendorCase kVendors[] = {
    {"KOVA-LMN",       true},
    {"KOVA-PQ",        true},
    {"KOVA-RST",       true},
    {"KOVA-PQ ",       true},
    {"  KOVA-RST\t",   true},
    {"\t KOVA-LMN   ", true},
    {"KOVA-PQX",       false},
    {"KOVA-P",         false},
    {"KOVA",           false},
    {"kova-pq",        false},
    {"XKOVA-PQ",       false},
    {"KOVA-PQ \t",     false},  // a blank is left behind
    {"KOVA-LMN KOVA-PQ", false},
    {"ACME",           false},
    {"",               false},
};
// clang-format on

TEST_F(BaseRaidMonitorPhysicalDrives, GivenAVendorThenSupportedOnlyByItsWholeName) {
    HardDrive* drive = tree::drive(*newBus, 0);
    for (const VendorCase& c : kVendors) {
        setText(drive->vendor, c.vendor);
        EXPECT_EQ(c.supported, monitor.isVendorSupported(drive)) << "\"" << c.vendor << "\"";
        EXPECT_STREQ(c.vendor, drive->vendor) << "the drive's own text stays";
    }
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenAnyPhysicalDeviceThenItsVendorCounts) {
    Enclosure* enclosure = tree::enclosure(*newBus, 1);
    setText(enclosure->vendor, "KOVA-PQ");
    EXPECT_TRUE(monitor.isVendorSupported(enclosure));
    EXPECT_FALSE(monitor.isVendorSupported(newBus));
    EXPECT_FALSE(monitor.isVendorSupported(now.get()));
    EXPECT_FALSE(monitor.isVendorSupported(nullptr));
}

// The library never delivers such a name; a host that makes one hears about it.
TEST_F(BaseRaidMonitorPhysicalDrives, GivenAVendorOfBlanksThenEveryCallerThrows) {
    place(kDriveReady, kDriveReady);
    setText(newDrive->vendor, "   ");
    EXPECT_THROW(monitor.isVendorSupported(newDrive), std::out_of_range);
    EXPECT_THROW(check(), std::out_of_range);
    EXPECT_THROW(compare(), std::out_of_range);
    monitor.driveCheckFlag = false;
    EXPECT_NO_THROW(compare());
    monitor.driveCheckFlag = true;
    newDrive->state = kDriveNotPresent;
    EXPECT_NO_THROW(compare()) << "an absent drive is not looked at";
}

// --- which drives count ---

struct DeviceNumberCase {
    unsigned int number;
    bool valid;
};

// clang-format off
constexpr DeviceNumberCase kDeviceNumbers[] = {
    {0, true}, {254, true}, {0x100, true}, {0xFF00, true}, {Addr::kNotSet - 0xff, true},
    {255, false}, {0x1FF, false}, {0x10FF, false}, {0x100FF, false}, {0xFFFF, false},
    {Addr::kNotSet, false},
};
// clang-format on

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADeviceNumberThenSpuriousByItsLowByte) {
    for (const DeviceNumberCase& c : kDeviceNumbers) {
        reset();
        HardDrive* drive = tree::drive(*newBus, c.number);
        EXPECT_EQ(c.valid, monitor.isValidPhysicalDrive(now.get(), drive)) << c.number;
    }
    EXPECT_EQ("", room.takeDebugLog());
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenASpuriousDriveThenNeitherComparedNorExamined) {
    for (const unsigned int number : {255u, 0x1FFu, 0x10FFu}) {
        reset();
        tree::drive(*newBus, number, kDriveFailed);
        EXPECT_EQ("", check());
        EXPECT_EQ("", compare());
        EXPECT_EQ("", (monitor.comparePhysicalDrives(room.events, before.get(), now.get()),
                       room.takeSummary()))
            << "nor is it missed";
    }
    EXPECT_EQ("", room.takeDebugLog());
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenTraceMaskThenSpuriousDrivesLeaveALine) {
    tree::drive(*newBus, 0x1FF, kDriveFailed);
    setDebugMask(0x00f000);
    EXPECT_FALSE(
        monitor.isValidPhysicalDrive(now.get(), static_cast<HardDrive*>(newBus->getChild(0))));
    EXPECT_EQ("       Discarding physical drive as spurious (&ecIN, PD: 511) State = 2.\n",
              room.takeDebugLog());
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenNullObjectsThenFalseAndOneLineEach) {
    HardDrive* drive = tree::drive(*newBus, 0);
    EXPECT_FALSE(monitor.isValidPhysicalDrive(nullptr, drive));
    EXPECT_FALSE(monitor.isValidPhysicalDrive(now.get(), nullptr));
    const std::string line = "ERROR: BaseRaidMonitor::isValidPhysicalDrive object is NULL!!!\n";
    EXPECT_EQ(line + line, room.takeDebugLog());
}

// --- finding the drive of the other side ---

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADriveThenFoundByPlaceNotBySerial) {
    place(kDriveReady, kDriveReady);
    setText(newDrive->serialNumber, "A");
    setText(oldDrive->serialNumber, "B");
    EXPECT_EQ(oldDrive, monitor.findPD(newDrive, before.get()));
    EXPECT_EQ(nullptr, monitor.findPD(tree::drive(*newBus, 6), before.get()));
    EXPECT_EQ(nullptr, monitor.findPD(tree::drive(*tree::channel(*now, 4), 5), before.get()));
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADriveWithoutChannelThenFoundBesideOneWithChannel) {
    place(kDriveReady, kDriveReady);
    HardDrive* loose = tree::driveWithoutChannel(*now, 5);
    EXPECT_EQ(nullptr, monitor.findPD(loose, before.get()));
    HardDrive* looseBefore = tree::driveWithoutChannel(*before, 5);
    EXPECT_EQ(looseBefore, monitor.findPD(loose, before.get()));
}

// The adapter's own number counts, so a controller that moved in the list keeps its drives.
TEST_F(BaseRaidMonitorPhysicalDrives, GivenAnAdapterWithAnotherNumberThenItsDrivesAreFound) {
    place(kDriveReady, kDriveReady);
    auto moved = tree::adapter(9);
    HardDrive* drive = tree::drive(*tree::channel(*moved, 3), 5);
    EXPECT_EQ(drive, monitor.findPD(newDrive, moved.get()));
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenNullsWhenLookedForThenNullAndALinePerNull) {
    HardDrive* drive = tree::drive(*newBus, 0);
    EXPECT_EQ(nullptr, monitor.findPD(drive, nullptr));
    EXPECT_EQ("ERROR: BaseRaidMonitor::findPD adapter is NULL!!!\n", room.takeDebugLog());
    EXPECT_EQ(nullptr, monitor.findPD(nullptr, now.get()));
    EXPECT_EQ("ERROR: BaseRaidMonitor::findPD hardDrive is NULL!!!\n", room.takeDebugLog());
}

// --- comparing ---

TEST_F(BaseRaidMonitorPhysicalDrives, GivenNoAdapterThenOneErrorLine) {
    monitor.comparePhysicalDrives(room.events, nullptr, before.get());
    monitor.comparePhysicalDrives(room.events, now.get(), nullptr);
    const std::string line = "ERROR: BaseRaidMonitor::comparePhysicalDrives adapter is NULL!!!\n";
    EXPECT_EQ(line + line, room.takeDebugLog());
    monitor.checkPhysicalDrives(room.events, nullptr);
    EXPECT_EQ("ERROR: BaseRaidMonitor::checkPhysicalDrives adapterIN is NULL!!!\n",
              room.takeDebugLog());
    monitor.checkPhysicalDrive(room.events, nullptr, tree::drive(*newBus, 0));
    monitor.checkPhysicalDrive(room.events, now.get(), nullptr);
    EXPECT_EQ("", room.takeSummary());
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenTraceMaskThenEntryLines) {
    tree::drive(*newBus, 7, kDriveMember);
    setDebugMask(0x00f000);
    monitor.comparePhysicalDrives(room.events, now.get(), now.get());
    monitor.checkPhysicalDrives(room.events, now.get());
    EXPECT_EQ(
        "   Entering comparePhysicalDrives(&ecIN, ADPT: 1)\n"
        "   Entering checkPhysicalDrives(&ecIN, ADPT: 1)\n"
        "       Entering checkPhysicalDrive(&ecIN, PD: 7) State = 1.\n",
        room.takeDebugLog());
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenEmptyPlacesThenALineEachAndTheOthersAreCompared) {
    tree::hole(*before);
    tree::drive(*oldBus, 1);
    tree::hole(*now);
    tree::hole(*newBus);
    tree::drive(*newBus, 2);
    EXPECT_EQ("408/3 499/1 407/3 499/3", compare());
    EXPECT_EQ(
        "ERROR: BaseRaidMonitor::comparePhysicalDrives oldPD is NULL while checking for removed "
        "PD's!!!\n"
        "ERROR: BaseRaidMonitor::comparePhysicalDrives newPD is NULL while comparing!!!\n"
        "ERROR: BaseRaidMonitor::comparePhysicalDrives newPD is NULL while comparing!!!\n",
        room.takeDebugLog());
    EXPECT_EQ("499/3", check());
    EXPECT_EQ(
        "ERROR: BaseRaidMonitor::checkPhysicalDrives PD is NULL!!!\n"
        "ERROR: BaseRaidMonitor::checkPhysicalDrives PD is NULL!!!\n",
        room.takeDebugLog());
}

// Old states 0 to 8 downwards, new states 0 to 8 across. R removed, F failed, X failed drive
// replaced, S hot spare created, D hot spare deleted, B came back.
constexpr const char* kTransitions[9][9] = {
    {".", ".", "F", ".", "S", ".", ".", "R", "."},  {".", ".", "F", ".", ".", ".", ".", "R", "."},
    {"X", "X", ".", "X", "X", "X", "X", "RX", "X"}, {".", ".", "F", ".", ".", ".", ".", "R", "."},
    {"D", ".", "F", ".", ".", ".", ".", "R", "."},  {".", ".", "F", ".", ".", ".", ".", "R", "."},
    {".", ".", "F", ".", ".", ".", ".", "R", "."},  {"B", "B", "F", "B", "B", "B", "B", ".", "B"},
    {".", ".", "F", ".", ".", ".", ".", "R", "."},
};

std::string codesOf(char change) {
    switch (change) {
        case 'R':
            return "408/3 499/1";
        case 'F':
            return "401/1 499/1";
        case 'X':
            return "403/3";
        case 'S':
            return "497/3";
        case 'D':
            return "498/3";
        case 'B':
            return "407/3";
        default:
            return "";
    }
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenEveryPairOfStatesThenTheEventsOfTheChange) {
    for (int oldState = 0; oldState <= 8; ++oldState) {
        for (int newState = 0; newState <= 8; ++newState) {
            SCOPED_TRACE(std::to_string(oldState) + " -> " + std::to_string(newState));
            place(oldState, newState);
            std::string events;
            for (const char* change = kTransitions[oldState][newState]; *change != 0; ++change) {
                events += (events.empty() ? "" : " ") + codesOf(*change);
            }
            EXPECT_EQ(events, compare());
        }
    }
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADriveIsGoneThenRemovedPairWithEveryField) {
    HardDrive* gone = tree::drive(*oldBus, 5, kDriveMember);
    setText(gone->fruNumber, "39R7342");
    setText(gone->serialNumber, "Z1");
    monitor.comparePhysicalDrives(room.events, now.get(), before.get());
    // The phrase speaks of the old adapter, place and serial number of the new one.
    const std::vector<std::string> args = {
        drivePhrase(shown("eventArgController2", {"2", " #OLD", "Unknown"})),
        shown("deviceArgFRU", {"39R7342"})};
    QELEvent removed = expected(408, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_REMOVE_PD",
                                "agentEventInfDeleteDiskDrive", args);
    QELEvent state =
        expected(499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", "agentEventInfDeleteDiskDrive", args);
    for (QELEvent* event : {&removed, &state}) {
        event->detail = "39R7342";
        event->extra1 = "Z1";
    }
    EXPECT_EQ(describeAll({removed, state}), describeAll(room.take()));
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADriveOnARenumberedAdapterIsGoneThenTheNewNumberCounts) {
    before->addr.controllerID = 6;
    tree::drive(*oldBus, 5);
    monitor.comparePhysicalDrives(room.events, now.get(), before.get());
    const std::vector<QELEvent> events = room.take();
    ASSERT_EQ(2u, events.size());
    EXPECT_EQ(1u, events[0].location.controllerID);
    EXPECT_EQ("NEW", events[0].adapterSerial);
}

// A drive that appears already failed is only added: its state is told at the next change.
TEST_F(BaseRaidMonitorPhysicalDrives, GivenANewDriveThenAddedPairWithEveryFieldWhateverItsState) {
    HardDrive* added = tree::drive(*newBus, 5, kDriveFailed);
    setText(added->vendor, "ACME");
    added->pfaSupported = true;
    added->pfaError = true;
    monitor.comparePhysicalDrives(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll({expected(407, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_PD",
                                    "agentEventInfAddDiskDrive", {drivePhrase(), ""}),
                           expected(499, 3, "EVENT_TORVEX_PD_STATE_CHANGE",
                                    "agentEventInfDriveStateChange", {drivePhrase(), ""})}),
              describeAll(room.take()));
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADriveWithoutChannelThenItsChannelIsNotSet) {
    tree::driveWithoutChannel(*now, 5);
    monitor.comparePhysicalDrives(room.events, now.get(), before.get());
    const std::vector<QELEvent> events = room.take();
    ASSERT_EQ(2u, events.size());
    EXPECT_TRUE(events[0].location.IsEqual(Addr::ofDevice(1, Addr::kNotSet, 5)));
}

struct SingleCase {
    int before, now;
    int code;
    const char* identifier;
    const char* key;
};

// clang-format off
constexpr SingleCase kSingles[] = {
    {2, 0, 403, "EVENT_TORVEX_PD_STATE_READY",    "agentEventInfDefunctReplace"},
    {0, 4, 497, "EVENT_TORVEX_PD_STATE_HOTSPARE", "agentEventInfSpareCreated"},
    {4, 0, 498, "EVENT_TORVEX_PD_STATE_READY",    "agentEventInfSpareDeleted"},
    {7, 1, 407, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_PD", "agentEventInfAddDiskDrive"},
};
// clang-format on

TEST_F(BaseRaidMonitorPhysicalDrives, GivenASingleEventThenEveryField) {
    for (const SingleCase& c : kSingles) {
        SCOPED_TRACE(c.key);
        place(c.before, c.now);
        setText(newDrive->serialNumber, "NEWDRIVE");
        setText(oldDrive->serialNumber, "OLDDRIVE");
        monitor.comparePhysicalDrives(room.events, now.get(), before.get());
        QELEvent event = expected(c.code, 3, c.identifier, c.key, {drivePhrase(), ""});
        event.extra1 = "NEWDRIVE";
        EXPECT_EQ(describeAll({event}), describeAll(room.take()));
    }
}

struct ChoiceCase {
    const char* when;
    const char* fru;
    const char* model;
    bool partPhrase;  // the catalogue has a text for part numbers
    bool repl;
    int failedCode, pfaCode;
    const char* replacement;
};

// clang-format off
constexpr ChoiceCase kChoices[] = {
    {"nothing is known",              "",  "",  true,  false, 401, 402, ""},
    {"part number",                   "F", "",  true,  true,  404, 405, "deviceArgFRU[F]"},
    {"vendor and model only",         "",  "M", true,  true,  401, 402, "deviceArgVendorModel[KOVA-PQ][M]"},
    {"part number without a text",    "F", "M", false, false, 404, 405, ""},
};
// clang-format on

TEST_F(BaseRaidMonitorPhysicalDrives, GivenReplacementAndPartNumberThenTextAndCodeAreChosenApart) {
    for (const ChoiceCase& c : kChoices) {
        SCOPED_TRACE(c.when);
        if (!c.partPhrase) room.forget("deviceArgFRU");
        place(kDriveMember, kDriveFailed);
        setText(newDrive->fruNumber, c.fru);
        setText(newDrive->model, c.model);
        newDrive->pfaSupported = oldDrive->pfaSupported = true;
        newDrive->pfaError = true;
        const std::vector<std::string> args = {drivePhrase(), c.replacement};
        const char* failedKey =
            c.repl ? "agentEventErrDefunctDriveRepl" : "agentEventErrDefunctDrive";
        const char* pfaKey = c.repl ? "agentEventWrnPFADriveRepl" : "agentEventWrnPFADrive";
        std::vector<QELEvent> events = {
            expected(c.failedCode, 1, "EVENT_TORVEX_PD_STATE_FAILED", failedKey, args),
            expected(499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", failedKey, args),
            expected(c.pfaCode, 2, "EVENT_TORVEX_PD_PFA_ERROR_YES", pfaKey, args),
            expected(499, 2, "EVENT_TORVEX_PD_STATE_CHANGE", pfaKey, args)};
        for (QELEvent& event : events) event.detail = c.fru;
        monitor.comparePhysicalDrives(room.events, now.get(), before.get());
        EXPECT_EQ(describeAll(events), describeAll(room.take()));

        events = {
            expected(499, 2, "EVENT_TORVEX_PD_STATE_CHANGE", "agentEventInfDriveStateChange", args),
            events[0], events[2]};
        events[0].detail = c.fru;
        monitor.checkPhysicalDrives(room.events, now.get());
        EXPECT_EQ(describeAll(events), describeAll(room.take())) << "single events at a first look";
    }
}

struct PfaCase {
    bool oldSupported, oldError, newSupported, newError;
    const char* events;
};

// clang-format off
constexpr PfaCase kPfaCases[] = {
    {true,  false, true,  true,  "402/2 499/2"},
    {true,  false, true,  false, ""},
    {true,  true,  true,  true,  ""},
    {true,  true,  true,  false, ""},  // taken back: no news
    {false, false, true,  true,  ""},
    {true,  false, false, true,  ""},
    {false, false, false, true,  ""},
};
// clang-format on

TEST_F(BaseRaidMonitorPhysicalDrives, GivenPredictionsThenReportedWhenBothKnowAndOnlyTheNewHasOne) {
    for (const PfaCase& c : kPfaCases) {
        SCOPED_TRACE(testing::Message()
                     << c.oldSupported << c.oldError << " -> " << c.newSupported << c.newError);
        place(kDriveMember, kDriveMember);
        oldDrive->pfaSupported = c.oldSupported;
        oldDrive->pfaError = c.oldError;
        newDrive->pfaSupported = c.newSupported;
        newDrive->pfaError = c.newError;
        EXPECT_EQ(c.events, compare());
    }
}

// --- another kind of object in the drive's place ---

TEST_F(BaseRaidMonitorPhysicalDrives, GivenAnEnclosureInItsPlaceThenTheDriveIsGone) {
    tree::drive(*oldBus, 5);
    tree::enclosure(*newBus, 5);
    EXPECT_EQ("408/3 499/1", compare());
    EXPECT_EQ("", room.takeDebugLog());
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADriveInTheEnclosuresPlaceThenItIsAdded) {
    tree::enclosure(*oldBus, 5);
    tree::drive(*newBus, 5);
    EXPECT_EQ("407/3 499/3", compare());
}

class FindingMonitor : public BareMonitor {
public:
    RaidObject* findPD(HardDrive*, Adapter*) override {
        ++asked;
        return found;
    }
    RaidObject* found = nullptr;
    int asked = 0;
};

TEST_F(BaseRaidMonitorPhysicalDrives, GivenAFamilyWithItsOwnSearchThenBothLoopsUseIt) {
    FindingMonitor family;
    family.lastUnsupportedDrivesReport = 1;
    place(kDriveReady, kDriveReady);
    family.comparePhysicalDrives(room.events, now.get(), before.get());
    EXPECT_EQ("408/3 499/1 407/3 499/3", room.takeSummary());
    EXPECT_EQ(2, family.asked);
    HardDrive* elsewhere = tree::drive(*newBus, 9, kDriveFailed);
    before->deleteAllChildren();
    family.found = elsewhere;
    newDrive->state = kDriveHotSpare;
    family.comparePhysicalDrives(room.events, now.get(), before.get());
    EXPECT_EQ("403/3", room.takeSummary()) << "drive 5 against the failed one; drive 9 unchanged";
}

// --- drives of a vendor that is not supported ---

struct UnsupportedCase {
    int before, now;
    bool due;
    const char* events;
};

// clang-format off
constexpr UnsupportedCase kUnsupported[] = {
    {1, 1, false, ""},
    {1, 1, true,  "406/2"},
    {7, 1, false, "407/3 406/2"},          // back again
    {7, 2, false, "401/1 499/1 406/2"},
    {2, 5, false, "403/3 406/2"},          // rebuilt in place of a failed one
    {2, 4, false, "403/3 406/2"},
    {2, 0, false, "403/3"},
    {2, 1, false, "403/3"},
    {2, 0, true,  "403/3 406/2"},
    {0, 4, false, "497/3"},
    {1, 7, true,  "408/3 499/1"},          // absent: never called unsupported
    {7, 7, true,  ""},
    {2, 7, true,  "408/3 499/1 403/3"},
};
// clang-format on

TEST_F(BaseRaidMonitorPhysicalDrives, GivenAnUnsupportedDriveThenToldAtOnceOrWhenTheTimerAllows) {
    for (const UnsupportedCase& c : kUnsupported) {
        SCOPED_TRACE(std::to_string(c.before) + " -> " + std::to_string(c.now) +
                     (c.due ? ", due" : ", not due"));
        place(c.before, c.now);
        setText(newDrive->vendor, "ACME");
        monitor.lastUnsupportedDrivesReport = c.due ? 0 : 1;
        EXPECT_EQ(c.events, compare());
    }
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADriveToldAtOnceThenTheTimerIsNotAsked) {
    monitor.lastUnsupportedDrivesReport = 0;
    place(kDriveNotPresent, kDriveReady);
    setText(newDrive->vendor, "ACME");
    EXPECT_EQ("407/3 406/2", compare());
    EXPECT_EQ(0, monitor.lastUnsupportedDrivesReport);
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenOnlySupportedOrAbsentDrivesThenTheTimerIsNotAsked) {
    monitor.lastUnsupportedDrivesReport = 0;
    place(kDriveReady, kDriveReady);
    EXPECT_EQ("", compare());
    setText(newDrive->vendor, "ACME");
    newDrive->state = oldDrive->state = kDriveNotPresent;
    EXPECT_EQ("", compare());
    EXPECT_EQ(0, monitor.lastUnsupportedDrivesReport);
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenAnUnsupportedDriveThenTheEventHasEveryField) {
    monitor.lastUnsupportedDrivesReport = 0;
    place(kDriveMember, kDriveMember);
    setText(newDrive->vendor, "ACME");
    setText(newDrive->model, "D1");
    setText(newDrive->serialNumber, "Z9");
    monitor.comparePhysicalDrives(room.events, now.get(), before.get());
    QELEvent event =
        expected(406, 2, "EVENT_TORVEX_PD_DRV_UNSUPPORTED", "agentEventWrnUnsupportedPhysDrive",
                 {drivePhrase(), shown("deviceArgVendorModel", {"ACME", "D1"})});
    event.extra1 = "Z9";
    EXPECT_EQ(describeAll({event}), describeAll(room.take()));
}

// The drive that asks first uses the interval up; the others wait for later ones, and the first
// in the list asks first again then.
TEST_F(BaseRaidMonitorPhysicalDrives, GivenTwoKnownUnsupportedDrivesThenOneReminderPerInterval) {
    for (const unsigned int device : {5u, 6u}) {
        setText(tree::drive(*newBus, device)->vendor, "ACME");
        tree::drive(*oldBus, device);
    }
    for (int round = 0; round < 2; ++round) {
        room.clock.advance(30 * 86400 - 1);
        EXPECT_EQ("", compare());
        room.clock.advance(1);
        monitor.comparePhysicalDrives(room.events, now.get(), before.get());
        const std::vector<QELEvent> events = room.take();
        ASSERT_EQ(1u, events.size());
        EXPECT_EQ(406, events[0].eventCode);
        EXPECT_EQ(5u, events[0].location.deviceID);
        EXPECT_EQ("", compare());
    }
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenDriveChecksAreOffThenNoVendorIsLookedAt) {
    monitor.driveCheckFlag = false;
    monitor.lastUnsupportedDrivesReport = 0;
    place(kDriveNotPresent, kDriveReady);
    setText(newDrive->vendor, "ACME");
    EXPECT_EQ("407/3", compare());
    EXPECT_EQ("499/3", check());
    EXPECT_EQ(0, monitor.lastUnsupportedDrivesReport);
}

// --- first look ---

struct CheckCase {
    const char* when;
    int state;
    bool pfaSupported, pfaError;
    const char* vendor;
    const char* events;
};

// clang-format off
constexpr CheckCase kChecks[] = {
    {"ready",                  0, false, false, "KOVA-PQ", "499/3"},
    {"member",                 1, true,  false, "KOVA-PQ", "499/3"},
    {"failed",                 2, true,  false, "KOVA-PQ", "499/1 401/1"},
    {"state 3",                3, false, false, "KOVA-PQ", "499/3"},
    {"hot spare",              4, false, false, "KOVA-PQ", "499/3"},
    {"rebuilding",             5, false, false, "KOVA-PQ", "499/3"},
    {"not present",            7, false, false, "KOVA-PQ", "499/3"},
    {"predicted",              1, true,  true,  "KOVA-PQ", "499/2 402/2"},
    {"prediction not known",   1, false, true,  "KOVA-PQ", "499/3"},
    {"failed and predicted",   2, true,  true,  "KOVA-PQ", "499/2 401/1 402/2"},
    {"unsupported",            1, false, false, "ACME",    "499/3 406/2"},
    {"unsupported, no vendor", 1, false, false, "",        "499/3 406/2"},
    {"unsupported and absent", 7, false, false, "ACME",    "499/3"},
    {"everything",             2, true,  true,  "ACME",    "499/2 401/1 402/2 406/2"},
};
// clang-format on

TEST_F(BaseRaidMonitorPhysicalDrives, GivenADriveWhenFirstSeenThenStateAndWhatIsWrong) {
    for (const CheckCase& c : kChecks) {
        SCOPED_TRACE(c.when);
        reset();
        HardDrive* drive = tree::drive(*newBus, 5, c.state);
        drive->pfaSupported = c.pfaSupported;
        drive->pfaError = c.pfaError;
        setText(drive->vendor, c.vendor);
        monitor.lastUnsupportedDrivesReport = 1;
        EXPECT_EQ(c.events, check());
        EXPECT_EQ(1, monitor.lastUnsupportedDrivesReport) << "no timer at a first look";
    }
}

TEST_F(BaseRaidMonitorPhysicalDrives, GivenAFailedDriveWhenFirstSeenThenEveryField) {
    HardDrive* drive = tree::drive(*newBus, 5, kDriveFailed);
    setText(drive->fruNumber, "39R7342");
    setText(drive->serialNumber, "Z1");
    const std::vector<std::string> args = {drivePhrase(), shown("deviceArgFRU", {"39R7342"})};
    std::vector<QELEvent> events = {
        expected(499, 1, "EVENT_TORVEX_PD_STATE_CHANGE", "agentEventInfDriveStateChange", args),
        expected(404, 1, "EVENT_TORVEX_PD_STATE_FAILED", "agentEventErrDefunctDriveRepl", args)};
    for (QELEvent& event : events) {
        event.detail = "39R7342";
        event.extra1 = "Z1";
    }
    monitor.checkPhysicalDrives(room.events, now.get());
    EXPECT_EQ(describeAll(events), describeAll(room.take()));
}

}  // namespace
