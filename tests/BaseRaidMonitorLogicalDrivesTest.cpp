#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "storlib/ProgressCollection.h"
#include "storlib/StorLibPlugin.h"
#include "tests/support/BareMonitor.h"
#include "tests/support/TreeBuilder.h"

namespace {

std::string drivePhrase(int number, const std::string& serial = " #NEW") {
    return shown("eventArgControllerLogicalDrive",
                 {shown("eventArgController2", {"2", serial, "Unknown"}), std::to_string(number)});
}

// Answers how many tasks run, and remembers where it was asked.
class TaskLibrary : public StorLibPlugin {
public:
    Ret getSystemConfig() override { return Ret{}; }
    System* getSystem() const override { return nullptr; }
    Ret getEvents(const Addr&, long, char*& buffer) override {
        buffer = nullptr;
        return Ret{};
    }
    Ret getTasks(const Addr& address, ProgressCollection& tasks) override {
        asked.push_back(address);
        for (int i = 0; i < running; ++i) tasks.addProgress(Progress());
        return Ret{status, 0};
    }

    int running = 0;
    int status = Ret::kOk;
    std::vector<Addr> asked;
};

// Records what the comparison hands to the family.
class FamilyMonitor : public BareMonitor {
public:
    using BareMonitor::BareMonitor;
    using BareMonitor::compareRelativeChanges;
    void compareRelativeChanges(LogicalDrive* newDrive, LogicalDrive* oldDrive) override {
        pairs.emplace_back(newDrive, oldDrive);
    }

    std::vector<std::pair<LogicalDrive*, LogicalDrive*>> pairs;
};

class BaseRaidMonitorLogicalDrives : public testing::Test {
protected:
    BaseRaidMonitorLogicalDrives() {
        room.clock.advance(1);
        // The reminder is out of the way until a test asks for it.
        monitor.lastCriticalLogicalDrivesReport = 1;
        reset();
    }

    void reset() {
        now = tree::adapter(1, "NEW");
        before = tree::adapter(1, "OLD");
    }

    // The same number on both sides.
    void place(int oldState, int newState) {
        reset();
        oldDrive = tree::logicalDrive(*before, 3, oldState);
        newDrive = tree::logicalDrive(*now, 3, newState);
    }

    std::string compare() {
        monitor.compareLogicalDrives(room.events, now.get(), before.get());
        return room.takeSummary();
    }

    std::string check() {
        monitor.checkLogicalDrives(room.events, now.get());
        return room.takeSummary();
    }

    QELEvent expected(int code, int severity, const std::string& identifier,
                      const std::string& text, unsigned int number = 3) {
        return expectedEvent(code, severity, text, identifier, 4, Addr::ofLogicalDrive(1, number),
                             "NEW");
    }
    QELEvent stateChange(int severity) {
        return expected(399, severity, "EVENT_TORVEX_STATE_CHANGE_LD",
                        shown("agentEventInfLogicalStateChange", {drivePhrase(3)}));
    }
    QELEvent critical() {
        return expected(301, 2, "EVENT_TORVEX_LD_STATE_CRITICAL",
                        shown("agentEventWrnLogicalCritical", {drivePhrase(3)}));
    }

    BareRoom room;
    TaskLibrary library;
    FamilyMonitor monitor{&library};
    std::unique_ptr<VantAdapter> now;
    std::unique_ptr<VantAdapter> before;
    LogicalDrive* newDrive = nullptr;
    LogicalDrive* oldDrive = nullptr;
};

// --- nulls, holes, lines ---

TEST_F(BaseRaidMonitorLogicalDrives, GivenNoAdapterThenOneErrorLine) {
    monitor.compareLogicalDrives(room.events, nullptr, before.get());
    monitor.compareLogicalDrives(room.events, now.get(), nullptr);
    const std::string line = "ERROR: BaseRaidMonitor::compareLogicalDrives adapter is NULL!!!\n";
    EXPECT_EQ(line + line, room.takeDebugLog());
    EXPECT_EQ(1, monitor.lastCriticalLogicalDrivesReport);
    monitor.checkLogicalDrives(room.events, nullptr);
    EXPECT_EQ("ERROR: BaseRaidMonitor::checkLogicalDrives adapterIN is NULL!!!\n",
              room.takeDebugLog());
    monitor.checkLogicalDrive(room.events, nullptr, tree::logicalDrive(*now, 0));
    monitor.checkLogicalDrive(room.events, now.get(), nullptr);
    EXPECT_EQ("", room.takeSummary());
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenTraceMaskThenEntryLines) {
    tree::logicalDrive(*now, 2, kLogicalResyncing);
    setDebugMask(0x00f000);
    monitor.compareLogicalDrives(room.events, now.get(), now.get());
    monitor.checkLogicalDrives(room.events, now.get());
    EXPECT_EQ(
        "   Entering compareLogicalDrives(&ecIN, ADPT: 1)\n"
        "   Entering checkLogicalDrives(&ecIN, ADPT: 1)\n"
        "       Entering checkLogicalDrive(&ecIN, LD: 2) State = 4.\n",
        room.takeDebugLog());
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenEmptyPlacesThenALineEachAndTheOthersAreCompared) {
    tree::hole(*before);
    tree::logicalDrive(*before, 1);
    tree::logicalDrive(*now, 2);
    tree::hole(*now);
    tree::hole(*now);
    EXPECT_EQ("347/3 346/3 399/3", compare());
    EXPECT_EQ(
        "ERROR: BaseRaidMonitor::compareLogicalDrives oldLD is NULL while checking for removed "
        "LD's!!!\n"
        "ERROR: BaseRaidMonitor::compareLogicalDrives newLD is NULL while comparing!!!\n"
        "ERROR: BaseRaidMonitor::compareLogicalDrives newLD is NULL while comparing!!!\n",
        room.takeDebugLog());
    EXPECT_EQ("399/3", check());
    EXPECT_EQ(
        "ERROR: BaseRaidMonitor::checkLogicalDrives LD is NULL!!!\n"
        "ERROR: BaseRaidMonitor::checkLogicalDrives LD is NULL!!!\n",
        room.takeDebugLog());
}

// --- which drives count ---

struct LimitCase {
    unsigned int number;
    int limit;
    bool valid;
};

// clang-format off
constexpr LimitCase kLimits[] = {
    {0, 0, true}, {1, 0, false}, {8, 8, true},  // the limit itself is admitted
    {9, 8, false}, {7, 8, true}, {Addr::kNotSet, 8, false}, {0xffffffff, 8, false},
    {5, -1, true},                              // numbers are compared without a sign
};
// clang-format on

TEST_F(BaseRaidMonitorLogicalDrives, GivenALimitThenNumbersUpToItAreValid) {
    for (const LimitCase& c : kLimits) {
        reset();
        now->setLimit(kLimitLogicalDrives, c.limit);
        LogicalDrive* drive = tree::logicalDrive(*now, c.number);
        EXPECT_EQ(c.valid, monitor.isValidLogicalDrive(now.get(), drive))
            << c.number << " of " << c.limit;
    }
    EXPECT_EQ("", room.takeDebugLog());
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenANumberBeyondTheLimitThenNeitherComparedNorExamined) {
    for (const auto& adapter : {now.get(), before.get()}) adapter->setLimit(kLimitLogicalDrives, 8);
    tree::logicalDrive(*now, 9, kLogicalOffline);
    tree::logicalDrive(*before, 10);
    EXPECT_EQ("", compare());
    EXPECT_EQ("", check());
    EXPECT_EQ("", room.takeDebugLog());
    setDebugMask(0x00f000);
    EXPECT_EQ("", check());
    EXPECT_EQ(
        "   Entering checkLogicalDrives(&ecIN, ADPT: 1)\n"
        "       Discarding logical drive as spurious (&ecIN, LD: 9) State = 1.\n",
        room.takeDebugLog());
    setDebugMask(0);
    tree::logicalDrive(*now, 8);
    EXPECT_EQ("346/3 399/3", compare()) << "the limit itself";
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenNullObjectsThenFalseAndOneLineEach) {
    LogicalDrive* drive = tree::logicalDrive(*now, 0);
    EXPECT_FALSE(monitor.isValidLogicalDrive(nullptr, drive));
    EXPECT_FALSE(monitor.isValidLogicalDrive(now.get(), nullptr));
    const std::string line = "ERROR: BaseRaidMonitor::isValidLogicalDrive object is NULL!!!\n";
    EXPECT_EQ(line + line, room.takeDebugLog());
}

// --- finding the drive of the other side ---

TEST_F(BaseRaidMonitorLogicalDrives, GivenADriveThenFoundByItsNumberInTheAdapterAsked) {
    place(kLogicalOptimal, kLogicalOptimal);
    newDrive->uniqueID = 1;
    oldDrive->uniqueID = 2;
    before->addr.controllerID = 1;
    EXPECT_EQ(oldDrive, monitor.findLD(newDrive, before.get()));
    EXPECT_EQ(nullptr, monitor.findLD(tree::logicalDrive(*now, 4), before.get()));
    auto moved = tree::adapter(9);
    LogicalDrive* drive = tree::logicalDrive(*moved, 3);
    EXPECT_EQ(drive, monitor.findLD(newDrive, moved.get()));
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenNullsWhenLookedForThenNullAndALinePerNull) {
    LogicalDrive* drive = tree::logicalDrive(*now, 0);
    EXPECT_EQ(nullptr, monitor.findLD(drive, nullptr));
    EXPECT_EQ("ERROR: BaseRaidMonitor::findLD adapter is NULL!!!\n", room.takeDebugLog());
    EXPECT_EQ(nullptr, monitor.findLD(nullptr, now.get()));
    EXPECT_EQ("ERROR: BaseRaidMonitor::findLD logicalDrive is NULL!!!\n", room.takeDebugLog());
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenAnotherKindOfObjectInItsPlaceThenNotFound) {
    tree::logicalDrive(*before, 3);
    auto* other = new SASPhy;
    other->addr = Addr2(Addr::ofLogicalDrive(1, 3), 0);
    now->addChild(other);
    EXPECT_EQ("347/3", compare());
    EXPECT_EQ("346/3 399/3", (monitor.compareLogicalDrives(room.events, before.get(), now.get()),
                              room.takeSummary()));
}

// --- comparing ---

// Old states 0 to 8 downwards, new states 0 to 8 across.
//   C state change   O offline   K critical   N normal   D deleted
//   A added, and then the first look: c, w, e state change of severity 3, 2, 1; o offline, k
//   critical
constexpr const char* kTransitions[9][9] = {
    // 0   1        2     3        4    5   6        7   8
    {"", "COAeo", "", "CKAwk", "", "", "CKAck", "", "CAc"},  // 0 free
    {"DC", "", "CN", "CK", "C", "", "CK", "", "C"},          // 1 offline
    {"D", "CO", "", "CK", "", "", "CK", "", "C"},            // 2 optimal
    {"DC", "CO", "CN", "", "C", "", "C", "", "C"},           // 3 degraded
    {"D", "CO", "", "CK", "", "", "CK", "", "C"},            // 4 resyncing
    {"C", "CO", "CN", "CK", "C", "", "CK", "", "C"},         // 5 hidden
    {"DC", "CO", "CN", "C", "C", "", "", "", "C"},           // 6 rebuilding
    {"C", "CO", "CN", "C", "C", "", "C", "", "C"},           // 7 critical, hidden
    {"DC", "CO", "CN", "CK", "C", "", "CK", "", ""},         // 8 unheard of
};

std::string codesOf(const char* changes) {
    std::string text;
    for (; *changes != 0; ++changes) {
        if (!text.empty()) text += ' ';
        switch (*changes) {
            case 'C':
            case 'c':
                text += "399/3";
                break;
            case 'w':
                text += "399/2";
                break;
            case 'e':
                text += "399/1";
                break;
            case 'O':
            case 'o':
                text += "303/1";
                break;
            case 'K':
            case 'k':
                text += "301/2";
                break;
            case 'N':
                text += "345/3";
                break;
            case 'D':
                text += "347/3";
                break;
            case 'A':
                text += "346/3";
                break;
            default:
                text += "?";
        }
    }
    return text;
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenEveryPairOfStatesThenTheEventsOfTheChange) {
    for (int oldState = 0; oldState <= 8; ++oldState) {
        for (int newState = 0; newState <= 8; ++newState) {
            SCOPED_TRACE(std::to_string(oldState) + " -> " + std::to_string(newState));
            place(oldState, newState);
            EXPECT_EQ(codesOf(kTransitions[oldState][newState]), compare());
        }
    }
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenADriveIsGoneThenDeletedUnlessItWasHidden) {
    for (int state = 0; state <= 8; ++state) {
        reset();
        tree::logicalDrive(*before, 3, state);
        EXPECT_EQ(state == 5 || state == 7 ? "" : "347/3", compare()) << state;
    }
}

// What a new drive is when it is first seen, by state 0 to 8.
constexpr const char* kFirstLooks[9] = {"c", "eo", "c", "wk", "c", "c", "ck", "wk", "c"};

TEST_F(BaseRaidMonitorLogicalDrives, GivenANewDriveThenAddedAndExaminedUnlessItIsHidden) {
    for (int state = 0; state <= 8; ++state) {
        reset();
        tree::logicalDrive(*now, 3, state);
        const std::string added = "346/3 " + codesOf(kFirstLooks[state]);
        EXPECT_EQ(state == 5 || state == 7 ? "" : added, compare()) << state;
        EXPECT_TRUE(monitor.pairs.empty());
    }
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenADriveIsGoneThenDeletedWithEveryField) {
    before->addr.controllerID = 1;
    tree::logicalDrive(*before, 3);
    monitor.compareLogicalDrives(room.events, now.get(), before.get());
    // The phrase speaks of the old adapter, place and serial number of the new one.
    EXPECT_EQ(
        describeAll({expected(347, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_DELETE_LD",
                              shown("agentEventInfDeleteLogDrive", {drivePhrase(3, " #OLD")}))}),
        describeAll(room.take()));
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenANewDriveThenAddedWithItsSizeLevelAndMethod) {
    LogicalDrive* drive = tree::logicalDrive(*now, 3);
    drive->dataSpace = 1536;
    drive->raidLevel = kRaid5E;
    drive->subState = kSubStateQuickInit;
    monitor.compareLogicalDrives(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll({expected(346, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_LD",
                                    shown("agentEventInfAddLogDrive",
                                          {drivePhrase(3), "1.50 GB", "infoLogDriveRAID5E",
                                           ", Method = LD_SUB_QUICK_INIT"})),
                           stateChange(3)}),
              describeAll(room.take()));
}

// Told once as a change and once as a first look: the number was free, so the drive is new.
TEST_F(BaseRaidMonitorLogicalDrives, GivenAFreeNumberTurnsDegradedThenChangeAndFirstLookInFull) {
    place(kLogicalFree, kLogicalDegraded);
    monitor.compareLogicalDrives(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll(
                  {stateChange(3), critical(),
                   expected(346, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_ADD_LD",
                            shown("agentEventInfAddLogDrive", {drivePhrase(3), "0.0 GB", "0", ""})),
                   stateChange(2), critical()}),
              describeAll(room.take()));
}

struct FullCase {
    int before, now;
    int code, severity;
    const char* identifier;
    const char* key;
};

// clang-format off
constexpr FullCase kFullCases[] = {
    {2, 1, 303, 1, "EVENT_TORVEX_LD_STATE_OFFLINE",  "agentEventErrLogicalOffline"},
    {2, 3, 301, 2, "EVENT_TORVEX_LD_STATE_CRITICAL", "agentEventWrnLogicalCritical"},
    {3, 2, 345, 3, "EVENT_TORVEX_LD_STATE_NORMAL",   "agentEventInfLogicalOk"},
};
// clang-format on

TEST_F(BaseRaidMonitorLogicalDrives, GivenAChangeThenStateEventAndSpecificEventWithEveryField) {
    for (const FullCase& c : kFullCases) {
        SCOPED_TRACE(c.key);
        place(c.before, c.now);
        monitor.compareLogicalDrives(room.events, now.get(), before.get());
        EXPECT_EQ(describeAll({stateChange(3), expected(c.code, c.severity, c.identifier,
                                                        shown(c.key, {drivePhrase(3)}))}),
                  describeAll(room.take()));
    }
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenDrivesOnBothSidesThenTheFamilyComparesThoseInSight) {
    place(kLogicalOptimal, kLogicalDegraded);
    tree::logicalDrive(*before, 4);
    tree::logicalDrive(*now, 4, kLogicalHidden);
    tree::logicalDrive(*now, 5);
    compare();
    ASSERT_EQ(1u, monitor.pairs.size());
    EXPECT_EQ(newDrive, monitor.pairs[0].first);
    EXPECT_EQ(oldDrive, monitor.pairs[0].second);
}

// --- blocked access ---

struct BlockedCase {
    int before, now;
    bool was, is;
    const char* events;
};

// clang-format off
constexpr BlockedCase kBlocked[] = {
    {2, 2, false, false, ""},
    {2, 2, true,  true,  ""},
    {2, 2, false, true,  "399/3 302/1"},
    {2, 2, true,  false, "399/3 331/3"},
    {2, 3, false, true,  "399/3 301/2 399/3 302/1"},
    {7, 1, true,  false, "399/3 303/1 399/3 331/3"},
    {2, 5, false, true,  ""},                          // hidden: not looked at
    {0, 8, false, true,  "399/3 346/3 399/3 302/1 399/3 302/1"},  // at the first look and as a change
};
// clang-format on

TEST_F(BaseRaidMonitorLogicalDrives, GivenBlockedAccessChangesThenStateEventThenTheChange) {
    for (const BlockedCase& c : kBlocked) {
        SCOPED_TRACE(testing::Message() << c.before << c.was << " -> " << c.now << c.is);
        place(c.before, c.now);
        oldDrive->blockedAccess = c.was;
        newDrive->blockedAccess = c.is;
        EXPECT_EQ(c.events, compare());
    }
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenBlockedAccessChangesThenEveryField) {
    place(kLogicalOptimal, kLogicalOptimal);
    newDrive->blockedAccess = true;
    monitor.compareLogicalDrives(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll({stateChange(3),
                           expected(302, 1, "EVENT_TORVEX_LD_STATE_BLOCKED",
                                    shown("agentEventErrLogicalBlocked", {drivePhrase(3)}))}),
              describeAll(room.take()));
    std::swap(newDrive->blockedAccess, oldDrive->blockedAccess);
    monitor.compareLogicalDrives(room.events, now.get(), before.get());
    EXPECT_EQ(
        describeAll({stateChange(3), expected(331, 3, "EVENT_TORVEX_CONFIGURATION_CHANGE_UNBLOCK",
                                              shown("agentEventInfUnblock", {drivePhrase(3)}))}),
        describeAll(room.take()));
}

// --- the reminder ---

TEST_F(BaseRaidMonitorLogicalDrives,
       GivenTwoCriticalDrivesWhenDueThenOneReminderNamingTheLastListed) {
    for (const auto& adapter : {now.get(), before.get()}) {
        tree::logicalDrive(*adapter, 0, kLogicalDegraded);
        tree::logicalDrive(*adapter, 1, kLogicalRebuilding);
        tree::logicalDrive(*adapter, 6, kLogicalOptimal);
        tree::hole(*adapter);
    }
    setDebugMask(0);
    monitor.lastCriticalLogicalDrivesReport = 0;
    monitor.compareLogicalDrives(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll({expected(
                  338, 2, "EVENT_TORVEX_LD_STATE_CRITICAL_PERIODIC",
                  shown("agentEventWrnCriticalLogicalDrivePeriodic", {drivePhrase(6)}), 6)}),
              describeAll(room.take()));
    room.clock.advance(8 * 3600 - 1);
    EXPECT_EQ("", compare());
    room.clock.advance(1);
    EXPECT_EQ("338/2", compare());
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenTheLastListedDriveIsHiddenOrSpuriousThenNamedAllTheSame) {
    for (const auto& adapter : {now.get(), before.get()}) {
        adapter->setLimit(kLimitLogicalDrives, 8);
        tree::logicalDrive(*adapter, 0, kLogicalDegraded);
        tree::logicalDrive(*adapter, 9, kLogicalHidden);
    }
    monitor.lastCriticalLogicalDrivesReport = 0;
    monitor.compareLogicalDrives(room.events, now.get(), before.get());
    const std::vector<QELEvent> events = room.take();
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ(338, events[0].eventCode);
    EXPECT_EQ(9u, events[0].location.logicalDriveID);
}

struct ReminderCase {
    const char* when;
    int before, now;
    const char* events;
};

// clang-format off
constexpr ReminderCase kReminders[] = {
    {"none is critical",            2, 2, ""},
    {"it has just turned critical", 2, 3, "399/3 301/2 338/2"},
    {"it is rebuilding",            6, 6, "338/2"},
    {"critical, but hidden",        7, 7, ""},
    {"it is offline",               1, 1, ""},
};
// clang-format on

TEST_F(BaseRaidMonitorLogicalDrives, GivenADueReminderThenGivenOnlyForCriticalDrivesInSight) {
    for (const ReminderCase& c : kReminders) {
        SCOPED_TRACE(c.when);
        place(c.before, c.now);
        monitor.lastCriticalLogicalDrivesReport = 0;
        EXPECT_EQ(c.events, compare());
        EXPECT_EQ(1, monitor.lastCriticalLogicalDrivesReport) << "used up in any case";
    }
}

// Its first look has just said so.
TEST_F(BaseRaidMonitorLogicalDrives, GivenACriticalDriveIsAddedThenNoReminderOnTopOfIt) {
    tree::logicalDrive(*now, 3, kLogicalDegraded);
    monitor.lastCriticalLogicalDrivesReport = 0;
    EXPECT_EQ("346/3 399/2 301/2", compare());
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenTheIntervalWasUsedUpBeforeThenANewCriticalDriveWaits) {
    place(kLogicalOptimal, kLogicalOptimal);
    monitor.lastCriticalLogicalDrivesReport = 0;
    EXPECT_EQ("", compare());
    newDrive->state = oldDrive->state = kLogicalDegraded;
    room.clock.advance(8 * 3600 - 1);
    EXPECT_EQ("", compare());
    room.clock.advance(1);
    EXPECT_EQ("338/2", compare());
}

// One timer serves all adapters: the first that asks uses it up for the others.
TEST_F(BaseRaidMonitorLogicalDrives, GivenTwoAdaptersAndOnlyTheSecondIsCriticalThenNoReminder) {
    auto healthy = tree::adapter(0);
    tree::logicalDrive(*healthy, 0);
    place(kLogicalDegraded, kLogicalDegraded);
    monitor.lastCriticalLogicalDrivesReport = 0;
    monitor.compareLogicalDrives(room.events, healthy.get(), healthy.get());
    EXPECT_EQ("", compare());
}

// --- first look ---

TEST_F(BaseRaidMonitorLogicalDrives, GivenADriveWhenFirstSeenThenStateAndWhatIsWrong) {
    for (int state = 0; state <= 8; ++state) {
        SCOPED_TRACE(state);
        reset();
        LogicalDrive* drive = tree::logicalDrive(*now, 3, state);
        const std::string events = codesOf(kFirstLooks[state]);
        EXPECT_EQ(events, check());
        drive->blockedAccess = true;
        EXPECT_EQ(events + " 302/1", check());
    }
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenABlockedDegradedDriveWhenFirstSeenThenEveryField) {
    tree::logicalDrive(*now, 3, kLogicalDegraded)->blockedAccess = true;
    monitor.checkLogicalDrives(room.events, now.get());
    EXPECT_EQ(describeAll({stateChange(2), critical(),
                           expected(302, 1, "EVENT_TORVEX_LD_STATE_BLOCKED",
                                    shown("agentEventErrLogicalBlocked", {drivePhrase(3)}))}),
              describeAll(room.take()));
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenAnOfflineDriveWhenFirstSeenThenSeverityIsError) {
    tree::logicalDrive(*now, 3, kLogicalOffline);
    monitor.checkLogicalDrives(room.events, now.get());
    EXPECT_EQ(describeAll({stateChange(1),
                           expected(303, 1, "EVENT_TORVEX_LD_STATE_OFFLINE",
                                    shown("agentEventErrLogicalOffline", {drivePhrase(3)}))}),
              describeAll(room.take()));
}

// --- running tasks ---

TEST_F(BaseRaidMonitorLogicalDrives, GivenTasksOfALogicalDriveThenAskedByNumberInAnyState) {
    EXPECT_FALSE(monitor.isTaskRunning(static_cast<LogicalDrive*>(nullptr)));
    LogicalDrive* drive = tree::logicalDrive(*now, 3, kLogicalOffline);
    EXPECT_FALSE(monitor.isTaskRunning(drive));
    library.running = 2;
    EXPECT_TRUE(monitor.isTaskRunning(drive));
    LogicalDrive loose(nullptr);
    loose.addr.logicalDriveID = 7;
    EXPECT_TRUE(monitor.isTaskRunning(&loose));
    ASSERT_EQ(3u, library.asked.size());
    EXPECT_TRUE(library.asked[1].IsEqual(Addr::ofLogicalDrive(1, 3)));
    EXPECT_TRUE(library.asked[2].IsEqual(Addr::ofLogicalDrive(Addr::kNotSet, 7)));
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenTasksOfADriveThenAskedByPlaceAndOnlyWhenReady) {
    EXPECT_FALSE(monitor.isTaskRunning(static_cast<PhysicalDevice*>(nullptr)));
    HardDrive* drive = tree::drive(*tree::channel(*now, 2), 5);
    EXPECT_FALSE(monitor.isTaskRunning(drive));
    library.running = 1;
    EXPECT_TRUE(monitor.isTaskRunning(drive));
    for (int state = 1; state <= 8; ++state) {
        drive->state = state;
        EXPECT_FALSE(monitor.isTaskRunning(drive)) << state;
    }
    HardDrive loose(nullptr, nullptr);
    loose.addr.deviceID = 6;
    EXPECT_TRUE(monitor.isTaskRunning(&loose));
    ASSERT_EQ(3u, library.asked.size());
    EXPECT_TRUE(library.asked[1].IsEqual(Addr::ofDevice(1, 2, 5)));
    EXPECT_TRUE(library.asked[2].IsEqual(Addr::ofDevice(Addr::kNotSet, Addr::kNotSet, 6)));
}

TEST_F(BaseRaidMonitorLogicalDrives, GivenAQueryThatFailsOrNoLibraryThenNothingRuns) {
    LogicalDrive* drive = tree::logicalDrive(*now, 3);
    library.status = Ret::kFailed;
    EXPECT_FALSE(monitor.isTaskRunning(drive));
    BareMonitor without;
    EXPECT_FALSE(without.isTaskRunning(drive));
    EXPECT_FALSE(without.isTaskRunning(tree::drive(*tree::channel(*now, 2), 5)));
}

// --- families of RAID levels ---

struct FamilyCase {
    int level;
    std::uint32_t family;
};

// clang-format off
constexpr FamilyCase kFamilies[] = {
    {0, 0x0000000F}, {3, 0x0000000F}, {4, 0x0000000F}, {13, 0x0000000F}, {14, 0x0000000F}, {15, 0x0000000F},
    {1, 0x000000F0}, {2, 0x000000F0},
    {5, 0x00000F00}, {6, 0x00000F00}, {7, 0x00000F00},
    {8, 0xF000000F},
    {9, 0xF00000F0}, {10, 0xF00000F0},
    {11, 0xF0000F00}, {12, 0xF0000F00},
    {16, 0x0000F000}, {17, 0xF000F000},
    {18, 0}, {-1, 0}, {0x7fffffff, 0},
};
// clang-format on

TEST_F(BaseRaidMonitorLogicalDrives, GivenALevelThenItsFamily) {
    LogicalDrive* drive = tree::logicalDrive(*now, 3);
    for (const FamilyCase& c : kFamilies) {
        drive->raidLevel = c.level;
        EXPECT_EQ(c.family, monitor.getRaidFamily(drive)) << c.level;
    }
    EXPECT_EQ(0u, monitor.getRaidFamily(nullptr));
}

}  // namespace
