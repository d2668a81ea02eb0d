// Bad blocks in the controllers' own logs.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/EventText.h"
#include "tests/support/MonitorRoom.h"
#include "tests/support/TreeBuilder.h"

namespace {

class PathRefusingLib : public VantLib {
public:
    using VantLib::VantLib;
    Ret getPath(const Addr& address, _LDTree& path) override {
        chunks.push_back(address.chunkID);
        const bool isDevice = address.deviceID != Addr::kNotSet;
        if (isDevice ? refuseDevices : refuseController) return Ret{Ret::kFailed, 0};
        return VantLib::getPath(address, path);
    }
    std::vector<long long> chunks;
    bool refuseDevices = false;
    bool refuseController = false;
};

class VantRaidMonitorTranslation : public testing::Test {
protected:
    VantRaidMonitorTranslation() {
        Machine::Controller& c = room.machine.addController(1);
        c.serial = "SN";
        c.drives = {{0, 5, kDriveMember}, {0, 6, kDriveMember}, {1, 5, kDriveMember}};
        lib = std::make_unique<PathRefusingLib>(
            std::make_unique<MemorySource>(room.machine.builder()));
        monitor = std::make_unique<VantUnderTest>(lib.get());
    }

    VantAdapter* adapter() { return monitor->newAdapters[0].adapter; }

    static VantEvent record(int code, const std::string& path = "/c0/b1/d5") {
        return VantEvent(7, 0, 0, code, 1, path, "");
    }

    std::string translate(const std::vector<VantEvent>& records) {
        monitor->checkTranslateEvents(events, adapter(), records);
        return summary(events.getAllEvents());
    }

    template <class Call>
    std::string logOf(std::uint32_t mask, const Call& call) {
        const std::size_t from = room.debugLog().size();
        setDebugMask(mask);
        call();
        setDebugMask(0);
        return room.debugLog().substr(from);
    }

    MonitorRoom room;
    QELEventCollection events{"", 100000, kEventAll};
    std::unique_ptr<PathRefusingLib> lib;
    std::unique_ptr<VantUnderTest> monitor;
};

TEST_F(VantRaidMonitorTranslation, BadBlockCodesAreTranslatedAndNoOthers) {
    for (int code = -1; code <= 300; ++code) {
        const std::string expected = code == 0x80                   ? "422/3"
                                     : code == 0x81 || code == 0x88 ? "418/2"
                                                                    : "";
        EXPECT_EQ(expected, translate({record(code)})) << code;
    }
}

TEST_F(VantRaidMonitorTranslation, EventsAreComplete) {
    monitor->checkTranslateEvents(events, adapter(), {record(0x88), record(0x80)});
    const std::string controller = "eventArgController2(1| #SN|Unknown)";
    const std::string args = "(eventArgController(" + controller +
                             ")|eventArgControllerScsiDevice(" + controller + "|2|5))";
    Addr place = Addr::ofDevice(0, 1, 5);
    place.chunkID = -1;
    // One identifier for both, and no serial number: the phrases name the controller.
    const std::vector<QELEvent> expected{
        expectedEvent(418, 2, "agentEventWrnBadBlock" + args, "EVENT_TORVEX_PD_MEDIA_ERROR", 5,
                      place, ""),
        expectedEvent(422, 3, "agentEventInfBadBlockRepaired" + args, "EVENT_TORVEX_PD_MEDIA_ERROR",
                      5, place, ""),
    };
    EXPECT_EQ(describeAll(expected), describeAll(events.getAllEvents()));
}

TEST_F(VantRaidMonitorTranslation, TheCategoryOfTheRecordDoesNotMatter) {
    for (int key : {0, 1, 2}) {
        EXPECT_EQ("422/3", translate({VantEvent(7, 0, key, 0x80, 1, "/c0/b0/d6", "")}));
    }
}

TEST_F(VantRaidMonitorTranslation, GivenNoDriveOfThatPathThenNoEventAndNoLine) {
    for (const char* path :
         {"", "/c0", "/b1/d5", "/c0/b1/d", "/c0/b1/d55", "/c0/b1/d5 ", "/c1/b1/d5", "/C0/b1/d5"}) {
        EXPECT_EQ("", logOf(kDebugError, [&] { EXPECT_EQ("", translate({record(0x80, path)})); }))
            << path;
    }
}

TEST_F(VantRaidMonitorTranslation, RecordsAreTranslatedInTheirOrder) {
    monitor->checkTranslateEvents(
        events, adapter(),
        {record(0x81, "/c0/b0/d6"), record(5), record(0x80, "/c0/b0/d5"), record(0x88)});
    std::string told;
    for (const QELEvent& e : events.getAllEvents()) {
        told += std::to_string(e.eventCode) + "@" + std::to_string(e.location.channelID) + ":" +
                std::to_string(e.location.deviceID) + " ";
    }
    EXPECT_EQ("418@0:6 422@0:5 418@1:5 ", told);
}

TEST_F(VantRaidMonitorTranslation, GivenTwoDrivesOfOneAddressThenBothAreNamed) {
    tree::drive(*static_cast<Channel*>(adapter()->getObject(Addr::ofChannel(0, 1))), 5);
    EXPECT_EQ("422/3 422/3", translate({record(0x80)}));
}

TEST_F(VantRaidMonitorTranslation, AddressesCarryNoChunk) {
    lib->chunks.clear();
    (void)translate({record(0x80)});
    EXPECT_EQ(std::vector<long long>(4, -1), lib->chunks);  // the controller and three drives
}

TEST_F(VantRaidMonitorTranslation, RecordsOfAPollAreTranslatedOnce) {
    monitor = std::make_unique<VantUnderTest>(room.lib());
    monitor->poll(VantRaidMonitor::kCheckConfig, events);
    (void)events.getAllEvents();
    ControllerEvent found;
    found.additionalSenseCode = 0x81;
    found.ldPath = "/c0/b1/d5";
    room.source().appendEvent(0, found);
    monitor->poll(VantRaidMonitor::kCompareConfig, events);
    EXPECT_EQ("418/2", summary(events.getAllEvents()));
    monitor->poll(VantRaidMonitor::kCompareConfig, events);
    EXPECT_EQ("", summary(events.getAllEvents()));
}

// --- the debug log ---

TEST_F(VantRaidMonitorTranslation, GivenNoAdapterThenALineWithoutItsEnd) {
    EXPECT_EQ("ERROR: VantRaidMonitor::CheckAdapter,Adapter is NULL",
              logOf(kDebugError | kDebugTrace,
                    [&] { monitor->checkTranslateEvents(events, nullptr, {record(0x80)}); }));
}

TEST_F(VantRaidMonitorTranslation, EntryIsTraced) {
    EXPECT_EQ("Entering checkTranslateEvents(Adapter=0)\n",
              logOf(kDebugTrace, [&] { (void)translate({}); }));
}

TEST_F(VantRaidMonitorTranslation, GivenNoPathOfTheControllerThenTheRecordIsSkipped) {
    lib->refuseController = true;
    EXPECT_EQ("ERROR: getPath(Adapter) is unsuccessfull\n", logOf(kDebugError, [&] {
                  EXPECT_EQ("", translate({record(0x80), record(7)}));
              }));
}

TEST_F(VantRaidMonitorTranslation, GivenNoPathOfADriveThenTheDriveIsSkipped) {
    lib->refuseDevices = true;
    const std::string one = "ERROR: getPath(HardDrive) is unsuccessfull\n";
    EXPECT_EQ(one + one + one,
              logOf(kDebugError, [&] { EXPECT_EQ("", translate({record(0x80)})); }));
}

TEST_F(VantRaidMonitorTranslation, GivenHolesAndStrayDrivesThenTheOthersAreStillMatched) {
    auto made = tree::adapter(0);
    Channel* channel = tree::channel(*made, 1);
    tree::hole(*channel);
    tree::driveWithoutChannel(*made, 5);
    tree::drive(*tree::channel(*made, 2), 5);
    EXPECT_EQ(
        "ERROR: VantRaidMonitor::checkTranslateEvents::vantHardDrive is NULL\n"
        "ERROR: VantRaidMonitor::checkTranslateEvents::vantHardDrive->getChannel() is NULL",
        logOf(kDebugError, [&] {
            monitor->checkTranslateEvents(events, made.get(), {record(0x80, "/c0/b2/d5")});
        }));
    EXPECT_EQ("422/3", summary(events.getAllEvents()));
}

TEST_F(VantRaidMonitorTranslation, GivenNoLibraryThenTheRecordIsSkipped) {
    monitor = std::make_unique<VantUnderTest>(nullptr);
    auto made = tree::adapter(0);
    tree::drive(*tree::channel(*made, 1), 5);
    EXPECT_EQ("ERROR: getPath(Adapter) is unsuccessfull\n", logOf(kDebugError, [&] {
                  monitor->checkTranslateEvents(events, made.get(), {record(0x80)});
              }));
}

}  // namespace
