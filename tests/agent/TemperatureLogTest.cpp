#include "agent/state/TemperatureLog.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr std::int64_t kStart = 1763700000;

MachineState machineAt(std::int64_t when, int drive, std::vector<int> sensors = {}) {
    MachineState machine;
    machine.polledAt = when;
    machine.drives.resize(1);
    machine.drives[0].key = "drive:S1";
    machine.drives[0].temperature = drive;
    machine.enclosures.resize(1);
    machine.enclosures[0].key = "enclosure:E1";
    for (const int degrees : sensors) {
        machine.enclosures[0].elements.push_back({"temperature", "temperature", "normal", degrees});
    }
    machine.enclosures[0].elements.push_back({"fan", "fan 1", "normal", 5000});
    return machine;
}

std::string words(const TemperatureLog& log, const std::string& key) {
    std::string text;
    for (const TemperatureLog::Sample& sample : log.of(key)) {
        text += std::to_string(sample.at - kStart) + ":" + std::to_string(sample.degrees) + " ";
    }
    return text;
}

}  // namespace

TEST(TemperatureLog, GivenPollsThenTakesASampleEveryTenMinutes) {
    TemperatureLog log;
    EXPECT_FALSE(log.note(MachineState()));  // no poll has completed
    EXPECT_TRUE(log.note(machineAt(kStart, 31)));
    EXPECT_FALSE(log.note(machineAt(kStart + 599, 99)));
    EXPECT_TRUE(log.note(machineAt(kStart + 600, 32)));
    EXPECT_EQ(words(log, "drive:S1"), "0:31 600:32 ");
    EXPECT_EQ(words(log, "enclosure:E1"), "");
    EXPECT_EQ(words(log, "nobody"), "");
}

TEST(TemperatureLog, GivenSeveralSensorsThenTheWarmestCountsAndAFanDoesNot) {
    TemperatureLog log;
    (void)log.note(machineAt(kStart, -1, {27, 41, -1, 30}));
    EXPECT_EQ(words(log, "enclosure:E1"), "0:41 ");
    EXPECT_EQ(words(log, "drive:S1"), "");
}

TEST(TemperatureLog, GivenSomethingThatTellsNothingForAWhileThenThatTimeHasNoSample) {
    TemperatureLog log;
    (void)log.note(machineAt(kStart, 31));
    (void)log.note(machineAt(kStart + 600, -1, {20}));
    (void)log.note(machineAt(kStart + 1200, 33, {21}));
    EXPECT_EQ(words(log, "drive:S1"), "0:31 1200:33 ");
    EXPECT_EQ(words(log, "enclosure:E1"), "600:20 1200:21 ");
}

TEST(TemperatureLog, GivenTwoDaysThenWhatIsOlderGoes) {
    TemperatureLog log;
    (void)log.note(machineAt(kStart, 31, {20}));
    (void)log.note(machineAt(kStart + 600, 32));
    (void)log.note(machineAt(kStart + 600 + TemperatureLog::kKeptSeconds, 33));
    EXPECT_EQ(words(log, "drive:S1"), "600:32 173400:33 ");
    EXPECT_EQ(words(log, "enclosure:E1"), "");
    EXPECT_EQ(log.text().find("enclosure"), std::string::npos);
}

TEST(TemperatureLog, GivenAClockThatWasSetBackThenWhatIsAheadOfItGoes) {
    TemperatureLog log;
    (void)log.note(machineAt(kStart, 31));
    (void)log.note(machineAt(kStart + 7200, 40));
    EXPECT_TRUE(log.note(machineAt(kStart + 3600, 35)));
    EXPECT_EQ(words(log, "drive:S1"), "0:31 3600:35 ");
}

TEST(TemperatureLog, GivenItsTextThenReadsTheSameAgain) {
    TemperatureLog log;
    (void)log.note(machineAt(kStart, 31));
    (void)log.note(machineAt(kStart + 600, -1, {20}));
    EXPECT_EQ(log.text(),
              "{\"at\":[1763700000,1763700600],"
              "\"of\":{\"drive:S1\":[31,-1],\"enclosure:E1\":[-1,20]}}\n");
    TemperatureLog again = TemperatureLog::parse(log.text());
    EXPECT_EQ(again.text(), log.text());
    EXPECT_FALSE(again.note(machineAt(kStart + 700, 50)));
}

TEST(TemperatureLog, GivenATextThatIsNoneOfOursThenIsEmptyAndGoesOn) {
    for (const char* text : {"", "[]", "{", "7", R"({"at": [1]})", R"({"at": 7, "of": {}})",
                             R"({"at": [2, 1], "of": {}})", R"({"at": ["1"], "of": {}})",
                             R"({"at": [1], "of": []})"}) {
        TemperatureLog log = TemperatureLog::parse(text);
        EXPECT_EQ(log.text(), "{\"at\":[],\"of\":{}}\n") << text;
        EXPECT_TRUE(log.note(machineAt(kStart, 31))) << text;
    }
    // A list that does not belong to the times is left out, the others stay.
    const TemperatureLog log = TemperatureLog::parse(
        R"({"at": [1763700000], "of": {"a": [1, 2], "b": "x", "drive:S1": [30]}})");
    EXPECT_EQ(log.text(), "{\"at\":[1763700000],\"of\":{\"drive:S1\":[30]}}\n");
}
