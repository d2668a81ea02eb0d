#include "storlib/sources/SmartHealth.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/TempDir.h"

namespace {

struct AnswerCase {
    const char* answer;
    SmartHealth::Health health;
    int temperature = SmartHealth::kNoTemperature;
};

constexpr AnswerCase kAnswers[] = {
    {"{\"smart_status\": {\n \"passed\": true\n }}", SmartHealth::kGood},
    {"{\"smart_status\":{\"passed\":false,\"nvme\":{\"value\":4}}}", SmartHealth::kFailing},
    {"{\"smart_status\": {}, \"x\": {\"passed\": true}}", SmartHealth::kUnknown},
    {"{\"smart_status\": {\"passed\": null}}", SmartHealth::kUnknown},
    {"{\"smart_status\": {\"passed\"", SmartHealth::kUnknown},
    {"{\"power_mode\": \"STANDBY\"}", SmartHealth::kUnknown},
    {"", SmartHealth::kUnknown},
    {"{\"smart_status\": {\"passed\": true}, \"temperature\": {\"current\": 34}}",
     SmartHealth::kGood, 34},
    {"{\"temperature\": {\"current\": -7, \"lifetime_max\": 51}}", SmartHealth::kUnknown, -7},
    {"{\"temperature\": {\"current\": 255}}", SmartHealth::kUnknown},
    {"{\"temperature\": {\"current\": \"34\"}}", SmartHealth::kUnknown},
    {"{\"temperature\": 34, \"smart_status\": true}", SmartHealth::kUnknown},
    {"[34]", SmartHealth::kUnknown},
};

TEST(SmartHealth, GivenAnAnswerThenOnlyAClearOneCounts) {
    for (const AnswerCase& c : kAnswers) {
        EXPECT_EQ(c.health, SmartHealth::parse(c.answer).health) << c.answer;
        EXPECT_EQ(c.temperature, SmartHealth::parse(c.answer).temperature) << c.answer;
    }
}

LinuxDrive driveNamed(const std::string& name) {
    LinuxDrive drive;
    drive.kind = LinuxDrive::Kind::kScsi;
    drive.name = name;
    drive.path = "/sys/devices/x/block/" + name;
    drive.serial = "S" + name;
    return drive;
}

// A program in place of smartctl that notes its arguments.
std::string script(const TempDir& dir, const std::string& body) {
    const std::string path =
        dir.write("smartctl", "#!/bin/sh\necho \"$@\" >>'" + dir.file("asked") + "'\n" + body);
    EXPECT_EQ(0, ::chmod(path.c_str(), 0755));
    return path;
}

// Steps until nobody is asked any more; the program ends by itself, so this does too.
void stepUntilDone(SmartHealth& health, const std::vector<LinuxDrive>& drives, int questions) {
    for (int asked = 0; asked < questions;) {
        health.step(drives);
        if (!health.asks()) ++asked;
        ::usleep(1000);
    }
}

TEST(SmartHealth, GivenDrivesThenEachIsAskedInTurnAndOncePerInterval) {
    TempDir dir;
    const std::string program = script(dir,
                                       "t=31; p=true\n"
                                       "case \"$6\" in *sdb) p=false; t=47;; esac\n"
                                       "echo \"{\\\"smart_status\\\": {\\\"passed\\\": $p},"
                                       " \\\"temperature\\\": {\\\"current\\\": $t}}\"\n");
    SmartHealth health(program, 1000000);
    const std::vector<LinuxDrive> drives = {driveNamed("sda"), driveNamed("sdb")};
    EXPECT_EQ(SmartHealth::kUnknown, health.of(drives[0]));
    stepUntilDone(health, drives, 50);
    EXPECT_EQ(SmartHealth::kGood, health.of(drives[0]));
    EXPECT_EQ(SmartHealth::kFailing, health.of(drives[1]));
    EXPECT_EQ(31, health.temperatureOf(drives[0]));
    EXPECT_EQ(47, health.temperatureOf(drives[1]));
    EXPECT_EQ("--json -n standby -H -A /dev/sda\n--json -n standby -H -A /dev/sdb\n",
              dir.read("asked"));
    LinuxDrive other = drives[1];
    other.serial = "another drive in its place";
    EXPECT_EQ(SmartHealth::kUnknown, health.of(other));
    EXPECT_EQ(SmartHealth::kNoTemperature, health.temperatureOf(other));
}

TEST(SmartHealth, GivenNoProgramThenNobodyIsAsked) {
    SmartHealth health("", 0);
    health.step({driveNamed("sda")});
    EXPECT_FALSE(health.asks());
    SmartHealth missing("/nowhere/smartctl", 0);
    missing.step({driveNamed("sda")});
    EXPECT_EQ(SmartHealth::kUnknown, missing.of(driveNamed("sda")));
}

// Neither a step nor the end may wait for a program that hangs.
TEST(SmartHealth, GivenAProgramThatHangsThenNothingWaitsForIt) {
    TempDir dir;
    const std::string program = script(dir, "exec sleep 1000\n");
    const auto begin = ::time(nullptr);
    {
        SmartHealth health(program, 0);
        for (int i = 0; i < 20; ++i) health.step({driveNamed("sda"), driveNamed("sdb")});
        EXPECT_TRUE(health.asks());
    }
    EXPECT_LT(::time(nullptr) - begin, 20);
}

}  // namespace
