#include "agent/sinks/HookState.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "agent/sinks/SinkFactory.h"
#include "agent/state/StateJson.h"
#include "tests/agent/HookFixture.h"
#include "tests/agent/SinkFixture.h"

namespace {

TEST(HookState, TheStateFileGivesTheNamesOfDevices) {
    const TempDir dir;
    dir.write("state.json", stateJson(machine(2)).dump());
    const std::unique_ptr<MachineState> state = stateIn(dir.file("state.json"))();
    ASSERT_NE(nullptr, state);
    const HookDevices devices = hookDevices(driveEvent(), state.get());
    EXPECT_EQ("/dev/md127", devices.array);
    EXPECT_EQ("/dev/sdb", devices.drive);
    EXPECT_FALSE(devices.isSpare);
}

TEST(HookState, AFileThatIsMissingOrDamagedGivesNothing) {
    const TempDir dir;
    EXPECT_EQ(nullptr, stateIn(dir.file("state.json"))());
    for (const char* damaged : {"", "{", "[]", "{\"drives\": 7}"}) {
        dir.write("state.json", damaged);
        EXPECT_NO_THROW((void)stateIn(dir.file("state.json"))()) << damaged;
    }
    dir.write("state.json", "{");
    EXPECT_EQ(nullptr, stateIn(dir.file("state.json"))());
}

TEST(HookState, TheFactoryGivesItToHooks) {
    const HookFolder folder;
    folder.dir.write("state.json", stateJson(machine(2)).dump());
    SinkSettings settings = sinkSettings("page", "exec");
    if (geteuid() == 0) settings.texts["user"] = "root";
    settings.texts["style"] = "mdadm";
    settings.lists["command"] = {folder.script("hook", "echo \"$1|$2|$3\"")};
    const auto sink = makeSink(settings, {folder.dir.file("state.json"), ""});
    EXPECT_EQ("hook ended with status 0; it said: Fail|/dev/md127|/dev/sdb",
              sink->deliver(driveEvent(), "m:1").text);
}

}  // namespace
