// What was ever recorded and delivered, whatever is pruned.
#include "agent/spool/Spool.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>

#include "agent/spool/SqliteFile.h"
#include "tests/support/TempDir.h"

namespace {

using Totals = std::map<std::pair<int, int>, std::int64_t>;  // by severity and code
using Numbers = std::map<std::string, std::int64_t>;

Record eventRecord(int severity, int code, Origin origin = Origin::kLive) {
    Record record;
    record.origin = origin;
    record.object = "drive:A";
    record.at = 1000;
    record.event = QELEvent(code, severity, "text", "ID");
    return record;
}

void commit(Spool& spool, const std::vector<Record>& records) {
    Spool::Batch batch;
    batch.records = records;
    spool.commit(batch);
}

Totals totals(const Spool& spool) {
    Totals found;
    for (const EventTotal& total : spool.eventTotals()) {
        found[{total.severity, total.code}] = total.count;
    }
    return found;
}

class SpoolTotals : public testing::Test {
protected:
    // As an agent left it that did not count yet.
    void forgetTotals() const {
        SqliteFile sql(file, SqliteFile::Mode::kWrite);
        sql.run("DELETE FROM numbers WHERE name LIKE '%/%' OR name = 'totals'");
    }

    TempDir dir;
    std::string file = dir.file("spool.db");
};

TEST_F(SpoolTotals, CountsEventsBySeverityAndCode) {
    Spool spool(file);
    EXPECT_EQ(Totals{}, totals(spool));
    commit(spool, {eventRecord(1, 401), eventRecord(1, 401), eventRecord(2, 401)});
    commit(spool, {eventRecord(1, 401), eventRecord(3, 207)});
    EXPECT_EQ((Totals{{{1, 401}, 3}, {{2, 401}, 1}, {{3, 207}, 1}}), totals(spool));
}

TEST_F(SpoolTotals, NoticesTestsAndDrillsDoNotCount) {
    Spool spool(file);
    Record notice;
    notice.kind = Record::Kind::kNotice;
    notice.notice.incident.code = 401;
    commit(spool, {notice, eventRecord(1, 401, Origin::kTest), eventRecord(1, 401, Origin::kDrill),
                   eventRecord(1, 401, Origin::kAtStart)});
    EXPECT_EQ((Totals{{{1, 401}, 1}}), totals(spool));
}

TEST_F(SpoolTotals, GoOnAfterARestartAndAfterPruning) {
    {
        Spool spool(file);
        commit(spool, {eventRecord(1, 401), eventRecord(2, 418)});
        EXPECT_EQ(2, spool.prune(2000));
    }
    Spool spool(file);
    commit(spool, {eventRecord(1, 401)});
    EXPECT_EQ((Totals{{{1, 401}, 2}, {{2, 418}, 1}}), totals(spool));
    EXPECT_EQ((Numbers{{"drive:A", 1}}), spool.badBlocks());
}

TEST_F(SpoolTotals, BadBlocksAreCountedForEachDrive) {
    Spool spool(file);
    Record other = eventRecord(2, 418);
    other.object = "drive:\xff '/";
    Record nobody = eventRecord(2, 418);
    nobody.object = "";
    commit(spool, {eventRecord(2, 418), eventRecord(2, 418), other, nobody});
    EXPECT_EQ((Numbers{{"drive:A", 2}, {"drive:\xff '/", 1}}), spool.badBlocks());
}

TEST_F(SpoolTotals, GivenASpoolWithoutTotalsThenBeginsWithWhatItHolds) {
    {
        Spool spool(file);
        (void)spool.cursor("mail");
        commit(spool, {eventRecord(1, 401), eventRecord(2, 418), eventRecord(2, 418),
                       eventRecord(1, 401, Origin::kDrill)});
        const std::int64_t first = spool.firstSequence();
        Receipt receipt;
        spool.deliver("mail", first, receipt);
        receipt.outcome = Receipt::Outcome::kDead;
        spool.deliver("mail", first + 1, receipt);
        receipt.outcome = Receipt::Outcome::kFailed;
        receipt.tries = 4;
        spool.failed("mail", first + 2, receipt);
    }
    forgetTotals();
    Spool spool(file);
    EXPECT_EQ((Totals{{{1, 401}, 1}, {{2, 418}, 2}}), totals(spool));
    EXPECT_EQ((Numbers{{"drive:A", 2}}), spool.badBlocks());
    const SinkStatus sink = spool.sinkStatus().at(0);
    EXPECT_EQ(1, sink.everDelivered);
    EXPECT_EQ(1, sink.everDead);
    EXPECT_EQ(4, sink.everFailed);
}

TEST_F(SpoolTotals, ThoseWhoOpenItLaterBeginNothing) {
    Spool spool(file);
    commit(spool, {eventRecord(1, 401)});
    Spool second(file);
    const Spool third(file, Spool::Access::kReadOnly);
    EXPECT_EQ((Totals{{{1, 401}, 1}}), totals(third));
}

TEST_F(SpoolTotals, DeliveriesAreCountedForEachSink) {
    Spool spool(file);
    (void)spool.cursor("a");
    (void)spool.cursor("b");
    commit(spool, {eventRecord(1, 401), eventRecord(1, 401), eventRecord(1, 401)});
    const std::int64_t first = spool.firstSequence();
    Receipt receipt;
    spool.deliver("a", first, receipt);
    spool.skip("a", first + 1);
    spool.deliver("a", first + 2, receipt);
    receipt.outcome = Receipt::Outcome::kFailed;
    spool.failed("b", first, receipt);
    spool.failed("b", first, receipt);
    receipt.outcome = Receipt::Outcome::kDead;
    spool.deliver("b", first, receipt);
    const std::vector<SinkStatus> sinks = spool.sinkStatus();
    EXPECT_EQ(2, sinks.at(0).everDelivered);
    EXPECT_EQ(0, sinks.at(0).everFailed);
    EXPECT_EQ(0, sinks.at(1).everDelivered);
    EXPECT_EQ(2, sinks.at(1).everFailed);
    EXPECT_EQ(1, sinks.at(1).everDead);

    EXPECT_EQ(1, spool.prune(2000)) << "b has not passed the others";
    spool.forgetSink("b");
    EXPECT_EQ(2, spool.prune(2000));
    EXPECT_EQ(2, spool.sinkStatus().at(0).everDelivered);
    (void)spool.cursor("b");
    EXPECT_EQ(0, spool.sinkStatus().at(1).everFailed) << "another sink with that name";
}

}  // namespace
