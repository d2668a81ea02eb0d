// What a machine looks like to people, from recordings of real kernels and from simulated
// controllers.
#include "agent/state/StateBuilder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "storlib/VantLib.h"
#include "storlib/sources/MemorySource.h"
#include "storlib/sources/SteppedSource.h"
#include "tests/support/UnpackedRecording.h"

namespace {

constexpr std::int64_t kBegin = 1763700000;  // 2025-11-21

// A source that goes from step to step when the test says so.
class Steps {
public:
    explicit Steps(const std::string& name) {
        std::string error;
        lib = VantLib::open(name, error);
        if (!lib) throw std::runtime_error(error);
        source = dynamic_cast<SteppedSource*>(&lib->getSource());
        if (source == nullptr) throw std::runtime_error("no steps in " + name);
        source->setAutomatic(false);
    }

    bool next() { return source->advance(); }
    MachineState look(std::int64_t now) {
        EXPECT_EQ(lib->getSystemConfig().status, Ret::kOk) << lib->lastError();
        return builder.build(*lib, now);
    }

    StateBuilder builder;

private:
    std::unique_ptr<VantLib> lib;
    SteppedSource* source = nullptr;
};

class Recorded {
public:
    explicit Recorded(const std::string& name)
        : recording(name), steps("replay:" + recording.folder()) {}

    UnpackedRecording recording;
    Steps steps;
};

std::string scenario(const std::string& name) {
    return "scenario:" + std::string(QEL_SOURCE_DIR) + "/storlib/sources/scenarios/" + name +
           ".json";
}

// "md127 degraded 1/2 survives 0 of 1 [sda active, - missing] rebuild 41"
std::string line(const ArrayState& array) {
    std::string text = array.name + " " + array.level + " " + array.state + " " +
                       std::to_string(array.working) + "/" + std::to_string(array.devices) +
                       " survives " + std::to_string(array.survives) + " of " +
                       std::to_string(array.fullSurvives) + " [";
    for (const MemberState& member : array.members) {
        if (text.back() != '[') text += ", ";
        text += (member.name.empty() ? "-" : member.name) + " " + member.state;
    }
    text += "]";
    if (!array.task.kind.empty()) {
        text += " " + array.task.kind + " " + std::to_string(static_cast<int>(array.task.percent));
        if (array.task.waiting) text += " waiting";
    }
    return text;
}

std::vector<std::string> lines(const std::string& recording) {
    Recorded recorded(recording);
    std::vector<std::string> found;
    std::int64_t now = kBegin;
    do {
        const MachineState state = recorded.steps.look(now += 60);
        for (const ArrayState& array : state.arrays) found.push_back(line(array));
        if (state.arrays.empty()) found.push_back("no array");
    } while (recorded.steps.next());
    return found;
}

}  // namespace

std::string valuesOf(const EnclosureState& enclosure) {
    std::string text;
    for (const ElementState& element : enclosure.elements) {
        text += (text.empty() ? "" : " ") + std::to_string(element.value);
    }
    return text;
}

TEST(StateBuilder, GivenAMirrorWithSpareWhenAMemberFailsThenTellsWhatIsLeft) {
    const std::vector<std::string> expected = {
        "md0 RAID 1 normal 2/2 survives 1 of 1 [sdd active, sdb active, sda spare]",
        "md0 RAID 1 rebuilding 1/2 survives 0 of 1 [sdd active, sda rebuilding, sdb failed] "
        "rebuild 0",
        "md0 RAID 1 rebuilding 1/2 survives 0 of 1 [sdd active, sda rebuilding, sdb failed] "
        "rebuild 18",
        "md0 RAID 1 rebuilding 1/2 survives 0 of 1 [sdd active, sda rebuilding, sdb failed] "
        "rebuild 50",
        "md0 RAID 1 rebuilding 1/2 survives 0 of 1 [sdd active, sda rebuilding, sdb failed] "
        "rebuild 88",
        "md0 RAID 1 normal 2/2 survives 1 of 1 [sdd active, sda active, sdb failed]",
        "md0 RAID 1 normal 2/2 survives 1 of 1 [sdd active, sda active]",
        "md0 RAID 1 normal 2/2 survives 1 of 1 [sdd active, sda active]",
        "md0 RAID 1 normal 2/2 survives 1 of 1 [sdd active, sda active]",
        "md0 RAID 1 normal 2/2 survives 1 of 1 [sdd active, sda active, sdc spare]",
    };
    EXPECT_EQ(lines("raid1-spare"), expected);
}

TEST(StateBuilder, GivenADrivePulledWhenMdHasNotNoticedThenItIsMissingAllTheSame) {
    const std::string three =
        "md127 RAID 5 degraded 3/4 survives 0 of 1 [sda active, sdb active, - missing, sdd active]";
    const std::string two =
        "md127 RAID 5 failed 2/4 survives 0 of 1 [sda failed, sdb active, - missing, sdd active]";
    const std::vector<std::string> expected = {
        "md127 RAID 5 normal 4/4 survives 1 of 1 [sda active, sdb active, sdc active, sdd active]",
        three,
        three,
        three,
        two,
        two,
        "no array",
        "md127 volume failed 1/0 survives 0 of 0 [sdb active]",
    };
    EXPECT_EQ(lines("raid5-pull"), expected);
}

TEST(StateBuilder, GivenASasEnclosureWhenFanSupplyAndDriveGoThenSlotsStay) {
    Recorded recorded("sas-raid10");
    MachineState state = recorded.steps.look(kBegin);
    ASSERT_EQ(state.drives.size(), 4u);
    const DriveState& drive = state.drives[2];
    EXPECT_EQ(drive.key, "drive:RST9K2");
    EXPECT_EQ(drive.name, "drive 1:0:2");
    EXPECT_EQ(drive.osName, "sdc");
    EXPECT_EQ(drive.slot, 2);
    EXPECT_EQ(drive.slotName, "SLOT 2");
    EXPECT_EQ(drive.enclosure, "enclosure:ENC0000");
    EXPECT_EQ(drive.array, "array:0:0");
    EXPECT_EQ(drive.wwn, "5001122300000300");
    ASSERT_EQ(state.enclosures.size(), 1u);
    EXPECT_EQ(state.enclosures[0].slots, 6);
    EXPECT_EQ(state.enclosures[0].state, "normal");
    EXPECT_EQ(state.enclosures[0].elements.size(), 7u);
    EXPECT_EQ(valuesOf(state.enclosures[0]), "-1 -1 4200 4200 4200 31 31");
    EXPECT_EQ(state.phys.size(), 4u);
    EXPECT_EQ(state.phys[0].rate, "unknown");  // this machine does not tell
    ASSERT_EQ(state.controllers.size(), 2u);
    EXPECT_EQ(state.controllers[1].key, "controller:0000111122223333");

    ASSERT_TRUE(recorded.steps.next());  // a fan fails
    state = recorded.steps.look(kBegin + 60);
    EXPECT_EQ(state.enclosures[0].state, "degraded");
    EXPECT_EQ(state.arrays[0].state, "normal");
    EXPECT_EQ(valuesOf(state.enclosures[0]), "-1 -1 4200 -1 4200 31 31");
    ASSERT_TRUE(recorded.steps.next());  // a sensor gets hot
    EXPECT_EQ(valuesOf(recorded.steps.look(kBegin + 90).enclosures[0]), "-1 -1 4200 -1 4200 31 67");
    ASSERT_TRUE(recorded.steps.next());  // a drive is pulled
    state = recorded.steps.look(kBegin + 120);
    EXPECT_EQ(line(state.arrays[0]),
              "md0 RAID 10 degraded 3/4 survives 0 of 1 [sda active, sdb active, - missing, sdd "
              "active]");
    EXPECT_EQ(state.arrays[0].exposedSince, kBegin + 120);
    EXPECT_EQ(state.findDrive("drive:RST9K2"), nullptr);
}

TEST(StateBuilder, GivenAScenarioWhenTheSpareTakesOverThenTellsSpeedAndTimeLeft) {
    Steps steps(scenario("whole-story"));
    MachineState state = steps.look(kBegin);
    ASSERT_EQ(state.arrays.size(), 2u);
    EXPECT_EQ(state.arrays[0].name, "array 0:0");
    EXPECT_EQ(state.arrays[0].label, "projects");
    EXPECT_EQ(state.arrays[0].exposedSince, 0);
    EXPECT_EQ(state.arrays[0].spares, 1);
    EXPECT_EQ(state.drives[1].slotName, "slot 1");

    ASSERT_TRUE(steps.next());
    state = steps.look(kBegin + 60);
    EXPECT_TRUE(state.drives[1].predicted);
    EXPECT_EQ(state.arrays[0].survives, 1);

    ASSERT_TRUE(steps.next());
    state = steps.look(kBegin + 120);
    EXPECT_EQ(state.arrays[0].state, "degraded");
    EXPECT_EQ(state.arrays[0].survives, 0);
    EXPECT_EQ(state.arrays[0].exposedSince, kBegin + 120);

    ASSERT_TRUE(steps.next());
    state = steps.look(kBegin + 180);
    EXPECT_EQ(state.arrays[0].task.kind, "rebuild");
    EXPECT_EQ(state.arrays[0].task.startedAt, kBegin + 180);
    EXPECT_EQ(state.arrays[0].task.secondsLeft, -1);

    ASSERT_TRUE(steps.next());  // 20 percent in 600 seconds
    state = steps.look(kBegin + 780);
    EXPECT_EQ(state.arrays[0].task.percent, 20);
    EXPECT_EQ(state.arrays[0].task.secondsLeft, 2400);
    EXPECT_NEAR(state.arrays[0].task.megabytesPerSecond, 953344.0 / 2 * 0.2 / 600, 0.01);
    EXPECT_EQ(state.arrays[0].exposedSince, kBegin + 120);
}

TEST(StateBuilder, GivenTheLastRunWhenStartedAgainThenExposureGoesOn) {
    Steps steps(scenario("whole-story"));
    for (int i = 0; i < 2; ++i) ASSERT_TRUE(steps.next());
    MachineState before = steps.look(kBegin);
    ASSERT_EQ(before.arrays[0].exposedSince, kBegin);
    StateBuilder fresh;
    fresh.remember(before);
    steps.builder = fresh;
    EXPECT_EQ(steps.look(kBegin + 5000).arrays[0].exposedSince, kBegin);
}

TEST(StateBuilder, GivenNoTreeThenTellsOnlyThatItLooked) {
    VantLib lib(std::make_unique<MemorySource>());
    StateBuilder builder;
    const MachineState state = builder.build(lib, kBegin);
    EXPECT_EQ(state.polledAt, kBegin);
    EXPECT_EQ(state.polls, 1);
    EXPECT_TRUE(state.arrays.empty());
    EXPECT_TRUE(state.controllers.empty());
    EXPECT_FALSE(state.host.empty());
}
