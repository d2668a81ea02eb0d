// The host interface that every family monitor inherits.
#include "monitor/BaseRaidMonitor.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "snapshot/QELProgressCollection.h"
#include "tests/support/MonitorRoom.h"

namespace {

QELEvent numbered(int code) { return QELEvent(code, kEventInformation, "text", "ID"); }

class BaseRaidMonitorTest : public testing::Test {
protected:
    void queue(int count) {
        for (int i = 1; i <= count; ++i) {
            const QELEvent event = numbered(i);
            monitor.queue().addEvent(event);
        }
    }

    MonitorRoom room;
    VantUnderTest monitor{room.lib()};
};

TEST_F(BaseRaidMonitorTest, GivenNoRoomForEventsThenTheQueueIsUntouched) {
    queue(3);
    QELEvent out[2];
    EXPECT_EQ(0, monitor.getEvents(out, 0));
    EXPECT_EQ(0, monitor.getEvents(out, -1));
    EXPECT_EQ(0, monitor.getEvents(nullptr, 5));
    EXPECT_EQ(3, monitor.getNumberOfEvents());
}

TEST_F(BaseRaidMonitorTest, GivenFewerEventsThanAskedForThenAllAreMoved) {
    queue(3);
    QELEvent out[10];
    EXPECT_EQ(3, monitor.getEvents(out, 10));
    EXPECT_EQ(1, out[0].eventCode);
    EXPECT_EQ(3, out[2].eventCode);
    EXPECT_EQ(QELEvent::kNotSet, out[3].eventCode);
    EXPECT_EQ(0, monitor.getNumberOfEvents());
}

TEST_F(BaseRaidMonitorTest, GivenMoreEventsThanAskedForThenTheOldestAreMoved) {
    queue(3);
    QELEvent out[2];
    EXPECT_EQ(2, monitor.getEvents(out, 2));
    EXPECT_EQ(1, out[0].eventCode);
    EXPECT_EQ(2, out[1].eventCode);
    EXPECT_EQ(1, monitor.getNumberOfEvents());
}

TEST_F(BaseRaidMonitorTest, GetEventsByNumberTakesAllForZero) {
    queue(3);
    EXPECT_EQ(2u, monitor.getEvents(2).size());
    EXPECT_EQ(1u, monitor.getEvents(0).size());
    EXPECT_TRUE(monitor.getEvents(0).empty());
}

TEST_F(BaseRaidMonitorTest, GivenANegativeNumberThenNoEventIsTaken) {
    queue(3);
    EXPECT_TRUE(monitor.getEvents(-1).empty());
    EXPECT_EQ(3, monitor.getNumberOfEvents());
}

TEST_F(BaseRaidMonitorTest, GivenNoQueueThenNothingIsHandedOutAndTheLevelIsFour) {
    monitor.eventCollection.reset();
    QELEvent out[1];
    EXPECT_EQ(0, monitor.getEvents(out, 1));
    EXPECT_TRUE(monitor.getEvents(0).empty());
    EXPECT_EQ(0, monitor.getNumberOfEvents());
    EXPECT_EQ(4, monitor.getEventTypeLevel());
    EXPECT_FALSE(monitor.setEventTypeLevel(kEventInformation));
    EXPECT_EQ(1, room.countInLog(
                     "ERROR: BaseRaidMonitor::getEventTypeLevel() EventCollection is NULL!!\n"));
    EXPECT_EQ(1, room.countInLog(
                     "ERROR: BaseRaidMonitor::setEventTypeLevel() EventCollection is NULL!!\n"));
}

TEST_F(BaseRaidMonitorTest, LevelsPassToTheQueue) {
    EXPECT_EQ(5, monitor.getEventTypeLevel());
    EXPECT_TRUE(monitor.setEventTypeLevel(kEventInformation));
    EXPECT_EQ(3, monitor.getEventTypeLevel());
    EXPECT_FALSE(monitor.setEventTypeLevel(static_cast<EnumEventType>(0)));
    EXPECT_FALSE(monitor.setEventTypeLevel(static_cast<EnumEventType>(8)));
    EXPECT_EQ(3, monitor.getEventTypeLevel());
}

TEST_F(BaseRaidMonitorTest, DebugLevelsSelectTheMaskAndOthersChangeNothing) {
    monitor.setDebugFlag(kDebugLevelEvents);
    EXPECT_EQ(0xff0000u, QELDebugFlag);
    for (int level : {3, 7, -1}) {
        monitor.setDebugFlag(static_cast<EnumDebugQEL>(level));
        EXPECT_EQ(0xff0000u, QELDebugFlag);
    }
    monitor.setDebugFlag(kDebugLevelAll);
    EXPECT_EQ(0xffffffu, QELDebugFlag);
    monitor.setDebugFlag(kDebugLevelErrors);
    EXPECT_EQ(0xf00000u, QELDebugFlag);
}

TEST_F(BaseRaidMonitorTest, LogicalDrivesHaveNoNameOfTheirOwn) {
    LogicalDrive drive(nullptr);
    drive.logicalName = "data";
    EXPECT_EQ("", monitor.getLogicalName(&drive));
    EXPECT_EQ("", monitor.getLogicalName(nullptr));
}

TEST(BaseRaidMonitor, CannotBeDeletedThroughTheBase) {
    EXPECT_FALSE(std::has_virtual_destructor<BaseRaidMonitor>::value);
    EXPECT_FALSE(std::is_destructible<BaseRaidMonitor>::value);
    EXPECT_TRUE(std::is_destructible<VantRaidMonitor>::value);
}

TEST(BaseRaidMonitor, HostsReleaseMallocBlocksThroughTheLibrary) {
    dllSafeDeleteRAIDMON(std::malloc(100));  // the leak checker watches
    dllSafeDeleteRAIDMON(nullptr);
}

TEST(BaseRaidMonitor, TheHostsOwnPointerStartsOutNull) {
    EXPECT_EQ(nullptr, configFile);
    EXPECT_EQ(sizeof(void*), sizeof configFile);
}

// A family of another kind: every virtual operation can be overridden with the types as named.
class EveryOverride : public BaseRaidMonitor {
public:
    EveryOverride() : BaseRaidMonitor(nullptr, "", "", "") {}
    void compareRelativeChanges(Adapter*, Adapter*) override {}
    RaidObject* findPD(HardDrive*, Adapter*) override { return nullptr; }
    void compareRelativeChanges(HardDrive*, HardDrive*) override {}
    RaidObject* findLD(LogicalDrive*, Adapter*) override { return nullptr; }
    void compareRelativeChanges(LogicalDrive*, LogicalDrive*) override {}
    void setProgress() override {}
    void poll(int type, QELEventCollection&) override { polled = type; }
    void run() override {}
    void stop() override {}
    void start() override {}
    std::string getLogicalName(LogicalDrive*) override { return "name"; }
    EveryOverride(const std::string& debugLogName, const std::string& eventLogName,
                  const std::string& snapshotName, const std::string& logs)
        : BaseRaidMonitor(nullptr, debugLogName, eventLogName, snapshotName, logs) {}
    ~EveryOverride() { delete progressCollection; }  // the base leaves it to the family

    // Where each data member lies, in the order in which hosts know them.
    std::vector<const void*> places() const {
        return {&storLib,
                &running,
                &stopped,
                &libPath,
                &logPath,
                &debugLog,
                &pollInterval,
                &startTime,
                &forceRefresh,
                &unsupportedDrivesInterval,
                &lastUnsupportedDrivesReport,
                &criticalLogicalDrivesInterval,
                &lastCriticalLogicalDrivesReport,
                &sasDriveMapInterval,
                &lastSasDriveMapReport,
                &badStripeInterval,
                &lastBadStripeReport,
                &driveCheckFlag,
                &eventQueueSize,
                &debugLevel,
                &osLoggingLevel,
                &alarmEnabled,
                &logDirStatus,
                &eventCollection,
                &nls,
                &configBuilder,
                &progressCollection};
    }

    void expectFirstValues(std::int64_t constructed) const {
        EXPECT_EQ(nullptr, storLib);
        EXPECT_FALSE(running.load());
        EXPECT_TRUE(stopped.load());
        EXPECT_EQ(5, pollInterval);
        EXPECT_EQ(constructed, std::int64_t{startTime.load()});
        EXPECT_TRUE(forceRefresh.load());
        EXPECT_EQ(2592000, unsupportedDrivesInterval);
        EXPECT_EQ(0, lastUnsupportedDrivesReport);
        EXPECT_EQ(28800, criticalLogicalDrivesInterval);
        EXPECT_EQ(0, lastCriticalLogicalDrivesReport);
        EXPECT_EQ(86400, sasDriveMapInterval);
        EXPECT_EQ(0, lastSasDriveMapReport);
        EXPECT_EQ(28800, badStripeInterval);
        EXPECT_EQ(0, lastBadStripeReport);
        EXPECT_TRUE(driveCheckFlag);
        EXPECT_NE(nullptr, progressCollection);
    }

    QELConfigBuilder& builder() { return *configBuilder; }

    int polled = -1;
};

TEST(BaseRaidMonitor, GivenNoFamilyThenNothingHasBeenReportedYet) {
    MonitorRoom room;
    const EveryOverride monitor;
    monitor.expectFirstValues(ManualClock::kStart);
}

TEST(BaseRaidMonitor, DataMembersStandInTheirOrder) {
    MonitorRoom room;
    const EveryOverride monitor;
    const std::vector<const void*> places = monitor.places();
    for (std::size_t i = 1; i < places.size(); ++i) EXPECT_LT(places[i - 1], places[i]) << i;
}

// The slot of a virtual operation: pointers to members hold it as 1 + its offset in the table.
template <class Member>
std::size_t slotOf(Member member) {
    std::array<std::uintptr_t, 2> words{};
    static_assert(sizeof(member) == sizeof(words), "another way of pointing to members");
    std::memcpy(words.data(), &member, sizeof(words));
    EXPECT_EQ(1u, words[0] % sizeof(void*)) << "not virtual";
    return words[0] / sizeof(void*);
}

TEST(BaseRaidMonitor, VirtualOperationsStandInTheirSlots) {
    using B = BaseRaidMonitor;
    EXPECT_EQ(0u, slotOf<void (B::*)(Adapter*, Adapter*)>(&B::compareRelativeChanges));
    EXPECT_EQ(1u, slotOf<RaidObject* (B::*)(HardDrive*, Adapter*)>(&B::findPD));
    EXPECT_EQ(2u, slotOf<void (B::*)(HardDrive*, HardDrive*)>(&B::compareRelativeChanges));
    EXPECT_EQ(3u, slotOf<RaidObject* (B::*)(LogicalDrive*, Adapter*)>(&B::findLD));
    EXPECT_EQ(4u, slotOf<void (B::*)(LogicalDrive*, LogicalDrive*)>(&B::compareRelativeChanges));
    EXPECT_EQ(5u, slotOf<void (B::*)()>(&B::setProgress));
    EXPECT_EQ(6u, slotOf<void (B::*)(int, QELEventCollection&)>(&B::poll));
    EXPECT_EQ(7u, slotOf<void (B::*)()>(&B::run));
    EXPECT_EQ(8u, slotOf<void (B::*)()>(&B::stop));
    EXPECT_EQ(9u, slotOf<void (B::*)()>(&B::start));
    EXPECT_EQ(10u, slotOf<std::string (B::*)(LogicalDrive*)>(&B::getLogicalName));
}

// Compiles only when the operation is there, in reach of everybody, with these types.
template <class Operation>
constexpr bool offers(Operation) {
    return true;
}

TEST(BaseRaidMonitor, HostsMayCallEveryOperation) {
    using B = BaseRaidMonitor;
    using Events = QELEventCollection;
    static_assert(offers<bool (B::*)() const>(&B::isStopped));
    static_assert(offers<int (B::*)(QELEvent*, int)>(&B::getEvents));
    static_assert(offers<std::vector<QELEvent> (B::*)(int)>(&B::getEvents));
    static_assert(offers<int (B::*)() const>(&B::getNumberOfEvents));
    static_assert(offers<void (B::*)(EnumDebugQEL)>(&B::setDebugFlag));
    static_assert(offers<EnumEventType (B::*)()>(&B::getEventTypeLevel));
    static_assert(offers<bool (B::*)(EnumEventType)>(&B::setEventTypeLevel));
    static_assert(offers<void (B::*)(Events&)>(&B::getCurrentEvents));
    static_assert(offers<void (*)(void*)>(&dllSafeDeleteRAIDMON));
    static_assert(offers<void (B::*)()>(&B::setQELPath));
    static_assert(offers<void (B::*)(std::string)>(&B::setQELLogPath));
    static_assert(offers<int (B::*)()>(&B::create_directory));
    static_assert(offers<void (B::*)()>(&B::readConfig));
    static_assert(offers<void (B::*)(const char*, ...)>(&B::logDebugMsg));
    static_assert(offers<bool (B::*)()>(&B::isTimeToReportUnsupportedDrives));
    static_assert(offers<bool (B::*)()>(&B::isTimeToReportCriticalLogicalDrives));
    static_assert(offers<bool (B::*)()>(&B::isTimeToReportSASDriveMap));
    static_assert(offers<bool (B::*)()>(&B::isTimeToReportBadStripe));
    static_assert(offers<int (B::*)(Events&, Adapter*, Adapter*)>(&B::compareAdapter));
    static_assert(offers<void (B::*)(Events&, Adapter*)>(&B::checkAdapter));
    static_assert(offers<void (B::*)(Events&, Adapter*, Adapter*)>(&B::comparePhysicalDrives));
    static_assert(offers<void (B::*)(Events&, Adapter*)>(&B::checkPhysicalDrives));
    static_assert(offers<void (B::*)(Events&, Adapter*, Adapter*)>(&B::compareLogicalDrives));
    static_assert(offers<void (B::*)(Events&, Adapter*)>(&B::checkLogicalDrives));
    static_assert(offers<void (B::*)(Events&, Adapter*, Adapter*)>(&B::compareSafte));
    static_assert(offers<void (B::*)(Events&, Adapter*)>(&B::checkSafte));
    static_assert(offers<void (B::*)(Events&, Adapter*)>(&B::logSASDriveMap));
    static_assert(offers<std::string (B::*)(Adapter*)>(&B::getEventID));
    static_assert(offers<std::string (B::*)(HardDrive*)>(&B::getEventID));
    static_assert(offers<std::string (B::*)(LogicalDrive*)>(&B::getEventID));
    static_assert(offers<std::string (B::*)(Channel*)>(&B::getEventID));
    static_assert(offers<std::string (B::*)(Adapter*)>(&B::getDetailedAdapterID));
    static_assert(offers<std::string (B::*)(PhysicalDevice*)>(&B::getReplacementID));
    static_assert(offers<std::string (B::*)(LogicalDrive*)>(&B::getSize));
    static_assert(offers<std::string (B::*)(LogicalDrive*)>(&B::getRaidLevel));
    static_assert(offers<std::string (B::*)(LogicalDrive*)>(&B::getQuickInit));

    using V = VantRaidMonitor;
    using Found = std::vector<VantEvent>;
    static_assert(std::is_constructible<V, VantLib*>::value);
    static_assert(std::is_constructible<V, VantLib*, std::string>::value);
    static_assert(offers<bool (V::*)(bool)>(&V::initialize));
    static_assert(offers<int (V::*)() const>(&V::getControllerCount));
    static_assert(offers<Adapter* (V::*)(Adapter*, int&, Found&)>(&V::findStoredAdapter));
    static_assert(offers<VantAdapter* (V::*)(VantAdapter*, int&, Found&)>(&V::findOldAdapter));
    static_assert(offers<bool (V::*)()>(&V::isTimeToRefreshConfig));
    static_assert(offers<bool (V::*)()>(&V::configNeedsRefresh));
    static_assert(offers<bool (V::*)(bool)>(&V::refreshConfig));
    static_assert(offers<void (V::*)(VantAdapter*, VantAdapter*)>(&V::compareRelativeChanges));
    static_assert(offers<void (V::*)(bool, Events&, VantAdapter*, bool)>(&V::checkProgress));
    static_assert(offers<void (V::*)(Events&, VantAdapter*, Found&)>(&V::compareProgress));
    static_assert(offers<void (V::*)(Events&, VantAdapter*, Found)>(&V::checkTranslateEvents));
}

TEST(BaseRaidMonitor, GivenFileNamesAndALogPathThenTheSnapshotAloneStaysBesideTheLibrary) {
    MonitorRoom room;
    std::filesystem::create_directory(room.dir.file("logs"));
    EveryOverride monitor("a.log", "b.log", "c.xml", room.dir.file("logs"));
    monitor.builder().writeXML();
    EXPECT_TRUE(room.dir.exists("logs/a.log"));
    EXPECT_TRUE(room.dir.exists("logs/b.log"));
    EXPECT_TRUE(room.dir.exists("c.xml"));
    EXPECT_FALSE(room.dir.exists("qavelogs"));
}

TEST(BaseRaidMonitor, GivenEmptyFileNamesThenTheBaseNamesAreUsed) {
    MonitorRoom room;
    EveryOverride monitor;
    EXPECT_TRUE(room.dir.exists("qavelogs/QELDebug.log"));
    EXPECT_TRUE(room.dir.exists("qavelogs/QELEvents.log"));
    EXPECT_FALSE(room.dir.exists("QELConfig.xml"));
    monitor.builder().writeXML();
    EXPECT_TRUE(room.dir.exists("QELConfig.xml"));
}

TEST(BaseRaidMonitor, CurrentEventsAreOnePollOfTypeZero) {
    MonitorRoom room;
    EveryOverride monitor;
    QELEventCollection events("", 200, kEventProgress);
    monitor.getCurrentEvents(events);
    EXPECT_EQ(0, monitor.polled);
}

}  // namespace
