#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/BareMonitor.h"
#include "tests/support/TreeBuilder.h"

namespace {

const std::string kPhrase =
    shown("eventArgController", {shown("eventArgController2", {"2", " #SN1", "Unknown"})});

// Records what the comparison hands to the family.
class FamilyMonitor : public BareMonitor {
public:
    void compareRelativeChanges(Adapter* newAdapterIN, Adapter* oldAdapterIN) override {
        pairs.emplace_back(newAdapterIN, oldAdapterIN);
    }
    using BareMonitor::compareRelativeChanges;

    std::vector<std::pair<Adapter*, Adapter*>> pairs;
};

class BaseRaidMonitorAdapters : public testing::Test {
protected:
    BaseRaidMonitorAdapters() {
        room.clock.advance(1);
        // Out of the way until a test asks for it.
        monitor.lastBadStripeReport = 1;
    }

    QELEvent expected(int code, int severity, const std::string& identifier,
                      const std::string& text) {
        return expectedEvent(code, severity, text, identifier, 2, Addr::ofController(1), "SN1");
    }

    BareRoom room;
    FamilyMonitor monitor;
    std::unique_ptr<VantAdapter> now = tree::adapter(1, "SN1");
    std::unique_ptr<VantAdapter> before = tree::adapter(1, "SN0");
};

TEST_F(BaseRaidMonitorAdapters, GivenNoNewAdapterWhenComparedThenOneErrorLine) {
    EXPECT_EQ(13, monitor.compareAdapter(room.events, nullptr, before.get()));
    EXPECT_EQ(13, monitor.compareAdapter(room.events, nullptr, nullptr));
    EXPECT_EQ(
        "ERROR: BaseRaidMonitor::compareAdapter newAdapterIN is NULL!!!\n"
        "ERROR: BaseRaidMonitor::compareAdapter newAdapterIN is NULL!!!\n",
        room.takeDebugLog());
    EXPECT_EQ("", room.takeSummary());
}

TEST_F(BaseRaidMonitorAdapters, GivenNoAdapterWhenCheckedThenOneErrorLine) {
    monitor.checkAdapter(room.events, nullptr);
    EXPECT_EQ("ERROR: BaseRaidMonitor::checkAdapter adapterIN is NULL!!!\n", room.takeDebugLog());
    EXPECT_EQ("", room.takeSummary());
}

TEST_F(BaseRaidMonitorAdapters, GivenMaskWithoutErrorsWhenAdapterIsMissingThenNoLine) {
    setDebugMask(0x0fffff);
    monitor.compareAdapter(room.events, nullptr, nullptr);
    monitor.checkAdapter(room.events, nullptr);
    EXPECT_EQ("", room.takeDebugLog());
}

TEST_F(BaseRaidMonitorAdapters, GivenTraceMaskThenEntryLinesNameTheAdapters) {
    setText(now->deviceName, "RX-800");
    setText(before->deviceName, "RX-400");
    setDebugMask(0x00f000);
    monitor.compareAdapter(room.events, now.get(), before.get());
    monitor.compareAdapter(room.events, now.get(), nullptr);
    monitor.checkAdapter(room.events, now.get());
    EXPECT_EQ(
        "   Entering compareAdapter(&ecIN, ADPT: RX-800 vs RX-400)\n"
        "   Entering compareAdapter(&ecIN, ADPT: RX-800 vs NULL)\n"
        "   Entering checkAdapter(&ecIN, ADPT: 1)\n",
        room.takeDebugLog());
}

TEST_F(BaseRaidMonitorAdapters, GivenNoOldAdapterThenAddedAndNothingElse) {
    now->controllerStatus = 1;
    now->batStatus = kBatteryLow;
    EXPECT_EQ(10, monitor.compareAdapter(room.events, now.get(), nullptr));
    EXPECT_EQ(describeAll({expected(207, 3, "EVENT_TORVEX_STATE_ADDED",
                                    shown("agentEventInfControllerAdded", {kPhrase}))}),
              describeAll(room.take()));
    EXPECT_TRUE(monitor.pairs.empty());
}

struct StatusCase {
    int before, now;
    const char* events;
    int result;
    bool examined;  // battery and the family have their turn
};

// clang-format off
constexpr StatusCase kStatusCases[] = {
    {0, 0, "",                 12, true},
    {0, 1, "299/1 202/1",      13, false},
    {0, 2, "299/3",            13, true},
    {0, -1, "299/3",           13, true},
    {1, 0, "208/3",            11, false},
    {1, 1, "",                 13, true},
    {1, 2, "299/3",            13, true},
    {2, 0, "208/3",            11, false},
    {2, 1, "299/1",            13, true},
    {2, 2, "",                 13, true},
    {2, 3, "299/3",            13, true},
};
// clang-format on

TEST_F(BaseRaidMonitorAdapters, GivenStatusesThenEventsResultAndHowFarTheComparisonGoes) {
    for (const StatusCase& c : kStatusCases) {
        SCOPED_TRACE(std::to_string(c.before) + " -> " + std::to_string(c.now));
        before->controllerStatus = c.before;
        now->controllerStatus = c.now;
        before->batStatus = kBatteryNormal;
        now->batStatus = kBatteryLow;
        monitor.pairs.clear();
        EXPECT_EQ(c.result, monitor.compareAdapter(room.events, now.get(), before.get()));
        std::string all = c.events;
        if (c.examined) all += all.empty() ? "214/2 299/2" : " 214/2 299/2";
        EXPECT_EQ(all, room.takeSummary());
        EXPECT_EQ(c.examined ? 1u : 0u, monitor.pairs.size());
    }
}

TEST_F(BaseRaidMonitorAdapters, GivenEqualAdaptersThenTheFamilyIsAskedWithNewAndOld) {
    EXPECT_EQ(12, monitor.compareAdapter(room.events, now.get(), before.get()));
    ASSERT_EQ(1u, monitor.pairs.size());
    EXPECT_EQ(now.get(), monitor.pairs[0].first);
    EXPECT_EQ(before.get(), monitor.pairs[0].second);
    EXPECT_EQ("", room.takeSummary());
    EXPECT_EQ("", room.takeDebugLog());
}

TEST_F(BaseRaidMonitorAdapters, GivenAControllerFailsThenStateThenFailedWithEveryField) {
    now->controllerStatus = 1;
    monitor.compareAdapter(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll({expected(299, 1, "EVENT_TORVEX_STATE_CHANGE",
                                    shown("agentEventInfControllerStateChange", {kPhrase})),
                           expected(202, 1, "EVENT_TORVEX_STATE_FAILED",
                                    shown("agentEventErrController", {kPhrase}))}),
              describeAll(room.take()));
}

TEST_F(BaseRaidMonitorAdapters, GivenAControllerComesBackThenReplacedWithEveryField) {
    before->controllerStatus = 7;
    monitor.compareAdapter(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll({expected(208, 3, "EVENT_TORVEX_STATE_REPLACED",
                                    shown("agentEventInfControllerReplace", {kPhrase}))}),
              describeAll(room.take()));
}

// Rows: old status 0 to 10, columns: new status 0 to 10. N new battery, L low, O normal again.
constexpr const char* kBatteryChanges[] = {
    ".....ONOL..",  // 0
    ".....ONOL..",  // 1
    ".....ONOL..",  // 2
    ".....ONOL..",  // 3
    ".....ONOL..",  // 4
    "......N.L..",  // 5: normal
    ".....O.OL..",  // 6: new
    "......N.L..",  // 7: normal as well
    ".....ONO...",  // 8: low
    ".....ONOL..",  // 9
    ".....ONOL..",  // 10
};

TEST_F(BaseRaidMonitorAdapters, GivenEveryPairOfBatteryStatusesThenThePairOfItsChange) {
    for (int oldStatus = 0; oldStatus <= 10; ++oldStatus) {
        for (int newStatus = 0; newStatus <= 10; ++newStatus) {
            SCOPED_TRACE(std::to_string(oldStatus) + " -> " + std::to_string(newStatus));
            before->batStatus = static_cast<EnumBatteryStatus>(oldStatus);
            now->batStatus = static_cast<EnumBatteryStatus>(newStatus);
            monitor.compareAdapter(room.events, now.get(), before.get());
            const char change = kBatteryChanges[oldStatus][newStatus];
            EXPECT_EQ(change == 'N'   ? "203/1 299/2"
                      : change == 'L' ? "214/2 299/2"
                      : change == 'O' ? "217/3 299/3"
                                      : "",
                      room.takeSummary());
            EXPECT_EQ(change == 'O', monitor.batteryStatusChangedToNormal(newStatus, oldStatus));
        }
    }
}

TEST_F(BaseRaidMonitorAdapters, GivenABatteryStatusThenACacheIsInstalledOrNot) {
    constexpr const char* kInstalled = "..+..+++++..";  // 0 to 11
    for (int status = 0; status <= 11; ++status) {
        now->batStatus = static_cast<EnumBatteryStatus>(status);
        EXPECT_EQ(kInstalled[status] == '+', monitor.isBatteryCacheInstalled(now.get())) << status;
    }
    now->batStatus = static_cast<EnumBatteryStatus>(-1);
    EXPECT_FALSE(monitor.isBatteryCacheInstalled(now.get()));
    EXPECT_FALSE(monitor.isBatteryCacheInstalled(nullptr));
}

struct BatteryPairCase {
    EnumBatteryStatus before, now;
    bool wasHot, isHot;
    const char* key;
    int code, severity, stateSeverity;
};

// clang-format off
constexpr BatteryPairCase kBatteryPairs[] = {
    // The new battery is an error, its companion a warning: they differ on purpose.
    {kBatteryNormal, kBatteryNew,    false, false, "agentEventErrBBCNewBattery",     203, 1, 2},
    {kBatteryNormal, kBatteryLow,    false, false, "agentEventWrnBatteryLow",        214, 2, 2},
    {kBatteryLow,    kBatteryNormal, false, false, "agentEventInfBatteryNormal",     217, 3, 3},
    {kBatteryNormal, kBatteryNormal, false, true,  "agentEventWrnBatteryOvertemp",   211, 2, 2},
    {kBatteryNormal, kBatteryNormal, true,  false, "agentEventInfBatteryTempNormal", 216, 3, 3},
};
// clang-format on

TEST_F(BaseRaidMonitorAdapters, GivenABatteryChangeThenSpecificAndStateEventWithEveryField) {
    for (const BatteryPairCase& c : kBatteryPairs) {
        SCOPED_TRACE(c.key);
        before->batStatus = c.before;
        now->batStatus = c.now;
        before->batTempWarning = c.wasHot;
        now->batTempWarning = c.isHot;
        EXPECT_EQ(12, monitor.compareAdapter(room.events, now.get(), before.get()));
        const std::string text = shown(c.key, {kPhrase});
        EXPECT_EQ(describeAll({expected(c.code, c.severity, "", text),
                               expected(299, c.stateSeverity, "EVENT_TORVEX_STATE_CHANGE", text)}),
                  describeAll(room.take()));
    }
}

struct HeatCase {
    EnumBatteryStatus battery;
    bool was, is;
    const char* events;
};

// clang-format off
constexpr HeatCase kHeatCases[] = {
    {kBatteryNormal, false, false, ""},
    {kBatteryNormal, true,  true,  ""},
    {kBatteryNormal, false, true,  "211/2 299/2"},
    {kBatteryNormal, true,  false, "216/3 299/3"},
    {kBatteryCharging, false, true, "211/2 299/2"},
    {kBatteryNone,   false, true,  ""},
    {kBatteryNone,   true,  false, ""},
    {EnumBatteryStatus(10), false, true, ""},
};
// clang-format on

TEST_F(BaseRaidMonitorAdapters, GivenBatteryHeatThenReportedOnlyWithABatteryOnTheNewAdapter) {
    for (const HeatCase& c : kHeatCases) {
        SCOPED_TRACE(std::to_string(c.battery) + (c.was ? " hot" : " cool") +
                     (c.is ? " -> hot" : " -> cool"));
        before->batStatus = c.battery;
        now->batStatus = c.battery;
        before->batTempWarning = c.was;
        now->batTempWarning = c.is;
        monitor.compareAdapter(room.events, now.get(), before.get());
        EXPECT_EQ(c.events, room.takeSummary());
    }
}

TEST_F(BaseRaidMonitorAdapters, GivenLowAndHotAtOnceThenChargeBeforeHeat) {
    before->batStatus = kBatteryNormal;
    now->batStatus = kBatteryLow;
    now->batTempWarning = true;
    monitor.compareAdapter(room.events, now.get(), before.get());
    EXPECT_EQ("214/2 299/2 211/2 299/2", room.takeSummary());
}

TEST_F(BaseRaidMonitorAdapters, GivenLogicalDrivesThenBadStripesAreFoundAnywhereBelow) {
    EXPECT_FALSE(monitor.checkBadStripes(nullptr));
    EXPECT_FALSE(monitor.checkBadStripes(now.get())) << "no logical drives";
    tree::hole(*now);
    LogicalDrive* outer = tree::logicalDrive(*now, 0);
    tree::drive(*tree::channel(*now, 0), 0);
    EXPECT_FALSE(monitor.checkBadStripes(now.get()));
    outer->badBlockCount = -1;
    EXPECT_FALSE(monitor.checkBadStripes(now.get())) << "only counts above 0";
    auto* inner = new LogicalDrive(now.get());
    inner->badBlockCount = 1;
    outer->addChild(inner);
    EXPECT_TRUE(monitor.checkBadStripes(now.get()));
}

TEST_F(BaseRaidMonitorAdapters, GivenBadStripesWhenComparedThenReportedOncePerInterval) {
    monitor.lastBadStripeReport = 0;  // never
    tree::logicalDrive(*now, 0)->badBlockCount = 3;
    EXPECT_EQ(12, monitor.compareAdapter(room.events, now.get(), before.get()));
    QELEvent event = expected(215, 2, "EVENT_TORVEX_CONTROLLER_BAD_STRIPES",
                              "agentEventWrnBadStripes[" + kPhrase + "][][][]");
    EXPECT_EQ(describeAll({event}), describeAll(room.take())) << "at the first poll";
    room.clock.advance(28799);
    monitor.compareAdapter(room.events, now.get(), before.get());
    EXPECT_EQ("", room.takeSummary());
    room.clock.advance(1);
    monitor.compareAdapter(room.events, now.get(), before.get());
    EXPECT_EQ("215/2", room.takeSummary());
}

TEST_F(BaseRaidMonitorAdapters, GivenTheTimerFiresWithoutBadStripesThenTheIntervalIsUsedUp) {
    monitor.lastBadStripeReport = 0;
    monitor.compareAdapter(room.events, now.get(), before.get());
    EXPECT_EQ(1, monitor.lastBadStripeReport);
    tree::logicalDrive(*now, 0)->badBlockCount = 1;
    room.clock.advance(28799);
    monitor.compareAdapter(room.events, now.get(), before.get());
    EXPECT_EQ("", room.takeSummary());
}

TEST_F(BaseRaidMonitorAdapters, GivenAControllerThatJustFailedThenTheStripeTimerIsNotAsked) {
    monitor.lastBadStripeReport = 0;
    now->controllerStatus = 1;
    monitor.compareAdapter(room.events, now.get(), before.get());
    EXPECT_EQ(0, monitor.lastBadStripeReport);
}

struct TemperatureCase {
    bool known;
    int temperature, limit;
    bool over;
};

// clang-format off
constexpr TemperatureCase kTemperatures[] = {
    {true,  84, 85, false},
    {true,  85, 85, true},
    {true,  86, 85, true},
    {true,  -5, -6, true},
    {true,  -7, -6, false},
    {true,   0,  0, true},
    {false, 99, 85, false},
};
// clang-format on

TEST_F(BaseRaidMonitorAdapters, GivenTemperatureAndLimitThenOverFromTheLimitOn) {
    for (const TemperatureCase& c : kTemperatures) {
        now->setFeature(kFeatureTemperature, c.known);
        now->temperature = c.temperature;
        now->temperatureLimit = c.limit;
        EXPECT_EQ(c.over, monitor.isAdapterOverTemparature(now.get()))
            << c.known << ' ' << c.temperature << ' ' << c.limit;
    }
    EXPECT_FALSE(monitor.isAdapterOverTemparature(nullptr));
}

TEST_F(BaseRaidMonitorAdapters, GivenANormalControllerWhenCheckedThenItsStateIsToldAllTheSame) {
    monitor.checkAdapter(room.events, now.get());
    EXPECT_EQ(describeAll({expected(299, 3, "EVENT_TORVEX_STATE_CHANGE",
                                    shown("agentEventInfControllerStateChange", {kPhrase}))}),
              describeAll(room.take()));
    EXPECT_TRUE(monitor.pairs.empty());
}

TEST_F(BaseRaidMonitorAdapters, GivenAControllerWithoutSerialThenItsPlaceStandsInForIt) {
    auto plain = tree::adapter(4);
    plain->pciBus = 3;
    plain->pciDevice = 2;
    plain->pciFunction = 1;
    monitor.checkAdapter(room.events, plain.get());
    const std::vector<QELEvent> events = room.take();
    ASSERT_EQ(1u, events.size());
    EXPECT_EQ("3-2-1", events[0].adapterSerial);
    EXPECT_EQ(4u, events[0].location.controllerID);
}

struct CheckCase {
    const char* when;
    int status;
    EnumBatteryStatus battery;
    bool hotBattery;
    int versionMatch;
    int temperature;  // the limit is 80
    int badStripes;
    const char* events;
};

// clang-format off
constexpr CheckCase kCheckCases[] = {
    {"failed: nothing else is looked at", 1, kBatteryLow, true, 1, 99, 5, "299/1 202/1"},
    {"another status is no failure",      2, kBatteryNone, false, 0, 0, 0, "299/3"},
    {"new battery",                       0, kBatteryNew, false, 0, 0, 0, "299/3 203/1 299/2"},
    {"low battery",                       0, kBatteryLow, false, 0, 0, 0, "299/3 214/2 299/2"},
    {"normal battery",                    0, kBatteryNormal, false, 0, 0, 0, "299/3"},
    {"hot battery",                       0, kBatteryOptimal, true, 0, 0, 0, "299/3 211/2 299/2"},
    {"low and hot",                       0, kBatteryLow, true, 0, 0, 0, "299/3 214/2 299/2 211/2 299/2"},
    {"hot, but there is no battery",      0, kBatteryNone, true, 0, 0, 0, "299/3"},
    {"versions do not match",             0, kBatteryNone, false, 1, 0, 0, "299/3 210/2"},
    {"another version indicator",         0, kBatteryNone, false, 2, 0, 0, "299/3"},
    {"too hot",                           0, kBatteryNone, false, 0, 80, 0, "299/3 213/2"},
    {"bad stripes",                       0, kBatteryNone, false, 0, 0, 1, "299/3 215/2"},
    {"all at once",                       2, kBatteryNew, true, 1, 81, 1,
     "299/3 203/1 299/2 211/2 299/2 210/2 213/2 215/2"},
};
// clang-format on

TEST_F(BaseRaidMonitorAdapters, GivenAConditionWhenCheckedThenItsEventsInOrder) {
    for (const CheckCase& c : kCheckCases) {
        SCOPED_TRACE(c.when);
        now = tree::adapter(1, "SN1");
        now->controllerStatus = c.status;
        now->batStatus = c.battery;
        now->batTempWarning = c.hotBattery;
        now->versionMatchStatus = c.versionMatch;
        now->setFeature(kFeatureTemperature, true);
        now->temperature = c.temperature;
        now->temperatureLimit = 80;
        tree::logicalDrive(*now, 0)->badBlockCount = c.badStripes;
        monitor.checkAdapter(room.events, now.get());
        EXPECT_EQ(c.events, room.takeSummary());
        EXPECT_EQ(1, monitor.lastBadStripeReport) << "a first look asks no timer";
    }
}

// The versions stay in the list of arguments, so that the texts of what follows may name them.
TEST_F(BaseRaidMonitorAdapters, GivenAVersionMismatchThenLaterTextsGetTheVersionsToo) {
    now->versionMatchStatus = 1;
    setText(now->biosVersion, "B1");
    setText(now->firmwareVersion, "F2");
    setText(now->deviceDriverVersion, "D3");
    now->setFeature(kFeatureTemperature, true);
    tree::logicalDrive(*now, 0)->badBlockCount = 1;
    monitor.checkAdapter(room.events, now.get());
    EXPECT_EQ(describeAll(
                  {expected(299, 3, "EVENT_TORVEX_STATE_CHANGE",
                            shown("agentEventInfControllerStateChange", {kPhrase})),
                   expected(210, 2, "EVENT_TORVEX_VERSION_MISMATCH",
                            shown("agentEventWrnMismatchedVersions", {kPhrase, "B1", "F2", "D3"})),
                   expected(213, 2, "EVENT_TORVEX_CONTROLLER_OVERTEMP",
                            shown("agentEventWrnControllerOvertemp", {kPhrase, "B1", "F2", "D3"})),
                   expected(215, 2, "EVENT_TORVEX_CONTROLLER_BAD_STRIPES",
                            shown("agentEventWrnBadStripes", {kPhrase, "B1", "F2", "D3"}))}),
              describeAll(room.take()));
}

TEST_F(BaseRaidMonitorAdapters, GivenNoMismatchThenTheOtherTextsGetNoVersions) {
    setText(now->biosVersion, "B1");
    now->setFeature(kFeatureTemperature, true);
    monitor.checkAdapter(room.events, now.get());
    const std::vector<QELEvent> events = room.take();
    ASSERT_EQ(2u, events.size());
    EXPECT_EQ("agentEventWrnControllerOvertemp[" + kPhrase + "][][][]", events[1].text);
}

}  // namespace
