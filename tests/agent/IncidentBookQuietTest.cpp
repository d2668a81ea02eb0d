// What keeps an incident from people and what brings it back: acknowledgements, silences,
// reminders.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/agent/IncidentBench.h"

namespace {

using incident_bench::Bench;
using incident_bench::kDay;
using incident_bench::kHour;
using incident_bench::kMinute;
using incident_bench::kStart;
using incident_bench::silence;
using incident_bench::Words;

TEST(IncidentBookQuiet, GivenAnAcknowledgementThenOnlyAWorseValueEndsIt) {
    Bench bench;
    bench.setArray("degraded", 1);
    (void)bench.look();
    (void)bench.told();
    IncidentBook::Effect effect;
    EXPECT_FALSE(bench.book.acknowledge(99, "ann", "", 0, bench.now, effect));
    ASSERT_TRUE(bench.book.acknowledge(1, "ann", "drive is on its way", 0, bench.now, effect));
    ASSERT_EQ(1u, effect.changed.size());
    EXPECT_EQ("degraded", effect.changed[0].ackValue);
    for (int day = 0; day < 30; ++day) {
        (void)bench.pass(kDay);
        (void)bench.onArray(301);
        (void)bench.look();
    }
    EXPECT_EQ(Words(), bench.told());
    EXPECT_EQ("ann", bench.only().ackBy);
    bench.setArray("offline", 0);
    (void)bench.onArray(303);
    EXPECT_EQ((Words{"worse md0 offline"}), bench.told());
    EXPECT_FALSE(bench.only().acknowledged());
    EXPECT_EQ("", bench.only().ackComment);
}

TEST(IncidentBookQuiet, GivenAnAcknowledgementAndLessRedundancyThenItEnds) {
    Bench bench;
    bench.setArray("degraded", 1);
    (void)bench.look();
    (void)bench.told();
    IncidentBook::Effect effect;
    (void)bench.book.acknowledge(1, "ann", "", 0, bench.now, effect);
    bench.setArray("degraded", 0);
    ++bench.now;
    (void)bench.look();
    EXPECT_EQ((Words{"worse md0 degraded"}), bench.told());
    EXPECT_FALSE(bench.only().acknowledged());
}

TEST(IncidentBookQuiet, GivenAnAcknowledgedProblemEndsThenThatIsTold) {
    Bench bench;
    (void)bench.onArray(301);
    IncidentBook::Effect effect;
    (void)bench.book.acknowledge(1, "ann", "", 0, bench.now, effect);
    (void)bench.told();
    (void)bench.pass(5 * kHour);
    (void)bench.onArray(304);
    EXPECT_EQ(Words(), bench.told());
    (void)bench.pass(5 * kHour);
    (void)bench.onArray(345);
    EXPECT_EQ((Words{"resolved md0 normal"}), bench.told());
}

TEST(IncidentBookQuiet, GivenAnAcknowledgementRunsOutThenItIsRemindedOf) {
    Bench bench;
    (void)bench.onArray(301);
    IncidentBook::Effect effect;
    (void)bench.book.acknowledge(1, "ann", "", bench.now + kHour, bench.now, effect);
    (void)bench.told();
    (void)bench.pass(kHour - 1);
    EXPECT_EQ(Words(), bench.told());
    (void)bench.pass(1);
    EXPECT_EQ((Words{"reminder md0 degraded"}), bench.told());
    EXPECT_FALSE(bench.only().acknowledged());
}

TEST(IncidentBookQuiet, GivenItIsTakenBackThenRemindersGoOn) {
    Bench bench;
    (void)bench.onArray(301);
    IncidentBook::Effect effect;
    (void)bench.book.acknowledge(1, "ann", "", 0, bench.now, effect);
    (void)bench.pass(10 * kDay);
    EXPECT_TRUE(bench.book.unacknowledge(1, bench.now, effect));
    EXPECT_FALSE(bench.book.unacknowledge(2, bench.now, effect));
    (void)bench.told();
    (void)bench.pass(kDay);
    EXPECT_EQ((Words{"reminder md0 degraded"}), bench.told());
}

TEST(IncidentBookQuiet, GivenNobodyAnswersThenRemindersBackOff) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.told();
    std::vector<std::int64_t> days;
    for (int day = 1; day <= 30; ++day) {
        (void)bench.pass(kDay);
        if (!bench.told().empty()) days.push_back(day);
    }
    EXPECT_EQ((std::vector<std::int64_t>{1, 3, 7, 14, 21, 28}), days);

    AgentSettings quiet;
    quiet.reminders.clear();
    Bench never(quiet);
    (void)never.onArray(301);
    (void)never.pass(100 * kDay);
    EXPECT_EQ((Words{"opened md0 degraded"}), never.told());
}

TEST(IncidentBookQuiet, GivenASilenceThenNothingIsToldUntilItEnds) {
    for (const char* object : {"array:0:0", ""}) {
        Bench bench;
        bench.silences = {silence(object, kStart, kStart + kHour)};
        (void)bench.onArray(301);
        (void)bench.pass(kHour - 1);
        EXPECT_EQ(Words(), bench.told());
        EXPECT_FALSE(bench.only().told());
        (void)bench.pass(1);
        EXPECT_EQ((Words{"opened md0 degraded"}), bench.told());
        (void)bench.pass(1);
        EXPECT_EQ(Words(), bench.told());
    }
}

TEST(IncidentBookQuiet, GivenItIsOverBeforeTheSilenceEndsThenNobodyHearsOfIt) {
    Bench bench;
    bench.silences = {silence("", kStart, kStart + kHour)};
    (void)bench.onArray(301);
    (void)bench.pass(10 * kMinute);
    (void)bench.onArray(345);
    (void)bench.pass(5 * kHour);
    EXPECT_EQ(Words(), bench.told());
    EXPECT_TRUE(bench.book.open().empty());
}

TEST(IncidentBookQuiet, GivenItGetsWorseDuringASilenceThenOneMessageTellsHowItStands) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.told();
    bench.silences = {silence("array:0:0", kStart, kStart + kHour)};
    (void)bench.onArray(303);
    (void)bench.pass(30 * kMinute);
    EXPECT_EQ(Words(), bench.told());
    (void)bench.pass(30 * kMinute);
    EXPECT_EQ((Words{"worse md0 offline"}), bench.told());
}

TEST(IncidentBookQuiet, GivenItEndsDuringASilenceThenWhoHeardOfItHearsOfItsEndAfterwards) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.told();
    bench.silences = {silence("array:0:0", kStart, kStart + 5 * kHour)};
    (void)bench.pass(2 * kHour);
    (void)bench.onArray(345);
    (void)bench.pass(2 * kHour);
    EXPECT_EQ(Words(), bench.told());
    EXPECT_EQ("normal", bench.only().value);
    (void)bench.pass(kHour);
    EXPECT_EQ((Words{"resolved md0 normal"}), bench.told());
    EXPECT_EQ("RESOLVED md0 on stor7: normal again after 2 h", bench.last.subject);
    EXPECT_TRUE(bench.book.open().empty());
}

TEST(IncidentBookQuiet, GivenWhatHasNoEndDuringALongSilenceThenItIsToldAfterwards) {
    Bench bench;
    bench.silences = {silence("", kStart, kStart + 3 * kDay)};
    (void)bench.onDrive(418, 1);
    for (int hour = 0; hour < 71; ++hour) (void)bench.pass(kHour);
    EXPECT_EQ(Words(), bench.told());
    (void)bench.pass(kHour);
    EXPECT_EQ((Words{"opened drive 1:0:1 bad block"}), bench.told());
    (void)bench.pass(1);
    EXPECT_TRUE(bench.book.open().empty());
}

TEST(IncidentBookQuiet, GivenItFlapsDuringASilenceAndIsBadAtItsEndThenThatIsToldAtOnce) {
    Bench bench;
    bench.silences = {silence("", kStart, kStart + kHour)};
    for (int i = 0; i < 5; ++i) {
        (void)bench.onDrive(401, 77);
        (void)bench.pass(5 * kMinute);
        (void)bench.onDrive(403, 77);
        (void)bench.pass(5 * kMinute);
    }
    (void)bench.onDrive(401, 77);
    EXPECT_TRUE(bench.only().flapping);
    EXPECT_EQ(Words(), bench.told());
    (void)bench.pass(10 * kMinute);
    EXPECT_EQ((Words{"opened drive 1:0:77 failed"}), bench.told());
}

TEST(IncidentBookQuiet, GivenASilenceOfAnotherObjectThenItIsTold) {
    Bench bench;
    bench.silences = {silence("array:0:1", kStart, kStart + kHour)};
    (void)bench.onArray(301);
    EXPECT_EQ((Words{"opened md0 degraded"}), bench.told());
}

}  // namespace
