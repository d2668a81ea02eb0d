#include "agent/state/StateJson.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/state/StateBuilder.h"
#include "storlib/VantLib.h"

namespace {

using Json = nlohmann::ordered_json;

MachineState someMachine() {
    std::string error;
    const std::unique_ptr<VantLib> lib = VantLib::open(
        "scenario:" + std::string(QEL_SOURCE_DIR) + "/storlib/sources/scenarios/whole-story.json",
        error);
    if (!lib) throw std::runtime_error(error);
    (void)lib->getSystemConfig();
    MachineState state = StateBuilder().build(*lib, 1763700000);
    state.source = "scenario";
    state.arrays[0].task.kind = "rebuild";
    state.arrays[0].task.percent = 41.5;
    return state;
}

}  // namespace

TEST(StateJson, GivenAStateWhenWrittenAndReadThenNothingIsLost) {
    const Json json = stateJson(someMachine());
    EXPECT_EQ(stateJson(stateFromJson(json)), json);
    EXPECT_EQ(json["arrays"][0]["members"].size(), 4u);
    EXPECT_EQ(json["arrays"][0]["task"]["percent"], 41.5);
    EXPECT_TRUE(json["arrays"][1]["task"].is_null());
    EXPECT_EQ(json["drives"].size(), 6u);
    EXPECT_EQ(json["enclosures"][0]["elements"].size(), 5u);
}

TEST(StateJson, GivenUnknownAndMissingMembersThenTheyDoNotMatter) {
    const MachineState state = stateFromJson(Json::parse(
        R"({"polledAt": 7, "new": [1], "arrays": [{"name": "md0", "colour": "red"}]})"));
    EXPECT_EQ(state.polledAt, 7);
    ASSERT_EQ(state.arrays.size(), 1u);
    EXPECT_EQ(state.arrays[0].name, "md0");
    EXPECT_EQ(state.arrays[0].survives, -1);
}

TEST(StateJson, GivenAnotherShapeThenSaysSo) {
    for (const char* text : {"[]", "7", R"({"arrays": 7})", R"({"polledAt": "now"})",
                             R"({"drives": [7]})", R"({"arrays": [{"members": [[]]}]})"}) {
        EXPECT_THROW((void)stateFromJson(Json::parse(text)), Failure) << text;
    }
}
