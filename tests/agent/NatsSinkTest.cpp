#include "agent/sinks/NatsSink.h"

#include <gtest/gtest.h>

#include <memory>

#include <nlohmann/json.hpp>

#include "agent/state/StateJson.h"
#include "tests/agent/FakeFleet.h"
#include "tests/agent/SinkFixture.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

namespace {

using Json = nlohmann::ordered_json;
using Kind = Answer::Kind;

class NatsSinkTest : public testing::Test {
protected:
    NatsSinkTest() : spool(dir.file("spool.db")) {
        settings.lists["urls"] = {"nats://127.0.0.1:4222"};
        writeState("stor7");
        restart();
    }

    // A new life of the agent on the same folder.
    void restart() {
        sink =
            std::make_unique<NatsSink>(settings, SinkPlaces{dir.file("state.json"), dir.folder()},
                                       std::make_unique<FakeLink>(server));
    }
    void writeState(const std::string& host) {
        MachineState state;
        state.host = host;
        state.polledAt = clock.now();
        DriveState drive;
        drive.key = "drive:S7K2M9Q0";
        drive.vendor = "KOVA";
        drive.model = "K500\x1b.>";
        drive.firmware = "A7";
        drive.serial = "S7K2M9Q0";
        state.drives.push_back(drive);
        (void)dir.write("state.json", stateJson(state).dump());
    }
    Answer send(const Record& record) { return sendAgain(commitOne(spool, record)); }
    // Again what is in the spool.
    Answer sendAgain(std::int64_t sequence) {
        const Record record = spool.read(sequence - 1, 1).front();
        return sink->deliver(record, spool.idOf(sequence));
    }
    std::map<std::string, FleetLink::Entry>& alive() { return server.buckets["RAIDWATCH_ALIVE"]; }
    std::map<std::string, FleetLink::Entry>& states() { return server.buckets["RAIDWATCH_STATE"]; }

    ManualClock clock;
    TempDir dir;
    FakeFleet server;
    Spool spool;
    SinkSettings settings = sinkSettings("fleet", "nats");
    std::unique_ptr<NatsSink> sink;
};

TEST_F(NatsSinkTest, ARecordBecomesAMessageWithItsIdAndItsMachine) {
    const Answer answer = send(driveEvent());
    EXPECT_EQ(Kind::kDelivered, answer.kind);
    EXPECT_EQ("stored as RAIDWATCH 1", answer.text);
    ASSERT_EQ(1u, server.stream.size());
    const FleetLink::Message& message = server.stream[0];
    EXPECT_EQ("raidwatch.v1." + spool.machineId() + ".event.error", message.subject);
    EXPECT_EQ(spool.machineId() + ":1", message.id);
    std::map<std::string, std::string> headers(message.headers.begin(), message.headers.end());
    EXPECT_EQ("RAIDWATCH", headers["Nats-Expected-Stream"]);
    EXPECT_EQ(36u, headers["Raidwatch-Instance"].size());
    const Json json = Json::parse(message.body);
    EXPECT_EQ(message.id, json["id"]);
    EXPECT_EQ("stor7", json["data"]["host"]);
    EXPECT_EQ("A7", json["data"]["drive"]["firmware"]);
    EXPECT_EQ("K500\x1b.>", json["data"]["drive"]["model"]) << "as it is; only JSON escapes it";
    EXPECT_EQ(std::string::npos, message.body.find('\x1b'));
}

TEST_F(NatsSinkTest, GivenADriveThatHasGoneThenItIsStillKnown) {
    EXPECT_EQ(Kind::kDelivered, send(driveEvent()).kind);
    clock.advance(5);
    MachineState empty;
    empty.host = "stor7";
    empty.polledAt = clock.now();
    (void)dir.write("state.json", stateJson(empty).dump());
    EXPECT_EQ(Kind::kDelivered, send(driveEvent(408)).kind);
    EXPECT_EQ("A7", Json::parse(server.stream[1].body)["data"]["drive"]["firmware"]);
}

TEST_F(NatsSinkTest, NoticesAreSentAsTheirOwnKind) {
    EXPECT_EQ(Kind::kDelivered, send(arrayNotice()).kind);
    EXPECT_EQ("raidwatch.v1." + spool.machineId() + ".notice.warning", server.stream[0].subject);
}

TEST_F(NatsSinkTest, SendDecidesWhichRecordsItWants) {
    const struct {
        const char* send;
        bool events;
        bool notices;
    } rows[] = {{"both", true, true}, {"events", true, false}, {"notices", false, true}};
    for (const auto& row : rows) {
        settings.texts["send"] = row.send;
        restart();
        EXPECT_EQ(row.events, sink->wants(driveEvent())) << row.send;
        EXPECT_EQ(row.notices, sink->wants(arrayNotice())) << row.send;
    }
}

TEST_F(NatsSinkTest, GivenAServerThatIsAwayThenTheRecordWaits) {
    server.isUp = false;
    const Answer answer = send(driveEvent());
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_EQ("cannot connect", answer.text);
    server.isUp = true;
    EXPECT_EQ(Kind::kDelivered, sendAgain(1).kind);
}

TEST_F(NatsSinkTest, GivenAnAcknowledgementThatIsLostThenTheRepeatIsRecognised) {
    sink->tick();
    server.loseAnswers = 1;
    EXPECT_EQ(Kind::kRetry, send(driveEvent()).kind);
    const Answer again = sendAgain(1);
    EXPECT_EQ(Kind::kDelivered, again.kind);
    EXPECT_EQ("was stored already, as RAIDWATCH 1", again.text);
    EXPECT_EQ(1u, server.stream.size());
}

TEST_F(NatsSinkTest, GivenAnAgentThatDiedBeforeTheAcknowledgementThenTheNextOneKnows) {
    EXPECT_EQ(Kind::kDelivered, send(driveEvent()).kind);
    restart();
    EXPECT_EQ(Kind::kDelivered, sendAgain(1).kind);
    EXPECT_EQ(1u, server.stream.size());
}

TEST_F(NatsSinkTest, GivenAWindowThatIsOverThenTheRepeatIsStoredUnderTheSameId) {
    server.loseAnswers = 1;
    (void)send(driveEvent());
    server.ids.clear();
    EXPECT_EQ(Kind::kDelivered, sendAgain(1).kind);
    ASSERT_EQ(2u, server.stream.size());
    EXPECT_EQ(server.stream[0].id, server.stream[1].id);
    EXPECT_EQ(server.stream[0].body, server.stream[1].body);
}

// A copy of this machine was first: its event must not swallow ours.
TEST_F(NatsSinkTest, GivenAnIdThatSomebodyElseHasUsedThenTheRecordIsStoredApart) {
    sink->tick();
    server.ids[spool.machineId() + ":1"] = 77;
    const Answer answer = send(driveEvent());
    EXPECT_EQ(Kind::kDelivered, answer.kind);
    EXPECT_NE(std::string::npos, answer.text.find("another machine has used the id"))
        << answer.text;
    ASSERT_EQ(1u, server.stream.size());
    EXPECT_EQ(0u, server.stream[0].id.find(spool.machineId() + ":1:"));
}

TEST_F(NatsSinkTest, GivenAnotherMachineInOurPlaceThenNothingIsSent) {
    FleetBeat other;
    other.machine = spool.machineId();
    other.instance = "somebody-else";
    other.host = "copy";
    alive()[FleetNames::aliveKey(spool.machineId())] = {other.json(), 5, clock.now() * 1000};
    server.revision = 5;
    const Answer answer = send(driveEvent());
    EXPECT_EQ(Kind::kRetry, answer.kind);
    EXPECT_NE(std::string::npos, answer.text.find("two machines share the id")) << answer.text;
    EXPECT_TRUE(server.stream.empty());
    EXPECT_NE(std::string::npos, sink->problem().find(": copy (agent ")) << sink->problem();
    // It leaves; three of its beats later the place is ours.
    clock.advance(181);
    sink->tick();
    EXPECT_EQ(Kind::kDelivered, sendAgain(1).kind);
    EXPECT_EQ("", sink->problem());
}

TEST_F(NatsSinkTest, GivenACopyThatWantsOurPlaceThenDoctorAndReceiptsSaySo) {
    EXPECT_EQ(Kind::kDelivered, send(driveEvent()).kind);
    FleetBeat rival;
    rival.instance = "somebody-else";
    rival.host = "copy";
    alive()[FleetNames::rivalKey(spool.machineId())] = {rival.json(), 9, clock.now() * 1000};
    clock.advance(60);
    sink->tick();
    EXPECT_NE(std::string::npos, sink->problem().find(": copy (agent "));
    const Answer answer = send(driveEvent());
    EXPECT_EQ(Kind::kDelivered, answer.kind);
    EXPECT_NE(std::string::npos, answer.text.find("; two machines share the id")) << answer.text;
}

TEST_F(NatsSinkTest, GivenNoStreamThenItIsMade) {
    server.hasStream = server.hasBuckets = false;
    EXPECT_EQ(Kind::kDelivered, send(driveEvent()).kind);
    EXPECT_EQ(1u, server.stream.size());
    EXPECT_EQ(1u, alive().size());
}

TEST_F(NatsSinkTest, GivenNoStreamAndNoRightToMakeItThenItSaysWhatToType) {
    server.hasStream = server.hasBuckets = false;
    server.mayNotMake = "Permissions Violation";
    std::string text = send(driveEvent()).text;
    EXPECT_EQ(0u, text.find("Permissions Violation; make it with an account that may: nats stream "
                            "add RAIDWATCH --subjects='raidwatch.v1.>'"))
        << text;
    settings.numbers["create"] = 0;
    server.mayNotMake.clear();
    restart();
    text = sendAgain(1).text;
    EXPECT_EQ(0u, text.find("there is no stream RAIDWATCH; make it")) << text;
    EXPECT_FALSE(server.hasStream);
}

TEST_F(NatsSinkTest, GivenAServerThatRefusesThenItIsTriedAgainUnlessItIsTooLarge) {
    server.refuse = FleetLink::Answer::Kind::kLater;
    EXPECT_EQ(Kind::kRetry, send(driveEvent()).kind);
    server.refuse = FleetLink::Answer::Kind::kNever;
    EXPECT_EQ(Kind::kRefused, sendAgain(1).kind);
}

TEST_F(NatsSinkTest, TheSummaryIsSaidWhenItChangesAndOnceAnHour) {
    sink->tick();
    const std::string key = spool.machineId();
    ASSERT_EQ(1u, states().count(key));
    EXPECT_EQ("stor7", Json::parse(states()[key].value)["host"]);
    const std::uint64_t first = states()[key].revision;
    clock.advance(60);
    sink->tick();
    EXPECT_EQ(first, states()[key].revision) << "nothing has changed";
    clock.advance(60);
    writeState("renamed");
    sink->tick();
    EXPECT_LT(first, states()[key].revision);
    const std::uint64_t second = states()[key].revision;
    clock.advance(3600);
    sink->tick();
    EXPECT_LT(second, states()[key].revision);
}

TEST_F(NatsSinkTest, ABeatComesOnceAMinuteNotWithEachTick) {
    for (int i = 0; i < 120; ++i) {
        sink->tick();
        clock.advance(1);
    }
    // Two beats of two revisions, and one summary.
    EXPECT_EQ(3u, server.revision);
}

TEST_F(NatsSinkTest, GivenManyRecordsThenEachHasItsOwnAnswerInOrder) {
    std::vector<Record> records;
    std::vector<Parcel> parcels;
    for (int i = 0; i < 50; ++i) {
        records.push_back(driveEvent());
        records.back().sequence = commitOne(spool, records.back());
    }
    for (const Record& record : records) parcels.push_back({&record, spool.idOf(record.sequence)});
    const std::vector<Answer> answers = sink->deliverAll(parcels);
    ASSERT_EQ(50u, answers.size());
    for (std::size_t i = 0; i < 50; ++i) {
        EXPECT_EQ("stored as RAIDWATCH " + std::to_string(i + 1), answers[i].text);
    }
    EXPECT_EQ(64u, sink->window());
}

// As a server does that has just been started: the first ones come before its stream is there.
TEST_F(NatsSinkTest, GivenAStreamThatComesInBetweenThenNoRecordIsTakenForThatOfACopy) {
    server.unready = 1;
    std::vector<Record> records(3, driveEvent());
    std::vector<Parcel> parcels;
    for (Record& record : records) record.sequence = commitOne(spool, record);
    for (const Record& record : records) parcels.push_back({&record, spool.idOf(record.sequence)});
    for (const Answer& answer : sink->deliverAll(parcels)) {
        EXPECT_EQ(Kind::kDelivered, answer.kind) << answer.text;
    }
    EXPECT_EQ(3u, server.stream.size());
    EXPECT_EQ(3u, server.ids.size());
}

}  // namespace
