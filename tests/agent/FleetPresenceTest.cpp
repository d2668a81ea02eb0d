#include "agent/fleet/FleetPresence.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/agent/FakeFleet.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

namespace {

constexpr char kMachine[] = "6f1a2b3c-0000-4000-8000-1234567890ab";

const FleetNames& names() {
    static const FleetNames all("RAIDWATCH", "raidwatch.v1");
    return all;
}

// One state folder, and the life of an agent on it.
class Life {
public:
    Life(FakeFleet& server, const std::string& folder, const std::string& host)
        : link(server), me(folder), presence(link, names(), me, 60), name(host) {}

    bool beat() { return presence.beat({name, 1, 1}); }

    FakeLink link;
    FleetIdentity me;
    FleetPresence presence;
    const std::string name;
};

class FleetPresenceTest : public testing::Test {
protected:
    FleetPresenceTest() { one.write("machine-id", std::string(kMachine) + "\n"); }

    // As when a disk image is copied.
    void copy(const TempDir& from, const TempDir& to) {
        for (const char* name : {"machine-id", "fleet-instances"}) {
            if (from.exists(name)) to.write(name, from.read(name));
        }
    }
    std::unique_ptr<Life> live(const TempDir& dir, const std::string& host) {
        return std::make_unique<Life>(server, dir.folder(), host);
    }
    FleetBeat holder() {
        return FleetBeat::of(
            server.buckets["RAIDWATCH_ALIVE"][FleetNames::aliveKey(kMachine)].value);
    }

    ManualClock clock;
    FakeFleet server;
    TempDir one;
    TempDir two;
};

TEST_F(FleetPresenceTest, GivenAFreePlaceThenItIsOurs) {
    auto a = live(one, "a");
    EXPECT_TRUE(a->beat());
    EXPECT_TRUE(a->beat());
    EXPECT_EQ("", a->presence.conflict());
    EXPECT_EQ("a", holder().host);
    EXPECT_EQ(a->me.instance(), holder().instance);
    EXPECT_EQ(0u, server.buckets["RAIDWATCH_ALIVE"].count(FleetNames::rivalKey(kMachine)));
}

TEST_F(FleetPresenceTest, GivenARestartThenTheNextLifeGoesOn) {
    EXPECT_TRUE(live(one, "a")->beat());
    auto next = live(one, "a");
    EXPECT_TRUE(next->beat());
    EXPECT_TRUE(next->beat());
    EXPECT_EQ("", next->presence.conflict());
}

TEST_F(FleetPresenceTest, GivenACopyOfTheIdThenThePlaceIsTakenAndBothKnow) {
    copy(one, two);
    auto a = live(one, "a");
    auto b = live(two, "b");
    EXPECT_TRUE(a->beat());
    EXPECT_FALSE(b->beat());
    EXPECT_TRUE(b->presence.isTaken());
    EXPECT_NE(std::string::npos, b->presence.conflict().find("two machines share the id " +
                                                             std::string(kMachine) + ": a (agent"));
    EXPECT_TRUE(a->beat());
    EXPECT_FALSE(a->presence.isTaken());
    EXPECT_NE(std::string::npos, a->presence.conflict().find(": b (agent "));
    EXPECT_EQ("a", holder().host) << "never merged";
}

TEST_F(FleetPresenceTest, GivenACopyThatStartedAfterAnEarlierLifeThenTheOriginalFindsOut) {
    auto a = live(one, "a");
    EXPECT_TRUE(a->beat());
    copy(one, two);  // with the instances of the original
    auto b = live(two, "b");
    EXPECT_TRUE(b->beat()) << "for the copy it looks like a restart";
    EXPECT_FALSE(a->beat());
    EXPECT_TRUE(a->presence.isTaken());
    EXPECT_TRUE(b->beat());
    EXPECT_NE("", b->presence.conflict());
}

// Memory and all: both go on with one instance and one revision.
TEST_F(FleetPresenceTest, GivenACopyOfARunningMachineThenOneOfThemFindsOut) {
    auto a = live(one, "a");
    EXPECT_TRUE(a->beat());
    copy(one, two);
    // The double beats: same instance, another random word.
    FleetBeat twin = holder();
    twin.host = "b";
    twin.beat = "other";
    std::string error;
    (void)a->link.put("RAIDWATCH_ALIVE", FleetNames::aliveKey(kMachine), twin.json(), nullptr,
                      error);
    const std::string before = a->me.instance();
    EXPECT_TRUE(a->beat());
    EXPECT_NE(before, a->me.instance()) << "a life of its own again";
    // And the double finds a stranger there.
    FleetIdentity twinIdentity(two.folder());
    EXPECT_FALSE(twinIdentity.isOwn(holder().instance));
}

TEST_F(FleetPresenceTest, GivenAnAnswerThatIsLostThenWeKnowOurOwnBeatAgain) {
    auto a = live(one, "a");
    EXPECT_TRUE(a->beat());
    const std::string instance = a->me.instance();
    for (int lost = 1; lost <= 3; ++lost) {
        server.loseAnswers = lost;
        for (int i = 0; i < lost; ++i) EXPECT_FALSE(a->beat());
        EXPECT_FALSE(a->presence.isTaken());
        EXPECT_TRUE(a->beat());
    }
    EXPECT_EQ(instance, a->me.instance());
    EXPECT_EQ("", a->presence.conflict());
}

TEST_F(FleetPresenceTest, GivenAHolderThatIsGoneThenThePlaceIsFreeAfterThreeOfItsBeats) {
    copy(one, two);
    auto b = live(two, "b");
    { EXPECT_TRUE(live(one, "a")->beat()); }
    EXPECT_FALSE(b->beat());
    clock.advance(180);
    EXPECT_FALSE(b->beat()) << "not yet";
    clock.advance(1);
    EXPECT_TRUE(b->beat());
    EXPECT_FALSE(b->presence.isTaken());
    EXPECT_EQ("b", holder().host);
}

TEST_F(FleetPresenceTest, GivenAHolderThatLivesThenThePlaceIsNeverFree) {
    copy(one, two);
    auto a = live(one, "a");
    auto b = live(two, "b");
    EXPECT_TRUE(a->beat());
    for (int i = 0; i < 10; ++i) {
        EXPECT_FALSE(b->beat());
        clock.advance(60);
        EXPECT_TRUE(a->beat());
    }
}

TEST_F(FleetPresenceTest, GivenACopyThatWasCuredThenNobodySpeaksOfItAnyMore) {
    copy(one, two);
    auto a = live(one, "a");
    EXPECT_TRUE(a->beat());
    EXPECT_FALSE(live(two, "b")->beat());
    two.write("machine-id", "7f1a2b3c-0000-4000-8000-1234567890ab\n");
    auto b = live(two, "b");
    EXPECT_TRUE(b->beat());
    EXPECT_EQ("", b->presence.conflict());
    EXPECT_TRUE(a->beat());
    EXPECT_NE("", a->presence.conflict()) << "said less than three beats ago";
    clock.advance(182);
    EXPECT_TRUE(a->beat());
    EXPECT_EQ("", a->presence.conflict());
}

TEST_F(FleetPresenceTest, GivenTwoSinksOfOneAgentThenTheyAreNoStrangers) {
    auto a = live(one, "a");
    auto other = live(one, "a");
    EXPECT_TRUE(a->beat());
    EXPECT_TRUE(other->beat());
    EXPECT_TRUE(a->beat());
    EXPECT_EQ("", a->presence.conflict());
    EXPECT_EQ("", other->presence.conflict());
}

TEST_F(FleetPresenceTest, GivenNoBucketThenItSaysSoAndNothingIsTaken) {
    server.hasBuckets = false;
    auto a = live(one, "a");
    EXPECT_FALSE(a->beat());
    EXPECT_TRUE(a->presence.lacksBucket());
    EXPECT_FALSE(a->presence.isTaken());
    server.hasBuckets = true;
    EXPECT_TRUE(a->beat());
}

TEST_F(FleetPresenceTest, GivenAServerThatIsAwayThenItSaysWhy) {
    server.isUp = false;
    auto a = live(one, "a");
    EXPECT_FALSE(a->beat());
    EXPECT_EQ("no answer", a->presence.problem());
    server.isUp = true;
    EXPECT_TRUE(a->beat());
    EXPECT_EQ("", a->presence.problem());
}

TEST_F(FleetPresenceTest, GivenABeatOfRubbishThenItIsAStrangerWithoutAName) {
    auto a = live(one, "a");
    std::string error;
    (void)a->link.put("RAIDWATCH_ALIVE", FleetNames::aliveKey(kMachine), "\x1b[2J{", nullptr,
                      error);
    EXPECT_FALSE(a->beat());
    EXPECT_EQ(std::string::npos, a->presence.conflict().find('\x1b'));
    clock.advance(181);
    EXPECT_TRUE(a->beat());
}

}  // namespace
