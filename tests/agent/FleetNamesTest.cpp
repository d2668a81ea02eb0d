#include "agent/fleet/FleetNames.h"

#include <gtest/gtest.h>

#include "tests/agent/SinkFixture.h"

namespace {

constexpr char kMachine[] = "6f1a2b3c-0000-4000-8000-1234567890ab";

const FleetNames& names() {
    static const FleetNames all("RAIDWATCH", "raidwatch.v1");
    return all;
}

TEST(FleetNames, SubjectHasTheMachineTheKindAndTheSeverity) {
    const std::string begin = std::string("raidwatch.v1.") + kMachine;
    EXPECT_EQ(begin + ".event.error", names().subject(kMachine, driveEvent(401, kEventError)));
    EXPECT_EQ(begin + ".event.warning", names().subject(kMachine, driveEvent(402, kEventWarning)));
    EXPECT_EQ(begin + ".event.info", names().subject(kMachine, driveEvent(403, kEventInformation)));
    EXPECT_EQ(begin + ".notice.warning", names().subject(kMachine, arrayNotice()));
}

TEST(FleetNames, GivenAnUnknownSeverityThenTheSubjectSaysOther) {
    EXPECT_EQ(std::string("raidwatch.v1.") + kMachine + ".event.other",
              names().subject(kMachine, driveEvent(401, 77)));
}

TEST(FleetNames, NothingThatADeviceSaysGetsIntoASubject) {
    Record record = driveEvent(401, kEventError, "evil.>.*\r\nPUB x 0");
    record.objectName = record.event.text = record.event.eventId = "a.>.* b";
    EXPECT_EQ(std::string("raidwatch.v1.") + kMachine + ".event.error",
              names().subject(kMachine, record));
}

TEST(FleetNames, GivenAMachineThatIsNoUuidThenThereIsNoSubject) {
    for (const char* id :
         {"", "host", "6f1a2b3c-0000-4000-8000-1234567890a", "*", ">",
          "6F1A2B3C-0000-4000-8000-1234567890AB", "6f1a2b3c.0000-4000-8000-1234567890ab",
          "6f1a2b3c-0000-4000-8000-1234567890ab\n"}) {
        EXPECT_EQ("", names().subject(id, driveEvent())) << id;
        EXPECT_FALSE(FleetNames::isMachineId(id)) << id;
    }
    EXPECT_TRUE(FleetNames::isMachineId(kMachine));
}

TEST(FleetNames, TheMachineOfASubjectIsFoundAgain) {
    EXPECT_EQ(kMachine, names().machineOf(names().subject(kMachine, driveEvent())));
    for (const std::string& subject :
         {std::string(), std::string("raidwatch.v1"), std::string("raidwatch.v1.host.event.error"),
          std::string("other.v1.") + kMachine + ".event.error",
          std::string("raidwatch.v1.") + kMachine,
          std::string("raidwatch.v1.") + kMachine + "x.event"}) {
        EXPECT_EQ("", names().machineOf(subject)) << subject;
    }
}

TEST(FleetNames, BucketsAndKeysAreCalledAfterStreamAndMachine) {
    EXPECT_EQ("RAIDWATCH_STATE", names().stateBucket());
    EXPECT_EQ("RAIDWATCH_ALIVE", names().aliveBucket());
    EXPECT_EQ(std::string(kMachine) + ".alive", FleetNames::aliveKey(kMachine));
    EXPECT_EQ(std::string(kMachine) + ".rival", FleetNames::rivalKey(kMachine));
    EXPECT_EQ(std::string("_INBOX_") + kMachine, FleetNames::inbox(kMachine));
}

TEST(FleetNames, OnlyPlainWordsMakeStreamsAndSubjects) {
    for (const char* good : {"RAIDWATCH", "a", "Site-7_b"}) {
        EXPECT_EQ("", FleetNames::wrongStream(good)) << good;
        EXPECT_EQ("", FleetNames::wrongSubject(good)) << good;
    }
    EXPECT_EQ("", FleetNames::wrongSubject("raid.site-7.v1"));
    for (const char* bad : {"", "a b", "a.*", ">", "a>b", "a..b", ".a", "a.", "ä", "a\nb"}) {
        EXPECT_NE("", FleetNames::wrongStream(bad)) << bad;
        EXPECT_NE("", FleetNames::wrongSubject(bad)) << bad;
    }
    EXPECT_NE("", FleetNames::wrongStream("a.b"));
    EXPECT_NE("", FleetNames::wrongStream(std::string(65, 'a')));
}

TEST(FleetNames, TheCommandsMakeTheStreamAndBothBuckets) {
    FleetLink::Plan plan;
    plan.stream = "RAIDWATCH";
    plan.copies = 3;
    plan.maxAgeSeconds = 86400;
    plan.windowSeconds = 3600;
    const std::vector<std::string> expected = {
        "nats stream add RAIDWATCH --subjects='raidwatch.v1.>' --storage=file --retention=limits "
        "--discard=old --dupe-window=3600s --max-age=86400s --replicas=3 --defaults",
        "nats kv add RAIDWATCH_STATE --replicas=3",
        "nats kv add RAIDWATCH_ALIVE --ttl=7d --replicas=3"};
    EXPECT_EQ(expected, names().commands(plan));
}

}  // namespace
