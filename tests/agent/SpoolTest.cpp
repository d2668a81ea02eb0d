#include "agent/spool/Spool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/agent/support/SpoolRecords.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using spoolRecords::commitOne;
using spoolRecords::errorOf;
using spoolRecords::eventRecord;
using spoolRecords::fill;
using spoolRecords::noticeRecord;
using spoolRecords::Sequences;
using spoolRecords::sequencesOf;

// It is enough to read a file to lock it for ever, and hooks can read what the group can.
TEST(Spool, GivenARecordThenOthersCanNeitherReadItNorLockTheSpool) {
    const TempDir dir;
    dir.write("spool.db.lock", "");
    fs::permissions(dir.file("spool.db.lock"), fs::perms{0644});  // as an older version left it
    Spool spool(dir.file("spool.db"));
    fill(spool, 1);
    EXPECT_EQ(fs::perms{0600}, fs::status(dir.file("spool.db.lock")).permissions());
    for (const char* name : {"spool.db", "spool.db-wal", "spool.db-shm"}) {
        EXPECT_EQ(fs::perms{0640}, fs::status(dir.file(name)).permissions()) << name;
    }
}

TEST(Spool, GivenAFreshFolderThenItIsEmptyAndSaysNothing) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));

    EXPECT_EQ("", spool.openingNote());
    EXPECT_EQ(0, spool.lastSequence());
    EXPECT_EQ(0, spool.firstSequence());
    EXPECT_EQ(0, spool.lastIncident());
    EXPECT_TRUE(spool.read(0, 10).empty());
    EXPECT_EQ(36u, spool.machineId().size());
    EXPECT_EQ(spool.machineId() + ":17", spool.idOf(17));
}

TEST(Spool, IsNotForEverybodyToRead) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    Spool::Batch batch;
    batch.records.emplace_back();
    spool.commit(batch);
    for (const char* side : {"", "-wal", "-shm"}) {
        struct stat info {};
        ASSERT_EQ(0, stat(dir.file(std::string("spool.db") + side).c_str(), &info)) << side;
        EXPECT_EQ(0640u, info.st_mode & 07777u) << side;
    }
}

// Another program that opened the file would take itself for the only one, and remove the journal.
TEST(Spool, GivenASecondConnectionOfTheProcessThenTheLocksOfTheFirstStay) {
    const TempDir dir;
    Spool first(dir.file("spool.db"));
    (void)commitOne(first, eventRecord(401, "drive:A"));
    { const Spool second(dir.file("spool.db")); }
    const std::string name = dir.file("spool.db");
    const pid_t other = fork();
    if (other == 0) {
        const int fd = open(name.c_str(), O_RDWR | O_CLOEXEC);
        struct flock wanted {};  // what a last connection takes; see SQLite's file format
        wanted.l_type = F_WRLCK;
        wanted.l_whence = SEEK_SET;
        wanted.l_start = 0x40000002;
        wanted.l_len = 510;
        _exit(fcntl(fd, F_GETLK, &wanted) == 0 && wanted.l_type == F_RDLCK ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(other, waitpid(other, &status, 0));
    EXPECT_EQ(0, status);
}

TEST(Spool, GivenAFileThatIsGoneThenOnlyWhoIsAloneMakesANewOne) {
    const TempDir dir;
    EXPECT_NE("", errorOf(dir.file("spool.db"), Spool::Access::kExisting));
    auto old = std::make_unique<Spool>(dir.file("spool.db"));
    (void)commitOne(*old, eventRecord(401, "drive:A"));
    for (const char* side : {"", "-wal", "-shm"}) fs::remove(dir.file("spool.db") + side);
    EXPECT_FALSE(old->isCurrent());
    const std::string gone = "the spool " + dir.file("spool.db") +
                             " is gone; raidwatch begins a new one as soon as nobody has the old "
                             "one open";
    EXPECT_EQ(gone, errorOf(dir.file("spool.db"), Spool::Access::kReadWrite));
    EXPECT_EQ(gone, errorOf(dir.file("spool.db"), Spool::Access::kExisting));
    EXPECT_FALSE(fs::exists(dir.file("spool.db")));
    EXPECT_EQ(Spool::Renewal::kReplaced, old->renew());
    EXPECT_EQ(1002, commitOne(*old, eventRecord(402, "drive:A"))) << "no number is given again";
    EXPECT_EQ("", errorOf(dir.file("spool.db"), Spool::Access::kExisting));
}

TEST(Spool, RenewTellsWhatItFound) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    (void)commitOne(spool, eventRecord(401, "drive:A"));
    {
        const Spool other(dir.file("spool.db"));
        EXPECT_EQ(Spool::Renewal::kHeldByOthers, spool.renew());
    }
    EXPECT_EQ(Spool::Renewal::kSound, spool.renew());
    EXPECT_EQ(1, spool.lastSequence());
}

TEST(Spool, GivesSequencesFromOneWithoutGaps) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    Spool::Batch batch;
    batch.records = {eventRecord(401, "drive:A"), noticeRecord(1)};

    EXPECT_EQ(2, spool.commit(batch));

    EXPECT_EQ(1, batch.records[0].sequence);
    EXPECT_EQ(2, batch.records[1].sequence);
    EXPECT_NE(0, batch.records[0].at);
    EXPECT_EQ(3, commitOne(spool, eventRecord(402, "drive:B")));
    EXPECT_EQ((Sequences{1, 2, 3}), sequencesOf(spool.read(0, 10)));
    EXPECT_EQ((Sequences{2}), sequencesOf(spool.read(1, 1)));
    EXPECT_EQ(1, spool.firstSequence());
    EXPECT_EQ(3, spool.lastSequence());
}

QELEvent everyField() {
    QELEvent event(404, 77, std::string("bytes \xff\xfe\x00 \x1b[2J \xc3\xa4", 17),
                   Addr(1, 2, 3, 4, 5, -1, 7, 8), 9, QELEvent::kNotSet, -11, "ser\"ial", "id", "x");
    event.timeStamp = 1763700000;
    event.objectType = 42;
    event.detail = "\xe2\x82";
    event.flags = 3;
    event.extra1 = "{\"bytes\":\"00\"}";
    event.extra2 = std::string(100000, '\x80');
    return event;
}

void expectSame(const QELEvent& wanted, const QELEvent& found) {
    EXPECT_EQ(wanted.timeStamp, found.timeStamp);
    EXPECT_EQ(wanted.eventCode, found.eventCode);
    EXPECT_EQ(wanted.severity, found.severity);
    EXPECT_EQ(wanted.text, found.text);
    EXPECT_EQ(wanted.objectType, found.objectType);
    EXPECT_TRUE(wanted.location.IsEqual(found.location));
    EXPECT_EQ(wanted.detail, found.detail);
    EXPECT_EQ(wanted.value1, found.value1);
    EXPECT_EQ(wanted.value2, found.value2);
    EXPECT_EQ(wanted.value3, found.value3);
    EXPECT_EQ(wanted.adapterSerial, found.adapterSerial);
    EXPECT_EQ(wanted.eventId, found.eventId);
    EXPECT_EQ(wanted.flags, found.flags);
    EXPECT_EQ(wanted.extra1, found.extra1);
    EXPECT_EQ(wanted.extra2, found.extra2);
}

TEST(Spool, GivenAnyBytesInAnEventThenTheyComeBackAsTheyWere) {
    const TempDir dir;
    Record record = eventRecord(0, std::string("drive:\xff\x00y", 9), 1763700000123);
    record.event = everyField();
    record.origin = Origin::kDrill;
    record.objectName = "\xf0\x9f";
    record.incident = 7;
    {
        Spool spool(dir.file("spool.db"));
        commitOne(spool, record);
        QELEvent nothingSet;
        Record empty;
        empty.event = nothingSet;
        commitOne(spool, empty);
    }
    Spool spool(dir.file("spool.db"), Spool::Access::kReadOnly);
    const std::vector<Record> found = spool.read(0, 10);

    ASSERT_EQ(2u, found.size());
    EXPECT_EQ(1763700000123, found[0].at);
    EXPECT_EQ(Origin::kDrill, found[0].origin);
    EXPECT_EQ(record.object, found[0].object);
    EXPECT_EQ(record.objectName, found[0].objectName);
    EXPECT_EQ(7, found[0].incident);
    expectSame(record.event, found[0].event);
    EXPECT_EQ(QELEvent::kNotSet, found[1].event.eventCode);
    EXPECT_TRUE(Addr().IsEqual(found[1].event.location));
}

struct FilterCase {
    const char* when;
    RecordFilter filter;
    Sequences expected;
};

template <typename Change>
RecordFilter filtered(Change change) {
    RecordFilter filter;
    change(filter);
    return filter;
}

TEST(Spool, QueryGivesWhatTheFilterAsksFor) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    spool.cursor("early");
    Spool::Batch batch;
    batch.records = {eventRecord(401, "drive:A", 1000), eventRecord(305, "array:0:0", 2000),
                     noticeRecord(1, 3000), eventRecord(401, "drive:B", 4000)};
    batch.records[1].event.severity = kEventWarning;
    spool.commit(batch);
    Receipt dead;
    dead.outcome = Receipt::Outcome::kDead;
    spool.deliver("early", 1, dead);
    spool.skip("early", 3);

    using F = RecordFilter;
    const FilterCase cases[] = {
        {"nothing is set", {}, {1, 2, 3, 4}},
        {"after", filtered([](F& f) { f.after = 2; }), {3, 4}},
        {"since is inclusive", filtered([](F& f) { f.since = 2000; }), {2, 3, 4}},
        {"until is exclusive", filtered([](F& f) { f.until = 3000; }), {1, 2}},
        {"one severity", filtered([](F& f) { f.severities = {kEventError}; }), {1, 4}},
        {"two codes",
         filtered([](F& f) {
             f.codes = {305, 999};
         }),
         {2, 3}},
        {"an object", filtered([](F& f) { f.object = "array:0:0"; }), {2, 3}},
        {"an object and a code",
         filtered([](F& f) { f.object = "drive:B", f.codes = {401}; }),
         {4}},
        {"no events", filtered([](F& f) { f.events = false; }), {3}},
        {"no notices", filtered([](F& f) { f.notices = false; }), {1, 2, 4}},
        {"a limit takes the first", filtered([](F& f) { f.limit = 2; }), {1, 2}},
        {"newest takes the last", filtered([](F& f) { f.limit = 2, f.newest = true; }), {3, 4}},
        {"undelivered: given up, or before the cursor",
         filtered([](F& f) { f.undelivered = true; }),
         {1, 4}},
    };
    for (const FilterCase& c : cases) {
        SCOPED_TRACE(c.when);
        EXPECT_EQ(c.expected, sequencesOf(spool.query(c.filter)));
    }
}

TEST(Spool, AnEnclosureIsAskedForWithItsFansAndSuppliesAndNothingElse) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    Spool::Batch batch;
    for (const char* object :
         {"enclosure:E1/fan2", "enclosure:E1", "enclosure:E11", "enclosure:E",
          "enclosure:E1/supply1", "enclosure:E10/fan1", "drive:S/1", "drive:S"}) {
        batch.records.push_back(eventRecord(504, object, 1000));
    }
    spool.commit(batch);
    const auto askedFor = [&](const char* object) {
        RecordFilter filter;
        filter.object = object;
        filter.since = 1;
        return sequencesOf(spool.query(filter));
    };
    EXPECT_EQ((Sequences{1, 2, 5}), askedFor("enclosure:E1"));
    EXPECT_EQ((Sequences{1}), askedFor("enclosure:E1/fan2"));
    EXPECT_EQ((Sequences{4}), askedFor("enclosure:E"));
    EXPECT_EQ((Sequences{8}), askedFor("drive:S"));  // serial numbers may have anything in them
}

TEST(Spool, ANoticeComesBackWithItsIncident) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    commitOne(spool, noticeRecord(9));

    const Record found = spool.read(0, 1).at(0);

    EXPECT_EQ(Record::Kind::kNotice, found.kind);
    EXPECT_EQ(Notice::Kind::kWorse, found.notice.kind);
    EXPECT_EQ("subject", found.notice.subject);
    EXPECT_EQ("line\n", found.notice.body);
    EXPECT_EQ(9, found.notice.incident.id);
    EXPECT_EQ(kEventWarning, found.severity());
}

TEST(Spool, ASinkThatWasNeverSeenTellsNoOldNews) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    fill(spool, 3);

    EXPECT_EQ(3, spool.cursor("mail"));
    commitOne(spool, eventRecord(1, "drive:A"));
    EXPECT_EQ(3, spool.cursor("mail"));
}

TEST(Spool, ReceiptsAndCursorGoTogether) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    spool.cursor("mail");
    fill(spool, 3);
    Receipt receipt;
    receipt.at = 5000;
    receipt.outcome = Receipt::Outcome::kFailed;
    receipt.tries = 2;
    receipt.answer = "451 later";

    spool.failed("mail", 1, receipt);

    EXPECT_EQ(0, spool.cursor("mail"));
    SinkStatus status = spool.sinkStatus().at(0);
    EXPECT_FALSE(status.ok);
    EXPECT_EQ(2, status.tries);
    EXPECT_EQ(3, status.waiting);
    EXPECT_EQ("451 later", status.lastAnswer);

    receipt = Receipt();
    receipt.at = 6000;
    receipt.tries = 3;
    receipt.answer = "250 ok";
    spool.deliver("mail", 1, receipt);
    receipt.outcome = Receipt::Outcome::kDead;
    receipt.at = 7000;
    spool.deliver("mail", 2, receipt);

    EXPECT_EQ(2, spool.cursor("mail"));
    status = spool.sinkStatus().at(0);
    EXPECT_EQ(6000, status.lastDelivered);
    EXPECT_EQ(0, status.tries);
    EXPECT_EQ(1, status.waiting);
    EXPECT_EQ(1, status.dead);
    const std::vector<Receipt> receipts = spool.receipts(1);
    ASSERT_EQ(1u, receipts.size());
    EXPECT_EQ(Receipt::Outcome::kDelivered, receipts[0].outcome);
    EXPECT_EQ("250 ok", receipts[0].answer);
    EXPECT_EQ(6000, receipts[0].at);
    EXPECT_EQ(3, receipts[0].tries);

    spool.skip("mail", 1);  // never backwards
    EXPECT_EQ(2, spool.cursor("mail"));
    spool.forgetSink("mail");
    EXPECT_TRUE(spool.sinkStatus().empty());
    EXPECT_EQ(3, spool.cursor("mail"));
}

TEST(Spool, IncidentsAreKeptWholeAndTheirIdsForGood) {
    const TempDir dir;
    Incident incident;
    incident.id = 5;
    incident.object = "drive:\xff";
    incident.condition = "drive";
    incident.value = "failed";
    incident.severity = kEventError;
    incident.openedAt = 1763700000;
    incident.survives = 0;
    incident.ackBy = "root";
    incident.ackAt = 1763700100;
    incident.flapping = true;
    {
        Spool spool(dir.file("spool.db"));
        Spool::Batch batch;
        batch.incidents.push_back(incident);
        spool.commit(batch);
        incident.id = 6;
        incident.open = false;
        incident.resolvedAt = 1763700200;
        spool.putIncident(incident);
    }
    Spool spool(dir.file("spool.db"));

    ASSERT_EQ(1u, spool.openIncidents().size());
    const Incident found = spool.openIncidents()[0];
    EXPECT_EQ(5, found.id);
    EXPECT_EQ("drive:\xff", found.object);
    EXPECT_EQ("failed", found.value);
    EXPECT_EQ(1763700000, found.openedAt);
    EXPECT_EQ(0, found.resolvedAt);
    EXPECT_EQ(0, found.survives);
    EXPECT_TRUE(found.acknowledged());
    EXPECT_TRUE(found.flapping);
    EXPECT_EQ(2u, spool.incidentsSince(1763700200).size());
    EXPECT_EQ(1u, spool.incidentsSince(1763700201).size());
    EXPECT_EQ(6, spool.lastIncident());
}

TEST(Spool, SilencesAreAddedListedAndRemoved) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    Silence silence;
    silence.object = "drive:A";
    silence.from = 1000;
    silence.until = 2000;
    silence.reason = "new cable";

    EXPECT_EQ(1, spool.addSilence(silence));
    EXPECT_EQ(2, spool.addSilence(silence));
    EXPECT_TRUE(spool.removeSilence(2));
    EXPECT_FALSE(spool.removeSilence(2));
    EXPECT_EQ(3, spool.addSilence(silence));  // an id is never used again

    const std::vector<Silence> found = spool.silences();
    ASSERT_EQ(2u, found.size());
    EXPECT_EQ(1, found[0].id);
    EXPECT_EQ("new cable", found[0].reason);
    EXPECT_TRUE(found[0].covers("drive:A", 1999));
}

TEST(Spool, WatchSpansTellWhenNobodyLooked) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    Spool::Batch batch;
    spool.beginWatch(100);
    batch.polledAt = 160;
    spool.commit(batch);
    fill(spool, 2);
    spool.beginWatch(500);  // the first one was killed
    batch.polledAt = 505;
    spool.commit(batch);
    spool.endWatch(600);
    batch.polledAt = 700;  // after the end: nobody watches
    spool.commit(batch);

    const std::vector<WatchSpan> spans = spool.watchSpans(0);
    ASSERT_EQ(2u, spans.size());
    EXPECT_EQ(100, spans[0].began);
    EXPECT_EQ(160, spans[0].lastPoll);
    EXPECT_EQ(0, spans[0].ended);
    EXPECT_EQ(0, spans[0].firstSequence);
    EXPECT_EQ(505, spans[1].lastPoll);
    EXPECT_EQ(600, spans[1].ended);
    EXPECT_EQ(2, spans[1].firstSequence);
    EXPECT_FALSE(spans[1].bootId.empty());
    EXPECT_EQ(1u, spool.watchSpans(161).size());
}

TEST(Spool, PruneKeepsWhatASinkHasNotPassedAndTheSequenceGoesOn) {
    const TempDir dir;
    Spool spool(dir.file("spool.db"));
    spool.cursor("slow");
    Spool::Batch batch;
    for (int i = 1; i <= 5; ++i) batch.records.push_back(eventRecord(i, "drive:A", i * 1000));
    spool.commit(batch);
    spool.skip("slow", 3);

    EXPECT_EQ(2, spool.prune(3000));
    EXPECT_EQ((Sequences{3, 4, 5}), sequencesOf(spool.read(0, 10)));
    EXPECT_EQ(1, spool.prune(9000));
    EXPECT_EQ(4, spool.firstSequence());
    spool.skip("slow", 5);
    spool.setSnapshotMark(4);
    EXPECT_EQ(1, spool.prune(9000));
    spool.setSnapshotMark(5);
    EXPECT_EQ(5, spool.snapshotMark());
    EXPECT_EQ(1, spool.prune(9000));
    EXPECT_EQ(0, spool.firstSequence());
    EXPECT_EQ(5, spool.lastSequence());
    EXPECT_EQ(6, commitOne(spool, eventRecord(6, "drive:A")));
}

TEST(Spool, GivenNoFileWhenReadOnlyThenThrowsAndMakesNothing) {
    const TempDir dir;
    EXPECT_EQ("there is no spool " + dir.file("spool.db") +
                  "; start the daemon once, or see in its journal why it cannot make one",
              errorOf(dir.file("spool.db"), Spool::Access::kReadOnly));
    EXPECT_TRUE(fs::is_empty(dir.folder()));
}

TEST(Spool, GivenNoFolderThenSaysSo) {
    const TempDir dir;
    EXPECT_NE(std::string::npos, errorOf(dir.file("none/spool.db"), Spool::Access::kReadWrite)
                                     .find("No such file or directory; see that the folder"));
}

TEST(Spool, GivenAFormOfALaterVersionThenItIsLeftAlone) {
    const TempDir dir;
    { Spool spool(dir.file("spool.db")); }
    std::string bytes = dir.read("spool.db");
    ASSERT_EQ(1, bytes.at(63));  // user_version
    bytes[63] = 2;
    dir.write("spool.db", bytes);

    EXPECT_NE(std::string::npos,
              errorOf(dir.file("spool.db"), Spool::Access::kReadWrite).find("newer raidwatch"));
    EXPECT_EQ(bytes, dir.read("spool.db"));
}

}  // namespace
