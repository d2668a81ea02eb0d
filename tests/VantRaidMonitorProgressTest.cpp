// Background tasks: against the previous poll, against the snapshot, and as controllers record
// them.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "snapshot/QELProgress.h"
#include "snapshot/QELProgressCollection.h"
#include "tests/support/EventText.h"
#include "tests/support/MonitorRoom.h"
#include "tests/support/TreeBuilder.h"

namespace {

// A library that refuses the paths it is told to.
class PathRefusingLib : public VantLib {
public:
    using VantLib::VantLib;
    Ret getPath(const Addr& address, _LDTree& path) override {
        const bool isLogical = address.logicalDriveID != Addr::kNotSet;
        if (isLogical ? refuseLogical : refuseController) return Ret{Ret::kFailed, 0};
        return VantLib::getPath(address, path);
    }
    bool refuseLogical = false;
    bool refuseController = false;
};

std::string with(const std::string& key, const std::vector<std::string>& args) {
    std::string text = key + "(";
    for (std::size_t i = 0; i < args.size(); ++i) text += (i == 0 ? "" : "|") + args[i];
    return text + ")";
}

class VantRaidMonitorProgress : public testing::Test {
protected:
    // A controller with logical drives 0 to 3 and serial number "SN".
    VantRaidMonitorProgress() { addController(1); }

    void addController(int bus) {
        Machine::Controller& c = room.machine.addController(bus);
        c.serial = "SN";
        for (unsigned int n = 0; n < 4; ++n) c.arrays.push_back({n, kLogicalOptimal});
    }

    void construct() { monitor = std::make_unique<VantUnderTest>(room.lib()); }

    // A monitor that has made its first poll and drained it.
    void settle() {
        construct();
        monitor->poll(VantRaidMonitor::kCheckConfig, events);
        monitor->poll(VantRaidMonitor::kCompareConfig, events);
        (void)take();
    }

    VantAdapter* adapter(std::size_t place = 0) { return monitor->newAdapters[place].adapter; }

    void task(unsigned int drive, int type, int percent, int status = kTaskRunning,
              unsigned int controller = 0) {
        const Addr address = Addr::ofLogicalDrive(controller, drive);
        room.source().setTasks(
            address, {Progress(EnumTaskType(type), percent, EnumTaskStatus(status), address)});
    }
    void noTask(unsigned int drive, unsigned int controller = 0) {
        room.source().setTasks(Addr::ofLogicalDrive(controller, drive), {});
    }

    static logicalDrive_progress before(unsigned int drive, int type, int percent,
                                        unsigned int controller = 0) {
        const Addr address = Addr::ofLogicalDrive(controller, drive);
        // The adapter of a record may be gone: a pointer that nobody may follow.
        return {reinterpret_cast<VantAdapter*>(8), static_cast<int>(drive), 1,
                Progress(EnumTaskType(type), percent, kTaskRunning, address)};
    }

    std::string take() { return summary(events.getAllEvents()); }

    std::string check(bool report, bool useStored = false, std::size_t place = 0) {
        monitor->checkProgress(report, events, adapter(place), useStored);
        return take();
    }

    std::string poll() {
        monitor->poll(VantRaidMonitor::kCompareConfig, events);
        return take();
    }

    // One controller record about drive 2 of controller 0.
    static VantEvent record(int senseKey, int code, const std::string& path = "/l2", int qual = 7) {
        return VantEvent(qual, 0, senseKey, code, 1, path, "");
    }

    std::string compare(std::vector<VantEvent> records) {
        monitor->compareProgress(events, adapter(), records);
        return take();
    }

    template <class Call>
    std::string logOf(std::uint32_t mask, const Call& call) {
        const std::size_t from = room.debugLog().size();
        setDebugMask(mask);
        call();
        setDebugMask(0);
        return room.debugLog().substr(from);
    }

    static std::string phrase(unsigned int drive) {
        return with("eventArgControllerLogicalDrive",
                    {with("eventArgController2", {"1", " #SN", "Unknown"}), std::to_string(drive)});
    }

    // About drive 2. `second` is the second text argument, "" for a text that can have one and does
    // not; null for a text that has only one.
    static QELEvent taskEvent(int code, int severity, const std::string& key,
                              const std::string& identifier, const char* second) {
        std::vector<std::string> args{phrase(2)};
        if (second != nullptr) args.push_back(second);
        return expectedEvent(code, severity, with(key, args), identifier, 4,
                             Addr::ofLogicalDrive(0, 2), "SN");
    }

    MonitorRoom room;
    QELEventCollection events{"", 100000, kEventAll};
    std::unique_ptr<VantUnderTest> monitor;
};

// --- kinds of tasks ---

struct KindCase {
    int type;
    int detected;
    int running;
    int stopped;
    const char* word;
    const char* identifier;
};

// clang-format off
constexpr KindCase kKinds[] = {
    {1, 342, 384, 397, "Init",    "EVENT_TORVEX_LD_INITIALIZE_"},
    {4, 307, 373, 386, "Sync",    "EVENT_TORVEX_LD_SYNCHRONIZE_"},
    {5, 307, 373, 386, "Sync",    "EVENT_TORVEX_LD_SYNCHRONIZE_"},
    {6, 304, 372, 385, "Rebuild", "EVENT_TORVEX_LD_REBUILD_"},
};
// clang-format on

TEST_F(VantRaidMonitorProgress, EveryEventOfEveryKindIsComplete) {
    construct();
    for (const KindCase& kind : kKinds) {
        SCOPED_TRACE(kind.type);
        const std::string key = std::string("agentEventInf") + kind.word;
        const std::string id = kind.identifier;
        task(2, kind.type, 40);

        monitor->ldProgressOld.clear();
        monitor->checkProgress(true, events, adapter(), false);
        EXPECT_EQ(describeAll({taskEvent(kind.detected, 4, key + "Detected", id + "STARTED", "")}),
                  describeAll(events.getAllEvents()));

        monitor->ldProgressOld = {before(2, kind.type, 39)};
        monitor->checkProgress(true, events, adapter(), false);
        EXPECT_EQ(describeAll(
                      {taskEvent(kind.running, 5, key + "PercentComplete", id + "RUNNING", "40")}),
                  describeAll(events.getAllEvents()));

        noTask(2);
        monitor->checkProgress(true, events, adapter(), false);
        EXPECT_EQ(
            describeAll({taskEvent(kind.stopped, 4, key + "Stopped", id + "COMPLETED", nullptr)}),
            describeAll(events.getAllEvents()));
    }
}

TEST_F(VantRaidMonitorProgress, ThePlaceIsPrintedWithTheDrivesNumber) {
    room.machine.controllers[0].arrays = {{5, kLogicalOptimal}};
    construct();
    task(5, kTaskRebuild, 40);
    monitor->checkProgress(true, events, adapter(), false);
    const std::vector<QELEvent> found = events.getAllEvents();
    ASSERT_EQ(1u, found.size());
    EXPECT_NE(std::string::npos, found[0].toString().find(":A00C--S--L005")) << found[0].toString();
}

TEST_F(VantRaidMonitorProgress, OtherKindsAreRecordedInSilence) {
    construct();
    for (int type : {2, 3, 7, 100, -1}) {
        SCOPED_TRACE(type);
        task(2, type, 40);
        monitor->ldProgressOld.clear();
        EXPECT_EQ("", check(true));
        EXPECT_EQ(1u, monitor->ldProgressNew.size());
        monitor->ldProgressOld = {before(2, type, 39)};
        EXPECT_EQ("", check(true));
        noTask(2);
        EXPECT_EQ("", check(true));
        EXPECT_TRUE(monitor->ldProgressNew.empty());
    }
}

TEST_F(VantRaidMonitorProgress, TaskOfTypeZeroIsNoTask) {
    construct();
    task(2, kTaskNone, 40);
    EXPECT_EQ("", check(true));
    EXPECT_TRUE(monitor->ldProgressNew.empty());
    monitor->ldProgressOld = {before(2, kTaskRebuild, 40)};
    EXPECT_EQ("385/4", check(true));
}

TEST_F(VantRaidMonitorProgress, OnlyTheFirstTaskOfADriveCounts) {
    construct();
    const Addr address = Addr::ofLogicalDrive(0, 2);
    room.source().setTasks(address, {Progress(kTaskRebuild, 40, kTaskRunning, address),
                                     Progress(kTaskInitialize, 10, kTaskRunning, address)});
    EXPECT_EQ("304/4", check(true));
    ASSERT_EQ(1u, monitor->ldProgressNew.size());
    EXPECT_EQ(kTaskRebuild, monitor->ldProgressNew[0].progress.getType());
}

TEST_F(VantRaidMonitorProgress, RecordHoldsAdapterNumberFlagAndTask) {
    construct();
    task(2, kTaskRebuild, 40, kTaskPaused);
    (void)check(false);
    ASSERT_EQ(1u, monitor->ldProgressNew.size());
    const logicalDrive_progress& entry = monitor->ldProgressNew[0];
    EXPECT_EQ(adapter(), entry.adapter);
    EXPECT_EQ(2, entry.logicalDrive);
    EXPECT_EQ(1, entry.flag);
    EXPECT_EQ(40, entry.progress.getPercent());
    EXPECT_EQ(kTaskPaused, entry.progress.getStatus());
    EXPECT_TRUE(Addr::ofLogicalDrive(0, 2).IsEqual(entry.progress.getDeviceAddr()));
}

// --- when which event follows ---

struct RuleCase {
    const char* when;
    int oldType;  // 0: no task before
    int oldPercent;
    int newType;  // 0: no task now
    int newPercent;
    int newStatus;
    const char* reported;    // with report
    const char* unreported;  // without
};

// clang-format off
constexpr RuleCase kRules[] = {
    {"nothing runs",                       0,  0, 0,  0, 0, "",      ""},
    {"the percent is the same",            6, 40, 6, 40, 0, "",      ""},
    {"the percent grew",                   6, 40, 6, 55, 0, "372/5", "372/5"},
    {"the percent shrank",                 6, 55, 6, 40, 0, "372/5", "372/5"},
    {"it moved and is finished",           6, 55, 6,100, 2, "372/5", "372/5"},
    {"it began",                           0,  0, 6,  1, 0, "304/4", ""},
    {"it began paused",                    0,  0, 6,  1, 1, "304/4", ""},
    {"it is found finished",               0,  0, 6,100, 2, "",      ""},
    {"it ended",                           6, 90, 0,  0, 0, "385/4", ""},
    {"another kind at the same percent",   6, 40, 4, 40, 0, "",      ""},
    {"another kind at another percent",    6, 40, 4, 10, 0, "373/5", "373/5"},
};
// clang-format on

TEST_F(VantRaidMonitorProgress, EventsFollowTheRules) {
    construct();
    for (const RuleCase& c : kRules) {
        SCOPED_TRACE(c.when);
        monitor->ldProgressOld.clear();
        if (c.oldType != 0) monitor->ldProgressOld.push_back(before(2, c.oldType, c.oldPercent));
        noTask(2);
        if (c.newType != 0) task(2, c.newType, c.newPercent, c.newStatus);
        EXPECT_EQ(c.reported, check(true));
        EXPECT_EQ(c.unreported, check(false));
    }
}

TEST_F(VantRaidMonitorProgress, MovedComesBeforeStoppedComesBeforeDetected) {
    construct();
    monitor->ldProgressOld = {before(3, kTaskInitialize, 10), before(1, kTaskVerify, 10),
                              before(2, kTaskRebuild, 10)};
    task(0, kTaskInitialize, 1);
    task(2, kTaskRebuild, 11);
    monitor->checkProgress(true, events, adapter(), false);
    std::string told;
    for (const QELEvent& e : events.getAllEvents()) {
        told += std::to_string(e.eventCode) + "@" + std::to_string(e.location.logicalDriveID) + " ";
    }
    EXPECT_EQ("372@2 397@3 386@1 342@0 ", told);
}

TEST_F(VantRaidMonitorProgress, GivenAStoppedTaskOfADriveThatIsGoneThenNothingIsSaid) {
    construct();
    monitor->ldProgressOld = {before(77, kTaskRebuild, 10)};
    EXPECT_EQ("", check(true));
}

TEST_F(VantRaidMonitorProgress, GivenTasksOfAnotherControllerThenTheyAreNoReference) {
    addController(2);
    construct();
    monitor->ldProgressOld = {before(2, kTaskRebuild, 40, 0)};
    EXPECT_EQ("", check(true, false, 1));  // the second controller's check
    task(2, kTaskRebuild, 55, kTaskRunning, 1);
    EXPECT_EQ("304/4", check(true, false, 1));
}

TEST_F(VantRaidMonitorProgress, GivenACheckRepeatedThenEachTaskIsRecordedOnce) {
    addController(2);
    construct();
    task(1, kTaskRebuild, 40);
    task(2, kTaskRebuild, 40);
    task(0, kTaskRebuild, 40, kTaskRunning, 1);
    for (int i = 0; i < 2; ++i) {
        (void)check(true, false, 0);
        (void)check(true, false, 1);
    }
    EXPECT_EQ(3u, monitor->ldProgressNew.size());
}

TEST_F(VantRaidMonitorProgress, GivenAFailedQueryThenTheDriveTakesNoPart) {
    room.machine.controllers[0].arrays = {{2, kLogicalOptimal}};
    construct();
    monitor->ldProgressOld = {before(2, kTaskRebuild, 40)};
    task(2, kTaskRebuild, 55);
    room.source().failTasks(true);
    EXPECT_EQ("ERROR: getTasks unsuccessfull\n",
              logOf(kDebugError, [&] { EXPECT_EQ("", check(true)); }));
    EXPECT_TRUE(monitor->ldProgressNew.empty());
}

// --- the debug log of checkProgress ---

TEST_F(VantRaidMonitorProgress, GivenNoAdapterThenTheCheckSaysSo) {
    construct();
    EXPECT_EQ(
        "Entering checkProgress(AdapterID=2147483647)\n"
        "ERROR: VantRaidMonitor::CheckProgress newAdapterIN is NULL\n",
        logOf(kDebugError | kDebugTrace,
              [&] { monitor->checkProgress(true, events, nullptr, false); }));
    EXPECT_EQ("", take());
}

TEST_F(VantRaidMonitorProgress, GivenHolesThenTheOtherDrivesAreStillAsked) {
    construct();
    auto made = tree::adapter(0);
    tree::hole(*made);
    auto* stray = new LogicalDrive(nullptr);
    stray->addr = tree::logicalDrive(*made, 1)->addr;
    made->addChild(stray);
    tree::logicalDrive(*made, 2);
    task(2, kTaskRebuild, 40);
    EXPECT_EQ(
        "Entering checkProgress(AdapterID=0)\n"
        "ERROR: VantRaidMonitor::CheckProgress ld is NULL\n"
        "ERROR: VantRaidMonitor::CheckProgress ld->Adapter is NULL\n",
        logOf(kDebugError | kDebugTrace,
              [&] { monitor->checkProgress(true, events, made.get(), false); }));
    EXPECT_EQ("304/4", take());
}

// --- from poll to poll ---

TEST_F(VantRaidMonitorProgress, GivenTheSamePercentInTwoPollsThenNothingElseOneEvent) {
    task(2, kTaskRebuild, 40);
    settle();
    EXPECT_EQ("", poll());
    task(2, kTaskRebuild, 55);
    EXPECT_EQ("372/5", poll());
    EXPECT_EQ("", poll());
}

TEST_F(VantRaidMonitorProgress, GivenATaskThatBeginsAndEndsBetweenPollsThenThePercentsOnly) {
    settle();
    task(2, kTaskRebuild, 1);
    EXPECT_EQ("", poll());
    task(2, kTaskRebuild, 99);
    EXPECT_EQ("372/5", poll());
    noTask(2);
    EXPECT_EQ("", poll());
    EXPECT_TRUE(monitor->ldProgressNew.empty());
}

TEST_F(VantRaidMonitorProgress, GivenTwoControllersThenEachComparesWithItsOwn) {
    addController(2);
    task(2, kTaskRebuild, 40, kTaskRunning, 0);
    task(2, kTaskRebuild, 40, kTaskRunning, 1);
    settle();
    task(2, kTaskRebuild, 55, kTaskRunning, 0);
    task(2, kTaskRebuild, 55, kTaskRunning, 1);
    EXPECT_EQ("372/5 372/5", poll());
    EXPECT_EQ("", poll());
    EXPECT_EQ(2u, monitor->ldProgressNew.size());
    EXPECT_EQ(2u, monitor->ldProgressOld.size());
}

// Such a controller is asked twice in one poll: when its log is read, and at its new first look.
TEST_F(VantRaidMonitorProgress, GivenAControllerBackInServiceThenItsTaskIsRecordedOnce) {
    room.machine.controllers[0].status = 2;
    task(2, kTaskRebuild, 40);
    settle();
    room.machine.controllers[0].status = kAdapterNormal;
    room.clock.advance(60);
    EXPECT_EQ("208/3 299/3 399/3 399/3 399/3 399/3", poll());
    EXPECT_EQ(1u, monitor->ldProgressNew.size());
    EXPECT_EQ(1u, monitor->ldProgressOld.size());
}

TEST_F(VantRaidMonitorProgress, GivenAControllerThatVanishesThenItsTasksAreForgotten) {
    addController(2);
    task(2, kTaskRebuild, 40, kTaskRunning, 1);
    settle();
    EXPECT_NE(std::string::npos, room.dir.read("QELVANTConfig.xml").find("<Progress "));
    room.machine.controllers.pop_back();
    for (int i = 0; i < 2; ++i) {
        room.clock.advance(60);
        (void)poll();
    }
    EXPECT_TRUE(monitor->ldProgressNew.empty());
    EXPECT_TRUE(monitor->ldProgressOld.empty());
    EXPECT_EQ(std::string::npos, room.dir.read("QELVANTConfig.xml").find("<Progress "));
}

TEST_F(VantRaidMonitorProgress, GivenATaskThatBeginsAfterTheFirstPollThenTheNextSnapshotHoldsIt) {
    settle();
    EXPECT_EQ(std::string::npos, room.dir.read("QELVANTConfig.xml").find("<Progress "));
    task(2, kTaskRebuild, 1);
    room.clock.advance(60);
    (void)poll();
    const std::string snapshot = room.dir.read("QELVANTConfig.xml");
    EXPECT_NE(std::string::npos, snapshot.find("<Progress "));
    EXPECT_EQ(snapshot.find("<Progress "), snapshot.rfind("<Progress "));
}

TEST_F(VantRaidMonitorProgress, GivenManyRefreshesThenNoRecordOutlivesItsTreeInUse) {
    settle();
    for (int percent = 1; percent <= 4; ++percent) {
        task(2, kTaskRebuild, percent);
        room.clock.advance(60);
        EXPECT_EQ(percent == 1 ? "" : "372/5", poll());
    }
}

// --- against the snapshot of the previous run ---

class VantRaidMonitorProgressRestart : public VantRaidMonitorProgress {
protected:
    // A run that ended with what the source runs now; the next one has just been constructed.
    void restart() {
        settle();
        monitor.reset();
        construct();
    }

    std::string firstPoll() {
        monitor->poll(VantRaidMonitor::kCheckConfig, events);
        return take();
    }
};

TEST_F(VantRaidMonitorProgressRestart, GivenTheSamePercentThenNothing) {
    task(2, kTaskRebuild, 40);
    restart();
    EXPECT_EQ("", firstPoll());
}

TEST_F(VantRaidMonitorProgressRestart, GivenAnotherPercentThenItMoved) {
    task(2, kTaskRebuild, 40);
    restart();
    task(2, kTaskRebuild, 55);
    EXPECT_EQ("372/5", firstPoll());
    EXPECT_EQ("", poll());
}

TEST_F(VantRaidMonitorProgressRestart, GivenATaskThatEndedMeanwhileThenStopped) {
    task(2, kTaskRebuild, 40);
    restart();
    noTask(2);
    EXPECT_EQ("385/4", firstPoll());
}

TEST_F(VantRaidMonitorProgressRestart, GivenATaskThatBeganMeanwhileThenDetected) {
    restart();
    task(2, kTaskRebuild, 40);
    EXPECT_EQ("304/4", firstPoll());
}

TEST_F(VantRaidMonitorProgressRestart, GivenAnotherKindThenOneStoppedAndOneBegan) {
    task(2, kTaskRebuild, 40);
    restart();
    task(2, kTaskVerify, 40);
    EXPECT_EQ("385/4 307/4", firstPoll());
}

TEST_F(VantRaidMonitorProgressRestart, GivenTasksOnDriveZeroAndOthersThenEachIsItsOwn) {
    task(0, kTaskRebuild, 40);
    task(3, kTaskInitialize, 10);
    restart();
    task(0, kTaskRebuild, 41);
    EXPECT_EQ("372/5", firstPoll());
}

TEST_F(VantRaidMonitorProgressRestart, MovedComesBeforeStoppedComesBeforeDetected) {
    task(1, kTaskVerify, 10);
    task(2, kTaskRebuild, 10);
    task(3, kTaskInitialize, 10);
    restart();
    noTask(1);
    noTask(3);
    task(0, kTaskInitialize, 1);
    task(2, kTaskRebuild, 11);
    monitor->poll(VantRaidMonitor::kCheckConfig, events);
    std::string told;
    for (const QELEvent& e : events.getAllEvents()) {
        told += std::to_string(e.eventCode) + "@" + std::to_string(e.location.logicalDriveID) + " ";
    }
    EXPECT_EQ("372@2 386@1 397@3 342@0 ", told);
}

TEST_F(VantRaidMonitorProgressRestart, GivenTheDriveIsGoneThenItsTaskIsNotStopped) {
    task(2, kTaskRebuild, 40);
    restart();
    room.machine.controllers[0].arrays.erase(room.machine.controllers[0].arrays.begin() + 2);
    noTask(2);
    monitor->initialize(true);
    EXPECT_EQ("347/3", firstPoll());
}

TEST_F(VantRaidMonitorProgressRestart, GivenTwoControllersThenEachComparesWithItsOwn) {
    addController(2);
    task(2, kTaskRebuild, 40, kTaskRunning, 0);
    task(2, kTaskRebuild, 40, kTaskRunning, 1);
    restart();
    task(2, kTaskRebuild, 55, kTaskRunning, 1);
    EXPECT_EQ("372/5", firstPoll());
}

TEST_F(VantRaidMonitorProgressRestart, GivenAnAddressWithEverythingSetThenItIsTheSameAfterwards) {
    const Addr place = Addr::ofLogicalDrive(0, 2);
    const Addr device(0, 1, 2, 3, 4, 5, Addr::kNotSet, Addr::kNotSet);
    room.source().setTasks(place, {Progress(kTaskRebuild, 40, kTaskRunning, device)});
    restart();
    EXPECT_EQ("", firstPoll());
}

TEST_F(VantRaidMonitorProgress, GivenNoSnapshotThenStoredMeansNoReference) {
    construct();
    monitor->initialize(false);  // its writing leaves the builder without a tree
    task(2, kTaskRebuild, 40);
    EXPECT_EQ("304/4", check(true, true));
}

// --- what is handed to the snapshot ---

TEST_F(VantRaidMonitorProgress, StoredProgressIsReplacedByTheCurrentOne) {
    construct();
    task(1, kTaskInitialize, 10, kTaskPaused);
    task(2, kTaskRebuild, 40);
    (void)check(false);
    for (int i = 0; i < 2; ++i) monitor->setProgress();

    const QELProgressCollection& stored = *monitor->progressCollection;
    ASSERT_EQ(2ul, stored.getChildCount());
    const auto* first = static_cast<const QELProgress*>(stored.getChild(0));
    const auto* second = static_cast<const QELProgress*>(stored.getChild(1));
    EXPECT_TRUE(first->addr.IsEqual(Addr::ofLogicalDrive(0, 1)));
    EXPECT_EQ(10u, first->percentageComplete);
    EXPECT_EQ(1u, first->taskType);
    EXPECT_EQ(1u, first->taskState);
    EXPECT_TRUE(second->addr.IsEqual(Addr::ofLogicalDrive(0, 2)));
    EXPECT_EQ(40u, second->percentageComplete);
    EXPECT_EQ(6u, second->taskType);
    EXPECT_EQ(0u, second->taskState);

    monitor->ldProgressNew.clear();
    monitor->setProgress();
    EXPECT_EQ(0ul, stored.getChildCount());
}

// --- what controllers record ---

struct CodeCase {
    int code;
    int event;
    int severity;
    const char* key;
    const char* identifier;
    const char* hexadecimal;
};

// clang-format off
constexpr CodeCase kCodes[] = {
    {1,   350, 4, "agentEventInfSyncAborted",     "EVENT_TORVEX_LD_SYNCHRONIZE_ABORTED",   "1"},
    {14,  349, 4, "agentEventInfRebuildAborted",  "EVENT_TORVEX_LD_REBUILD_ABORTED",       "e"},
    {15,  351, 4, "agentEventInfInitAborted",     "EVENT_TORVEX_LD_INITIALIZE_ABORTED",    "f"},
    {16,  304, 4, "agentEventInfRebuildDetected", "EVENT_TORVEX_LD_REBUILD_STARTED",       "10"},
    {137, 304, 4, "agentEventInfRebuildDetected", "EVENT_TORVEX_LD_REBUILD_STARTED",       "89"},
    {17,  305, 4, "agentEventInfRebuildComplete", "EVENT_TORVEX_LD_REBUILD_COMPLETED",     "11"},
    {18,  306, 1, "agentEventErrRebuild",         "EVENT_TORVEX_LD_REBUILD_FAILED",        "12"},
    {19,  307, 4, "agentEventInfSyncDetected",    "EVENT_TORVEX_LD_SYNCHRONIZE_STARTED",   "13"},
    {20,  308, 4, "agentEventInfSyncComplete",    "EVENT_TORVEX_LD_SYNCHRONIZE_COMPLETED", "14"},
    {21,  309, 1, "agentEventErrSync",            "EVENT_TORVEX_LD_SYNCHRONIZE_FAILED",    "15"},
    {25,  342, 4, "agentEventInfInitDetected",    "EVENT_TORVEX_LD_INITIALIZE_STARTED",    "19"},
    {26,  343, 4, "agentEventInfInitComplete",    "EVENT_TORVEX_LD_INITIALIZE_COMPLETED",  "1a"},
    {27,  344, 1, "agentEventErrInit",            "EVENT_TORVEX_LD_INITIALIZE_FAILED",     "1b"},
};
// clang-format on

TEST_F(VantRaidMonitorProgress, TaskRecordsAreTold) {
    construct();
    for (const CodeCase& c : kCodes) {
        SCOPED_TRACE(c.code);
        std::vector<VantEvent> records{record(1, c.code)};
        monitor->compareProgress(events, adapter(), records);
        EXPECT_EQ(describeAll({taskEvent(c.event, c.severity, c.key, c.identifier, c.hexadecimal)}),
                  describeAll(events.getAllEvents()));
    }
}

TEST_F(VantRaidMonitorProgress, AllOtherCodesAreSilent) {
    construct();
    for (int code = -1; code <= 300; ++code) {
        bool known = false;
        for (const CodeCase& c : kCodes) known = known || c.code == code;
        if (known) continue;
        EXPECT_EQ("", compare({record(1, code)})) << code;
    }
}

TEST_F(VantRaidMonitorProgress, OnlyTheSenseKeyMakesATaskRecord) {
    construct();
    EXPECT_EQ("304/4", compare({record(1, 16)}));
    EXPECT_EQ("304/4", compare({record(1, 16, "/l2", 6)}));
    EXPECT_EQ("", compare({record(2, 16)}));
    EXPECT_EQ("", compare({record(0, 16, "/l2", 1)}));
    EXPECT_EQ("", compare({VantEvent(1, 1, 0, 16, 1, "/l2", "")}));
}

TEST_F(VantRaidMonitorProgress, RecordsAreToldInTheirOrder) {
    construct();
    EXPECT_EQ("304/4 306/1 342/4",
              compare({record(1, 16), record(1, 22), record(1, 18, "/l0"), record(1, 25, "/l3")}));
}

TEST_F(VantRaidMonitorProgress, OnlyAnEqualPathBelowTheControllerNamesADrive) {
    construct();
    EXPECT_EQ("304/4", compare({record(1, 16, "/l2")}));
    for (const char* path : {"", "/", "/l", "/l20", "/l2/", "/L2", "l2", "/c0/l2", "/l9", " /l2"}) {
        EXPECT_EQ("", compare({record(1, 16, path)})) << path;
    }
}

TEST_F(VantRaidMonitorProgress, OneListFeedsTasksAndTranslationAndNoRecordSpeaksTwice) {
    room.machine.controllers[0].drives = {{0, 5, kDriveMember}};
    construct();
    const std::vector<VantEvent> records{record(1, 16), record(0, 0x80, "/c0/b0/d5")};
    EXPECT_EQ("304/4", compare(records));
    monitor->checkTranslateEvents(events, adapter(), records);
    EXPECT_EQ("422/3", take());
}

TEST_F(VantRaidMonitorProgress, RecordsOfThePollAreToldOnce) {
    settle();
    ControllerEvent started;
    started.senseKey = 1;
    started.additionalSenseCode = 16;
    started.ldPath = "/l2";
    room.source().appendEvent(0, started);
    task(2, kTaskRebuild, 1);
    EXPECT_EQ("304/4", poll());
    EXPECT_EQ("", poll());
}

TEST_F(VantRaidMonitorProgress, RecordThatOnlyAnnouncesAChangeRefreshesAndIsSilent) {
    settle();
    const int readings = room.source().fillCount();
    EXPECT_EQ("", poll());
    EXPECT_EQ(readings, room.source().fillCount());
    room.source().appendEvent(0, {});
    EXPECT_EQ("", poll());
    EXPECT_EQ(readings + 1, room.source().fillCount());
}

TEST_F(VantRaidMonitorProgress, GivenNoAdapterThenTheComparisonSaysSo) {
    construct();
    std::vector<VantEvent> records{record(1, 16)};
    EXPECT_EQ(
        "Entering compareProgress(AdapterID=2147483647)\n"
        "ERROR: VantRaidMonitor::compareProgress--vantAdapterNewIN is NULL\n",
        logOf(kDebugError | kDebugTrace,
              [&] { monitor->compareProgress(events, nullptr, records); }));
}

TEST_F(VantRaidMonitorProgress, GivenHolesThenTheOtherDrivesAreStillMatched) {
    construct();
    auto made = tree::adapter(0);
    tree::hole(*made);
    tree::logicalDrive(*made, 2);
    std::vector<VantEvent> records{record(1, 16)};
    EXPECT_EQ(
        "Entering compareProgress(AdapterID=0)\n"
        "ERROR: VantRaidMonitor::compareProgress--ld is NULL\n",
        logOf(kDebugError | kDebugTrace,
              [&] { monitor->compareProgress(events, made.get(), records); }));
    EXPECT_EQ("304/4", take());
}

TEST_F(VantRaidMonitorProgress, GivenPathsThatTheLibraryRefusesThenALineEach) {
    PathRefusingLib lib(std::make_unique<MemorySource>(room.machine.builder()));
    monitor = std::make_unique<VantUnderTest>(&lib);
    std::vector<VantEvent> records{record(1, 16), record(0, 16), record(1, 17)};
    lib.refuseController = true;
    EXPECT_EQ(
        "ERROR: getPath(Adapter) unsuccessfull\n"
        "ERROR: getPath(Adapter) unsuccessfull\n",
        logOf(kDebugError, [&] { monitor->compareProgress(events, adapter(), records); }));
    lib.refuseController = false;
    lib.refuseLogical = true;
    const std::string one = "ERROR: getPath(logicalDrive) unsuccessfull\n";
    EXPECT_EQ(one + one + one + one,
              logOf(kDebugError, [&] { monitor->compareProgress(events, adapter(), records); }));
    EXPECT_EQ("", take());
    monitor.reset();
}

TEST_F(VantRaidMonitorProgress, GivenNoLibraryThenTheOperationsGiveUpWithTheirLines) {
    monitor = std::make_unique<VantUnderTest>(nullptr);
    auto made = tree::adapter(0);
    tree::logicalDrive(*made, 2);
    std::vector<VantEvent> records{record(1, 16)};
    EXPECT_EQ(
        "ERROR: getTasks unsuccessfull\n"
        "ERROR: getPath(logicalDrive) unsuccessfull\n"
        "ERROR: getPath(Adapter) unsuccessfull\n",
        logOf(kDebugError, [&] {
            monitor->checkProgress(true, events, made.get(), false);
            monitor->compareProgress(events, made.get(), records);
        }));
    EXPECT_EQ("", take());
}

}  // namespace
