#include "agent/status/ObjectText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "agent/state/StateBuilder.h"
#include "storlib/VantLib.h"
#include "storlib/sources/SteppedSource.h"

namespace {

constexpr std::int64_t kBegin = 1763700000;

// The shipped story after `steps` steps, a minute apart.
MachineState story(int steps) {
    std::string error;
    const std::unique_ptr<VantLib> lib = VantLib::open(
        "scenario:" + std::string(QEL_SOURCE_DIR) + "/storlib/sources/scenarios/whole-story.json",
        error);
    if (!lib) throw std::runtime_error(error);
    auto& source = dynamic_cast<SteppedSource&>(lib->getSource());
    source.setAutomatic(false);
    StateBuilder builder;
    MachineState state;
    for (int i = 0; i <= steps; ++i) {
        if (i > 0) (void)source.advance();
        (void)lib->getSystemConfig();
        state = builder.build(*lib, kBegin + 600 * i);
    }
    return state;
}

}  // namespace

TEST(ObjectText, GivenARebuildingArrayThenTellsAllAboutIt) {
    EXPECT_EQ(objectText(story(4), "array:0:0", kBegin + 2400),
              "array             array 0:0\n"
              "called            projects\n"
              "state             rebuilding\n"
              "level             RAID 5\n"
              "size              931.0 GB\n"
              "drives            2 of 3 work\n"
              "survives          0 more drive failures (1 when all is well)\n"
              "exposed           20 min, since 2025-11-21 05:00:00\n"
              "task              rebuild 20 %, about 40 min left\n"
              "place 0           drive 0:0:0 active, slot 0, serial KQ-100\n"
              "no place          drive 0:0:1 failed, slot 1, serial KQ-101\n"
              "place 1           drive 0:0:2 active, slot 2, serial KQ-102\n"
              "no place          drive 0:0:3 rebuilding, slot 3, serial KQ-103\n"
              "key               array:0:0\n");
}

TEST(ObjectText, GivenAFailedDriveThenTellsWhichToPull) {
    EXPECT_EQ(objectText(story(2), "drive:KQ-101", kBegin),
              "drive             KOVA-PQ K500\n"
              "state             failed, foretells its failure\n"
              "belongs to        array 0:0\n"
              "serial number     KQ-101\n"
              "part number       39R7340\n"
              "size              465.8 GB\n"
              "place             0:0:1\n"
              "slot              slot 1 of enclosure 0:0:9\n"
              "key               drive:KQ-101\n");
}

TEST(ObjectText, GivenAnEnclosureAndAControllerThenTellsThem) {
    const MachineState state = story(0);
    const std::string enclosure = objectText(state, state.enclosures[0].key, kBegin);
    EXPECT_NE(enclosure.find("fan 2             normal\n"), std::string::npos) << enclosure;
    EXPECT_NE(enclosure.find("slot 3            spare  drive:KQ-103\n"), std::string::npos)
        << enclosure;
    const std::string controller = objectText(state, "controller:SN0116", kBegin);
    EXPECT_NE(controller.find("battery           normal\n"), std::string::npos) << controller;
    EXPECT_NE(controller.find("temperature       48 degrees Celsius\n"), std::string::npos)
        << controller;
}

TEST(ObjectText, GivenNoSuchKeyThenNothing) {
    EXPECT_EQ(objectText(story(0), "drive:KQ", kBegin), "");
    EXPECT_TRUE(objectJson(story(0), "drive:KQ").is_null());
    EXPECT_EQ(objectJson(story(0), "drive:KQ-100")["serial"], "KQ-100");
}

TEST(ObjectText, GivenTroubleThenItStandsOnTopOfEachTable) {
    MachineState state = story(0);
    state.drives.back().state = "failed";
    state.drives[2].predicted = true;
    const std::string drives = listText(state, "drives", kBegin);
    const std::size_t first = drives.find("1:0:1 ");
    EXPECT_EQ(drives.find('\n') + 1, first) << drives;
    EXPECT_EQ(drives.find('\n', first) + 1, drives.find("0:0:2 ")) << drives;
    EXPECT_NE(drives.find("  predicted  "), std::string::npos) << drives;
    state.arrays.back().state = "degraded";
    const std::string arrays = listText(state, "arrays", kBegin);
    EXPECT_LT(arrays.find("array 1:0"), arrays.find("array 0:0")) << arrays;
    EXPECT_EQ("drive 0:0:0", listJson(state, "drives")[0]["name"]) << "programs get them by place";
}

TEST(ObjectText, GivenEachKindThenATableWithAHeading) {
    const MachineState state = story(4);
    EXPECT_EQ(listText(state, "arrays", kBegin + 2400),
              "NAME       LEVEL   SIZE      STATE       DRIVES  SURVIVES  EXPOSED\n"
              "array 0:0  RAID 5  931.0 GB  rebuilding  2/3     0         20 min\n"
              "array 1:0  RAID 1  68.4 GB   normal      2/2     1         -\n");
    EXPECT_EQ(listText(state, "tasks", kBegin + 2400),
              "ARRAY      TASK     DONE  LEFT    RUNS FOR\n"
              "array 0:0  rebuild  20 %  40 min  10 min\n");
    EXPECT_EQ(listText(state, "phys", kBegin), "no phys\n");
    for (const std::string& kind : listKinds()) {
        EXPECT_FALSE(listText(state, kind, kBegin).empty()) << kind;
        EXPECT_TRUE(listJson(state, kind).is_array()) << kind;
        EXPECT_EQ(listText(MachineState(), kind, kBegin), "no " + kind + "\n");
    }
    EXPECT_EQ(listJson(state, "tasks").size(), 1u);
    EXPECT_EQ(listJson(state, "drives").size(), 6u);
}
