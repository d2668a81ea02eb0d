#include "agent/metrics/MetricsReader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "agent/spool/Spool.h"
#include "agent/state/StateJson.h"
#include "tests/agent/support/MetricsExample.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

namespace {

Record eventRecord(int code, Origin origin) {
    Record record;
    record.origin = origin;
    record.object = "drive:S1";
    record.event = QELEvent(code, 2, "text", "ID");
    return record;
}

class MetricsReaderTest : public testing::Test {
protected:
    void writeState(const nlohmann::ordered_json& daemon) {
        nlohmann::ordered_json json = stateJson(metrics::example().machine);
        json["daemon"] = daemon;
        dir.write("state.json", json.dump());
    }
    MetricsReader::Parts parts() const {
        return {dir.file("spool.db"), dir.file("state.json"), 77};
    }

    TempDir dir;
    ManualClock clock{metrics::kNow};
};

TEST_F(MetricsReaderTest, GathersWhatTheDaemonKeeps) {
    Spool spool(dir.file("spool.db"));
    Spool::Batch batch;
    batch.records = {eventRecord(418, Origin::kLive), eventRecord(401, Origin::kTest)};
    Incident incident;
    incident.id = 1;
    incident.object = "drive:S1";
    incident.severity = 1;
    batch.incidents.push_back(incident);
    (void)spool.cursor("ops");
    spool.commit(batch);
    writeState({{"pollSeconds", 0.5}, {"unspooled", 3}, {"problems", {{"spool", "full"}}}});

    const MetricsInput in = MetricsReader(parts()).read();
    EXPECT_EQ(metrics::kNow, in.now);
    EXPECT_EQ(77, in.staleAfter);
    EXPECT_NE("", in.version);
    EXPECT_EQ(metrics::kNow - 4, in.machine.polledAt);
    EXPECT_EQ(2u, in.machine.drives.size());
    EXPECT_EQ(0.5, in.pollSeconds);
    EXPECT_EQ(3, in.unspooled);
    EXPECT_EQ((std::map<std::string, std::string>{{"spool", "full"}}), in.problems);
    EXPECT_TRUE(in.spoolReadable);
    ASSERT_EQ(1u, in.openIncidents.size());
    ASSERT_EQ(1u, in.events.size());
    EXPECT_EQ(2, in.events[0].severity);
    EXPECT_EQ(418, in.events[0].code);
    EXPECT_EQ(1, in.events[0].count);
    EXPECT_EQ((std::map<std::string, std::int64_t>{{"drive:S1", 1}}), in.badBlocks);
    ASSERT_EQ(1u, in.sinks.size());
    EXPECT_EQ("ops", in.sinks[0].sink);
    EXPECT_EQ(2, in.sinks[0].waiting);
    EXPECT_EQ(1, in.firstSequence % 1000);  // a new spool begins above what may have been given
    EXPECT_EQ(in.firstSequence + 1, in.lastSequence);
    EXPECT_GE(in.spoolBytes, 4096);
}

TEST_F(MetricsReaderTest, GivenNothingThenNothingIsKnown) {
    const MetricsInput in = MetricsReader(parts()).read();
    EXPECT_EQ(0, in.machine.polledAt);
    EXPECT_FALSE(in.spoolReadable);
    EXPECT_EQ(-1, in.pollSeconds);
}

TEST_F(MetricsReaderTest, GivenAStateThatIsNoneThenThereIsNoPoll) {
    for (const char* text : {"", "{", "[]", "{\"arrays\": 7}", "{\"polledAt\": \"now\"}",
                             "{\"polledAt\": 5, \"daemon\": {\"unspooled\": \"many\"}}"}) {
        SCOPED_TRACE(text);
        dir.write("state.json", text);
        EXPECT_EQ(0, MetricsReader(parts()).read().machine.polledAt);
    }
}

TEST_F(MetricsReaderTest, GivenAnOlderDaemonThenTheRestIsThere) {
    writeState({{"pid", 7}});
    const MetricsInput in = MetricsReader(parts()).read();
    EXPECT_EQ(metrics::kNow - 4, in.machine.polledAt);
    EXPECT_EQ(-1, in.pollSeconds);
}

TEST_F(MetricsReaderTest, FindsASpoolThatCameLater) {
    MetricsReader reader(parts());
    EXPECT_FALSE(reader.read().spoolReadable);
    const Spool spool(dir.file("spool.db"));
    EXPECT_TRUE(reader.read().spoolReadable);
    EXPECT_TRUE(reader.read().spoolReadable);
}

TEST_F(MetricsReaderTest, SeesWhatWasCommittedSince) {
    Spool spool(dir.file("spool.db"));
    MetricsReader reader(parts());
    EXPECT_EQ(0u, reader.read().events.size());
    Spool::Batch batch;
    batch.records = {eventRecord(401, Origin::kLive)};
    spool.commit(batch);
    EXPECT_EQ(1u, reader.read().events.size());
    reader.forget();
    EXPECT_EQ(1u, reader.read().events.size());
}

}  // namespace
