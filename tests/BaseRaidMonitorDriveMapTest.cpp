// The SAS drive map.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "storlib/Channel.h"
#include "tests/support/BareMonitor.h"
#include "tests/support/MonitorRoom.h"
#include "tests/support/TreeBuilder.h"

namespace {

const std::string kController = shown("eventArgController2", {"2", " #SN", "Unknown"});

class BaseRaidMonitorDriveMap : public testing::Test {
protected:
    std::vector<QELEvent> map() {
        monitor.logSASDriveMap(room.events, adapter.get());
        return room.take();
    }

    static std::string wwnPhrase() {
        return shown("eventArgControllerSASDeviceWWN", {kController, "0000000000000000"});
    }

    BareRoom room;
    BareMonitor monitor;
    std::unique_ptr<VantAdapter> adapter = tree::adapter(1, "SN");
};

TEST_F(BaseRaidMonitorDriveMap, GivenNoSasChannelThenNoEvent) {
    tree::drive(*tree::channel(*adapter, 0, kChannelScsi), 1);
    tree::drive(*tree::channel(*adapter, 1, kChannelSata), 1);
    tree::drive(*tree::channel(*adapter, 2, 7), 1);
    tree::driveWithoutChannel(*adapter, 1);
    EXPECT_TRUE(map().empty());
}

TEST_F(BaseRaidMonitorDriveMap, GivenTwoSasChannelsThenDrivesInChannelOrder) {
    for (unsigned int bus : {3u, 1u}) {
        Channel* channel = tree::channel(*adapter, bus, kChannelSas);
        for (unsigned int device : {7u, 5u, 6u}) tree::drive(*channel, device);
    }
    std::string places;
    for (const QELEvent& event : map()) {
        places += std::to_string(event.location.channelID) + ":" +
                  std::to_string(event.location.deviceID) + " ";
    }
    EXPECT_EQ("3:7 3:5 3:6 1:7 1:5 1:6 ", places);
}

TEST_F(BaseRaidMonitorDriveMap, EventIsComplete) {
    HardDrive* drive = tree::drive(*tree::channel(*adapter, 3, kChannelSas), 5);
    setText(drive->fruNumber, "39R7342");
    // An adapter event with the generic identifier, although it names a drive.
    QELEvent expected =
        expectedEvent(423, 3,
                      shown("agentEventInfDriveMap",
                            {"2", "4", "5", wwnPhrase(), shown("deviceArgFRU", {"39R7342"})}),
                      "RAID_EVENT", 2, Addr::ofDevice(1, 3, 5), "SN");
    expected.detail = "39R7342";
    EXPECT_EQ(describeAll({expected}), describeAll(map()));
}

struct ReplacementCase {
    const char* when;
    const char* fru;
    const char* vendor;
    const char* model;
    std::string phrase;
};

TEST_F(BaseRaidMonitorDriveMap, FifthArgumentIsTheReplacement) {
    const ReplacementCase cases[] = {
        {"a part number", "39R", "Acme", "M1", shown("deviceArgFRU", {"39R"})},
        {"vendor and model", "", "Acme", "M1", shown("deviceArgVendorModel", {"Acme", "M1"})},
        {"no model", "", "Acme", "", ""},
        {"no vendor", "", "", "M1", ""},
    };
    HardDrive* drive = tree::drive(*tree::channel(*adapter, 0, kChannelSas), 5);
    for (const ReplacementCase& c : cases) {
        SCOPED_TRACE(c.when);
        setText(drive->fruNumber, c.fru);
        setText(drive->vendor, c.vendor);
        setText(drive->model, c.model);
        const std::vector<QELEvent> events = map();
        ASSERT_EQ(1u, events.size());
        EXPECT_EQ(shown("agentEventInfDriveMap", {"2", "1", "5", wwnPhrase(), c.phrase}),
                  events[0].text);
        EXPECT_EQ(c.fru, events[0].detail);
    }
}

// It hangs below the channel but does not know it.
TEST_F(BaseRaidMonitorDriveMap, GivenADriveWithoutChannelThenItsNumberIsNotSet) {
    Channel* channel = tree::channel(*adapter, 3, kChannelSas);
    channel->addChild(tree::prepare(new HardDrive(adapter.get(), nullptr), 5, kDriveReady));
    const std::vector<QELEvent> events = map();
    ASSERT_EQ(1u, events.size());
    EXPECT_TRUE(events[0].location.IsEqual(Addr::ofDevice(1, Addr::kNotSet, 5)));
    EXPECT_EQ(shown("agentEventInfDriveMap",
                    {"2", "2147483647", "5",
                     shown("eventArgControllerScsiDevice", {kController, "2147483647", "5"}), ""}),
              events[0].text);
}

TEST_F(BaseRaidMonitorDriveMap, OtherDevicesOfTheChannelAreNotListed) {
    Channel* channel = tree::channel(*adapter, 3, kChannelSas);
    tree::enclosure(*channel, 5);
    tree::ses2Enclosure(*channel, 6);
    EXPECT_TRUE(map().empty());
}

TEST_F(BaseRaidMonitorDriveMap, GivenAHoleThenOneErrorLineAndTheOtherDrives) {
    Channel* channel = tree::channel(*adapter, 3, kChannelSas);
    tree::hole(*channel);
    tree::drive(*channel, 5);
    tree::hole(*adapter);  // a missing channel is passed over
    setDebugMask(kDebugError | kDebugTrace);
    EXPECT_EQ(1u, map().size());
    setDebugMask(0);
    EXPECT_EQ(
        "       Entering logSASDriveMap(&ecIN, 1)\n"
        "ERROR: BaseRaidMonitor::logSASDriveMap HardDrive is NULL!!!\n",
        room.takeDebugLog());
}

TEST_F(BaseRaidMonitorDriveMap, GivenNoAdapterThenNothing) {
    monitor.logSASDriveMap(room.events, nullptr);
    EXPECT_TRUE(room.take().empty());
}

// Hosts ask for the map; no poll does, however long it is due.
TEST(BaseRaidMonitorDriveMapPolls, GivenSasDrivesAndDaysOfPollsThenNoMap) {
    MonitorRoom room;
    Machine::Controller& c = room.machine.addController(1);
    c.drives = {{0, 5, kDriveReady}, {0, 6, kDriveReady}};
    VantLib lib(std::make_unique<MemorySource>([&room](System& system) {
        room.machine.builder()(system);
        std::vector<RaidObject*> channels;
        system.getChildren(channels, "Channel", true, true);
        for (RaidObject* object : channels) {
            static_cast<Channel*>(object)->channelType = kChannelSas;
        }
    }));
    VantUnderTest monitor(&lib);
    monitor.poll(VantRaidMonitor::kCheckConfig, monitor.queue());
    for (int day = 0; day < 3; ++day) {
        room.clock.advance(86400);
        monitor.poll(VantRaidMonitor::kCompareConfig, monitor.queue());
    }
    const std::vector<int> told = MonitorRoom::codes(monitor);
    EXPECT_FALSE(told.empty());  // the first poll tells of the new controller
    EXPECT_EQ(0, std::count(told.begin(), told.end(), 423));
    EXPECT_TRUE(monitor.isTimeToReportSASDriveMap()) << "nor does one use up the interval";
    monitor.logSASDriveMap(monitor.queue(), monitor.newAdapters[0].adapter);
    EXPECT_EQ((std::vector<int>{423, 423}), MonitorRoom::codes(monitor));
}

}  // namespace
