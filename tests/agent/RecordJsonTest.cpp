#include "agent/spool/RecordJson.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kMachine[] = "0b1e0d6e-7e53-4c8f-9d3a-0f6c1a2b3c4d";

Record driveFailed() {
    Record record;
    record.sequence = 17;
    record.at = 1763700000123;
    record.object = "drive:S7";
    record.objectName = "drive 1:0:3";
    record.incident = 4;
    record.event = QELEvent(401, kEventError, "Drive failed.", Addr::ofDevice(1, 0, 3),
                            QELEvent::kNotSet, QELEvent::kNotSet, 2, "SN1", "EVENT_X", "");
    record.event.timeStamp = 1763699999;
    record.event.objectType = QELEvent::kPhysicalDrive;
    record.event.detail = "FRU1";
    record.event.extra1 = "S7";
    return record;
}

TEST(RecordJson, GivenAnEventThenItStandsInAnEnvelope) {
    EXPECT_EQ(
        "{\"specversion\":\"1.0\",\"id\":\"0b1e0d6e-7e53-4c8f-9d3a-0f6c1a2b3c4d:17\","
        "\"source\":\"urn:uuid:0b1e0d6e-7e53-4c8f-9d3a-0f6c1a2b3c4d\","
        "\"type\":\"raidwatch.event\",\"subject\":\"drive:S7\",\"time\":\"2025-11-21T04:39:59Z\","
        "\"datacontenttype\":\"application/json\","
        "\"data\":{\"spooledAt\":\"2025-11-21T04:40:00.123Z\",\"origin\":\"live\","
        "\"object\":\"drive:S7\",\"objectName\":\"drive 1:0:3\",\"incident\":4,"
        "\"event\":{\"time\":\"2025-11-21T04:39:59Z\",\"code\":401,\"severity\":1,"
        "\"eventId\":\"EVENT_X\",\"text\":\"Drive failed.\",\"objectType\":\"physicalDrive\","
        "\"location\":{\"controllerID\":1,\"channelID\":0,\"deviceID\":3},\"detail\":\"FRU1\","
        "\"value1\":null,\"value2\":null,\"value3\":2,\"adapterSerial\":\"SN1\",\"extra1\":\"S7\","
        "\"extra2\":\"\",\"flags\":0}}}",
        recordJson(driveFailed(), std::string(kMachine) + ":17"));
}

TEST(RecordJson, GivenNoObjectThenTheSubjectIsLeftOut) {
    Record record = driveFailed();
    record.object.clear();
    EXPECT_FALSE(recordObject(record, "m:1").contains("subject"));
}

TEST(RecordJson, GivenBytesThatAreNoUtf8ThenTheLineIsStillJson) {
    Record record = driveFailed();
    record.object = "drive:\xff\x1b[2J\n";
    const std::string line = recordJson(record, "m:1");
    EXPECT_EQ(std::string::npos, line.find('\n'));
    EXPECT_EQ("drive:\xef\xbf\xbd\x1b[2J\n", Json::parse(line)["subject"]);
}

TEST(RecordJson, AnEventComesBack) {
    const Record before = driveFailed();
    const Record after = recordFromObject(Json::parse(recordJson(before, "m:17")));
    EXPECT_EQ(17, after.sequence);
    EXPECT_EQ(before.at, after.at);
    EXPECT_EQ(before.object, after.object);
    EXPECT_EQ(before.objectName, after.objectName);
    EXPECT_EQ(4, after.incident);
    EXPECT_EQ(eventJson(before.event), eventJson(after.event));
    EXPECT_TRUE(before.event.location.IsEqual(after.event.location));
}

TEST(RecordJson, ANoticeComesBack) {
    Record before;
    before.kind = Record::Kind::kNotice;
    before.origin = Origin::kTest;
    before.at = 1763700000000;
    before.incident = 3;
    before.notice.kind = Notice::Kind::kResolved;
    before.notice.subject = "OK md0";
    before.notice.body = "a\nb\n";
    before.notice.incident.id = 3;
    before.notice.incident.open = false;
    before.notice.incident.openedAt = 1763699000;
    before.notice.incident.resolvedAt = 1763700000;
    before.notice.incident.survives = 1;
    before.notice.incident.ackUntil = 1763709000;

    const Json object = recordObject(before, "m:18");
    const Record after = recordFromObject(object);

    EXPECT_EQ("raidwatch.notice", object["type"]);
    EXPECT_EQ("2025-11-21T04:40:00.000Z", object["time"]);
    EXPECT_EQ(Record::Kind::kNotice, after.kind);
    EXPECT_EQ(Origin::kTest, after.origin);
    EXPECT_EQ(Notice::Kind::kResolved, after.notice.kind);
    EXPECT_EQ("a\nb\n", after.notice.body);
    EXPECT_FALSE(after.notice.incident.open);
    EXPECT_EQ(1763700000, after.notice.incident.resolvedAt);
    EXPECT_EQ(1, after.notice.incident.survives);
    EXPECT_EQ(object, recordObject(after, "m:18"));
}

TEST(RecordJson, GivenAnythingElseThenReadingIsLenient) {
    for (const char* text :
         {"null", "[]", "{}", "{\"data\":3}", "{\"id\":7,\"data\":{\"event\":[]}}",
          "{\"data\":{\"notice\":{\"incident\":1},\"incident\":\"x\"}}"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(0, recordFromObject(Json::parse(text)).sequence);
    }
}

TEST(RecordJson, ReceiptsAndSinksComeBack) {
    Receipt receipt;
    receipt.sink = "mail";
    receipt.sequence = 5;
    receipt.at = 1763700000500;
    receipt.outcome = Receipt::Outcome::kDead;
    receipt.tries = 9;
    receipt.answer = "550 no";
    EXPECT_EQ(
        "{\"sink\":\"mail\",\"sequence\":5,\"at\":\"2025-11-21T04:40:00.500Z\","
        "\"outcome\":\"dead\",\"tries\":9,\"answer\":\"550 no\"}",
        jsonLine(receiptJson(receipt)));
    EXPECT_EQ(receiptJson(receipt), receiptJson(receiptFromJson(receiptJson(receipt))));

    SinkStatus status;
    status.sink = "mail";
    status.ok = false;
    status.cursor = 4;
    status.waiting = 2;
    status.lastDelivered = 1763700000001;
    EXPECT_EQ(sinkStatusJson(status), sinkStatusJson(sinkStatusFromJson(sinkStatusJson(status))));
}

}  // namespace
