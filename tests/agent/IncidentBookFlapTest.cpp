// What comes and goes: how often people hear of it.
#include <gtest/gtest.h>

#include <string>

#include "tests/agent/IncidentBench.h"

namespace {

using incident_bench::Bench;
using incident_bench::kDay;
using incident_bench::kHour;
using incident_bench::kMinute;
using incident_bench::Words;

struct Flap {
    const char* name;
    int bad;
    int good;
    int device;
    std::int64_t period;
};

TEST(IncidentBookFlap, GivenSomethingFlapsAHundredTimesThenThreeMessagesAreMade) {
    constexpr Flap kRows[] = {
        {"a spare, each second", 401, 407, 4, 1},
        {"a spare, each poll", 401, 407, 4, 5},
        {"a spare, each five minutes", 408, 407, 4, 5 * kMinute},
        {"an unknown drive, each twenty minutes", 401, 403, 77, 20 * kMinute},
        {"an unused drive that is pulled and put back", 408, 407, 5, 30},
        {"a drive with bad blocks", 418, 422, 1, 10},
    };
    for (const Flap& row : kRows) {
        Bench bench;
        (void)bench.look();
        for (int i = 0; i < 100; ++i) {
            (void)bench.onDrive(row.bad, row.device);
            (void)bench.pass(row.period / 2);
            (void)bench.onDrive(row.good, row.device);
            (void)bench.pass(row.period - row.period / 2);
        }
        EXPECT_EQ(2u, bench.kept.size()) << row.name;
        (void)bench.pass(kHour);
        const Words told = bench.told();
        ASSERT_EQ(3u, told.size()) << row.name;
        EXPECT_EQ("opened", told[0].substr(0, 6)) << row.name;
        EXPECT_EQ("flapping", told[1].substr(0, 8)) << row.name;
        EXPECT_EQ("resolved", told[2].substr(0, 8)) << row.name;
        EXPECT_TRUE(bench.book.open().empty()) << row.name;
    }
}

TEST(IncidentBookFlap, GivenAMemberFlapsAHundredTimesThenThreeMessagesAreMadeOfItsArray) {
    Bench bench;
    (void)bench.look();
    for (int i = 0; i < 100; ++i) {
        bench.setArray("degraded", 1);
        bench.state.drives[1].state = "failed";
        bench.state.polledAt = ++bench.now;
        (void)bench.onArray(301);
        (void)bench.onDrive(401, 1);
        (void)bench.look();
        bench.setArray("rebuilding", 1);
        bench.state.drives[1].state = "rebuilding";
        bench.state.polledAt = ++bench.now;
        (void)bench.onArray(304);
        (void)bench.onDrive(403, 1);
        (void)bench.look();
        bench.setArray("normal", 2);
        bench.state.drives[1].state = "normal";
        bench.state.polledAt = ++bench.now;
        (void)bench.onArray(345);
        (void)bench.look();
        (void)bench.pass(7);
    }
    (void)bench.pass(kHour);
    EXPECT_EQ((Words{"opened md0 degraded", "flapping md0 degraded", "resolved md0 normal"}),
              bench.told());
}

TEST(IncidentBookFlap, GivenItFlapsAndStaysBadThenThatIsToldWhenItHeldStill) {
    Bench bench;
    for (int i = 0; i < 10; ++i) {
        (void)bench.onDrive(401, 77);
        (void)bench.pass(10);
        (void)bench.onDrive(403, 77);
        (void)bench.pass(10);
    }
    (void)bench.onDrive(401, 77);
    (void)bench.told();
    (void)bench.pass(kHour - 1);
    EXPECT_EQ(Words(), bench.told());
    (void)bench.pass(1);
    EXPECT_EQ((Words{"updated drive 1:0:77 failed"}), bench.told());
    EXPECT_FALSE(bench.only().flapping);
}

TEST(IncidentBookFlap, GivenItGetsWorseThanEverWhileFlappingThenThatIsToldAtOnce) {
    Bench bench;
    for (int i = 0; i < 10; ++i) {
        (void)bench.onArray(301);
        (void)bench.pass(10);
        (void)bench.onArray(345);
        (void)bench.pass(10);
    }
    (void)bench.told();
    (void)bench.onArray(303);
    (void)bench.pass(10);
    (void)bench.onArray(345);
    (void)bench.onArray(303);
    EXPECT_EQ((Words{"worse md0 offline"}), bench.told());
}

TEST(IncidentBookFlap, GivenNoFlapWindowThenGoodNewsAreToldAtOnce) {
    AgentSettings settings;
    settings.flapWindow = 0;
    Bench bench(settings);
    for (int i = 0; i < 3; ++i) {
        (void)bench.onArray(301);
        (void)bench.onArray(345);
    }
    EXPECT_EQ(6u, bench.told().size());
}

TEST(IncidentBookFlap, GivenAShortProblemThenItsEndIsToldAfterAQuarterOfTheWindow) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.pass(10 * kMinute);
    (void)bench.onArray(345);
    (void)bench.told();
    EXPECT_EQ("normal", bench.only().value);
    (void)bench.pass(15 * kMinute - 1);
    EXPECT_EQ(Words(), bench.told());
    (void)bench.pass(1);
    EXPECT_EQ((Words{"resolved md0 normal"}), bench.told());
    EXPECT_EQ("RESOLVED md0 on stor7: normal again after 10 min", bench.last.subject);
}

TEST(IncidentBookFlap, GivenAProblemOfAQuarterOfTheWindowThenItsEndIsToldAtOnce) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.pass(15 * kMinute);
    (void)bench.onArray(345);
    EXPECT_EQ((Words{"opened md0 degraded", "resolved md0 normal"}), bench.told());
}

TEST(IncidentBookFlap, GivenItComesBackSoonAfterItsEndWasToldThenItFlapsFromTheBeginning) {
    for (const std::int64_t quiet : {16 * kMinute, 30 * kMinute, kHour - kMinute}) {
        Bench bench;
        for (int i = 0; i < 100; ++i) {
            (void)bench.onDrive(401, 77);
            (void)bench.pass(quiet);
            (void)bench.onDrive(403, 77);
            (void)bench.pass(quiet);
        }
        EXPECT_EQ((Words{"opened drive 1:0:77 failed", "resolved drive 1:0:77 replaced",
                         "opened drive 1:0:77 failed"}),
                  bench.told());
        EXPECT_EQ(0u, bench.last.body.find("This was over a short time ago and is back."));
        EXPECT_TRUE(bench.only().flapping);
        (void)bench.pass(kHour);
        EXPECT_EQ((Words{"resolved drive 1:0:77 replaced"}), bench.told());
    }
}

TEST(IncidentBookFlap, GivenItComesBackSoonAndIsWorseThanEverThenThatIsToldAtOnce) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.pass(20 * kMinute);
    (void)bench.onArray(345);
    (void)bench.pass(20 * kMinute);
    (void)bench.onArray(301);
    (void)bench.told();
    (void)bench.onArray(303);
    EXPECT_EQ((Words{"worse md0 offline"}), bench.told());
}

TEST(IncidentBookFlap, GivenItComesBackLaterThenItIsAnOrdinaryProblem) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.pass(20 * kMinute);
    (void)bench.onArray(345);
    (void)bench.pass(kHour);
    (void)bench.onArray(301);
    EXPECT_FALSE(bench.only().flapping);
}

TEST(IncidentBookFlap, GivenTheClockIsSetBackThenEndAndRemindersComeInTime) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.told();
    bench.now -= 1000 * kDay;
    (void)bench.pass(0);
    (void)bench.pass(kDay);
    EXPECT_EQ((Words{"reminder md0 degraded"}), bench.told());
    (void)bench.onArray(345);
    EXPECT_EQ((Words{"resolved md0 normal"}), bench.told());
}

// A mirror of mirrors survives as little with two drives lost as with one, and is called the same.
TEST(IncidentBookFlap, GivenOneMoreDriveWhileTheArrayStaysAsItIsThenItIsToldWhateverHoldsItBack) {
    for (const bool isFlapping : {false, true}) {
        Bench bench;
        (void)bench.look();
        bench.setArray("degraded", 0);
        (void)bench.onDrive(401, 1);
        if (isFlapping) {
            for (int i = 0; i < 5; ++i) {
                (void)bench.onArray(345);
                (void)bench.onArray(301);
            }
            EXPECT_TRUE(bench.only().flapping);
        }
        IncidentBook::Effect effect;
        (void)bench.book.acknowledge(1, "ann", "", 0, bench.now, effect);
        (void)bench.onDrive(401, 1);
        EXPECT_TRUE(bench.only().acknowledged());
        (void)bench.told();
        (void)bench.onDrive(401, 2);
        EXPECT_EQ((Words{"updated md0 degraded"}), bench.told());
        EXPECT_FALSE(bench.only().acknowledged());
        EXPECT_NE(std::string::npos, bench.last.body.find("serial S2"));
        (void)bench.onDrive(401, 2);
        EXPECT_EQ(Words(), bench.told());
    }
}

}  // namespace
