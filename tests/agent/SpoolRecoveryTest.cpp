// A spool that is damaged, killed, shared or has no room: what was given stays given.
#include "agent/spool/Spool.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "agent/spool/SqliteFile.h"
#include "tests/agent/support/SpoolRecords.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using spoolRecords::commitOne;
using spoolRecords::eventRecord;
using spoolRecords::fill;
using spoolRecords::Sequences;
using spoolRecords::sequencesOf;

std::size_t setAsideIn(const TempDir& dir) {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(dir.folder())) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("spool.db.damaged-", 0) == 0 && name.find("-wal") == std::string::npos) {
            ++count;
        }
    }
    return count;
}

TEST(Spool, GivenNoDatabaseThenItIsSetAsideAndTheNumbersGoOn) {
    const TempDir dir;
    std::string id;
    {
        Spool spool(dir.file("spool.db"));
        fill(spool, 42);
        Incident incident;
        incident.id = 7;
        spool.putIncident(incident);
        id = spool.machineId();
    }
    dir.write("spool.db", "this was a database once\n");

    Spool spool(dir.file("spool.db"));

    EXPECT_NE(std::string::npos, spool.openingNote().find("was damaged"));
    EXPECT_EQ(1u, setAsideIn(dir));
    EXPECT_EQ(id, spool.machineId());
    EXPECT_EQ(0, spool.firstSequence());
    EXPECT_GT(commitOne(spool, eventRecord(1, "drive:A")), 42);
    EXPECT_GT(spool.lastIncident(), 6);
}

// Whatever happens to the file, the spool opens, works, and gives no number twice.
void expectUsable(const TempDir& dir, std::int64_t given) {
    Spool spool(dir.file("spool.db"));
    for (const Record& record : spool.read(0, 0)) EXPECT_GE(record.sequence, 1);
    spool.openIncidents();
    spool.sinkStatus();
    spool.watchSpans(0);
    const std::int64_t next = commitOne(spool, eventRecord(999, "drive:A"));
    EXPECT_GT(next, given);
    spool.cursor("new");
    spool.prune(1);
    EXPECT_EQ(999, spool.read(next - 1, 1).at(0).event.eventCode);
}

// A spool of 200 records and the bytes of its database, without side files.
std::string soundBytes() {
    const TempDir dir;
    {
        Spool spool(dir.file("spool.db"));
        spool.cursor("mail");
        fill(spool, 200);
        Receipt receipt;
        for (int i = 1; i < 50; ++i) spool.deliver("mail", i, receipt);
        Incident incident;
        incident.id = 1;
        spool.putIncident(incident);
        spool.beginWatch(5);
    }
    return dir.read("spool.db");
}

void plant(const TempDir& dir, const std::string& bytes) {
    dir.write("spool.db", bytes);
    dir.write("spool.db.high",
              "00000000000000000200 00000000000000000001 "
              "00000000000000000200 00000000000000000001\n");
}

// A sector that holds its old contents again does not break the form of a database.
TEST(Spool, GivenCountersBehindWhatIsThereThenTheyGoOnBehindIt) {
    const TempDir dir;
    Incident incident;
    incident.id = 7;
    {
        Spool spool(dir.file("spool.db"));
        fill(spool, 5);
        spool.putIncident(incident);
    }
    SqliteFile(dir.file("spool.db"), SqliteFile::Mode::kWrite).run("UPDATE numbers SET value = 2");
    fs::remove(dir.file("spool.db.high"));

    Spool spool(dir.file("spool.db"));
    EXPECT_EQ("the counter of the spool " + dir.file("spool.db") +
                  " stood at 2; it goes on behind its last record, 5",
              spool.openingNote());
    EXPECT_EQ(6, commitOne(spool, eventRecord(402, "drive:B")));
    EXPECT_EQ(7, spool.lastIncident());
}

TEST(Spool, GivenANumberThatNoSpoolReachesThenItIsSetAside) {
    for (const char* damage : {"UPDATE records SET sequence = 9223372036854775807",
                               "UPDATE numbers SET value = 9223372036854775807"}) {
        SCOPED_TRACE(damage);
        const TempDir dir;
        {
            Spool spool(dir.file("spool.db"));
            fill(spool, 1);
        }
        SqliteFile(dir.file("spool.db"), SqliteFile::Mode::kWrite).run(damage);

        Spool spool(dir.file("spool.db"));
        EXPECT_NE(std::string::npos, spool.openingNote().find("was damaged"))
            << spool.openingNote();
        EXPECT_LT(1, commitOne(spool, eventRecord(402, "drive:B")));
    }
}

TEST(Spool, GivenAFileCutAnywhereThenItOpens) {
    const std::string sound = soundBytes();
    for (std::size_t size = 0; size < sound.size(); size += size < 200 ? 41 : 8009) {
        SCOPED_TRACE(size);
        const TempDir dir;
        plant(dir, sound.substr(0, size));
        expectUsable(dir, 200);
    }
}

TEST(Spool, GivenGarbageAnywhereThenItOpens) {
    const std::string sound = soundBytes();
    std::mt19937 random(7);
    for (std::size_t at = 0; at < sound.size(); at += at < 120 ? 9 : 5003) {
        SCOPED_TRACE(at);
        const TempDir dir;
        std::string bytes = sound;
        for (std::size_t i = at; i < std::min(at + 40, bytes.size()); ++i) {
            bytes[i] = static_cast<char>(random());
        }
        plant(dir, bytes);
        expectUsable(dir, 200);
    }
}

TEST(Spool, GivenADamagedJournalThenTheNumbersOfLostRecordsAreNotGivenAgain) {
    const TempDir from;
    Spool spool(from.file("spool.db"));
    fill(spool, 5);
    commitOne(spool, eventRecord(6, "drive:A"));
    const TempDir dir;
    for (const char* name : {"spool.db", "spool.db.high", "machine-id"}) {
        dir.write(name, from.read(name));
    }
    const std::string journal = from.read("spool.db-wal");
    dir.write("spool.db-wal", journal.substr(0, journal.size() - 2000));

    Spool reopened(dir.file("spool.db"));

    EXPECT_EQ((Sequences{1, 2, 3, 4, 5}), sequencesOf(reopened.read(0, 10)));
    EXPECT_NE(std::string::npos, reopened.openingNote().find("records 6 to 6 are missing"));
    EXPECT_EQ(7, commitOne(reopened, eventRecord(7, "drive:A")));
}

TEST(Spool, GivenADamagedMachineIdThenANewOneIsMadeAndKept) {
    const TempDir dir;
    dir.write("machine-id", "\xff\xff");
    std::string id;
    {
        Spool spool(dir.file("spool.db"));
        id = spool.machineId();
    }
    EXPECT_EQ(36u, id.size());
    EXPECT_EQ(id, Spool(dir.file("spool.db")).machineId());
}

// A child that commits batches of one to three records until it is killed. Each batch carries its
// size in value1, so that a part of one would show.
[[noreturn]] void commitForever(const std::string& file, int pipe) {
    try {
        Spool spool(file);
        for (int round = 1;; ++round) {
            Spool::Batch batch;
            const int size = 1 + round % 3;
            for (int i = 0; i < size; ++i) {
                batch.records.push_back(eventRecord(round, "drive:A"));
                batch.records.back().event.value1 = size;
            }
            const std::int64_t last = spool.commit(batch);
            if (write(pipe, &last, sizeof last) != sizeof last) _exit(1);
        }
    } catch (...) {
        _exit(2);
    }
}

// Reads what the child says it has committed; after some of it the child is killed.
std::int64_t lastSaidBefore(int pipe, pid_t child, int rounds, int microseconds) {
    std::int64_t last = 0;
    std::int64_t said = 0;
    for (int i = 0; i < rounds && read(pipe, &said, sizeof said) == sizeof said; ++i) last = said;
    usleep(static_cast<useconds_t>(microseconds));  // to hit any point of a commit
    kill(child, SIGKILL);
    while (read(pipe, &said, sizeof said) == sizeof said) last = said;
    return last;
}

void expectWholeBatches(const std::vector<Record>& records, std::int64_t first) {
    std::int64_t expected = first;
    for (std::size_t i = 0; i < records.size();) {
        const int size = records[i].event.value1;
        for (int k = 0; k < size; ++k, ++i) {
            ASSERT_LT(i, records.size()) << "a part of a batch";
            EXPECT_EQ(expected++, records[i].sequence);
            EXPECT_EQ(size, records[i].event.value1);
        }
    }
}

TEST(Spool, GivenAKillAtAnyPointThenEveryCommittedRecordIsThereWithoutGaps) {
    const TempDir dir;
    const std::string file = dir.file("spool.db");
    std::mt19937 random(11);
    std::int64_t before = 0;
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) commitForever(file, ends[1]);
        close(ends[1]);
        const std::int64_t said = lastSaidBefore(ends[0], child, static_cast<int>(random() % 4),
                                                 static_cast<int>(random() % 3000));
        close(ends[0]);
        int status = 0;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        ASSERT_TRUE(WIFSIGNALED(status)) << "exit " << WEXITSTATUS(status);

        Spool spool(file);
        EXPECT_EQ("", spool.openingNote());
        EXPECT_GE(spool.lastSequence(), std::max(said, before));
        expectWholeBatches(spool.read(before, 0), before + 1);
        before = spool.lastSequence();
    }
    EXPECT_GT(before, 40);
}

TEST(Spool, GivenTwoProcessesThenBothWriteAndNoNumberIsGivenTwice) {
    const TempDir dir;
    const std::string file = dir.file("spool.db");
    constexpr int kEach = 60;
    std::vector<pid_t> children;
    for (int code : {1, 2}) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            try {
                Spool spool(file);
                for (int i = 0; i < kEach; ++i) commitOne(spool, eventRecord(code, "drive:A"));
                _exit(0);
            } catch (...) {
                _exit(1);
            }
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status);
    }
    Spool spool(file);
    std::map<int, int> byCode;
    std::int64_t expected = 0;
    for (const Record& record : spool.read(0, 0)) {
        EXPECT_EQ(++expected, record.sequence);
        ++byCode[record.event.eventCode];
    }
    EXPECT_EQ((std::map<int, int>{{1, kEach}, {2, kEach}}), byCode);
}

// In a child, because a limit of the process cannot be taken back under every user.
TEST(Spool, GivenNoRoomThenTheCommitFailsWholeAndLaterOnesWork) {
    const TempDir dir;
    const std::string file = dir.file("spool.db");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int answer = 1;
        try {
            signal(SIGXFSZ, SIG_IGN);
            Spool spool(file);
            fill(spool, 3);
            rlimit limit{};
            getrlimit(RLIMIT_FSIZE, &limit);
            limit.rlim_cur = 300000;
            setrlimit(RLIMIT_FSIZE, &limit);
            Spool::Batch batch;
            for (int i = 0; i < 3; ++i) {
                batch.records.push_back(eventRecord(4, "drive:A"));
                batch.records.back().event.text.assign(200000, 'x');
            }
            answer = 2;
            try {
                spool.commit(batch);
            } catch (const SpoolError&) {
                answer = 3;
            }
            if (answer == 3 && spool.lastSequence() == 3 && batch.records[0].sequence == 0 &&
                spool.read(0, 0).size() == 3 && commitOne(spool, eventRecord(5, "drive:A")) == 4) {
                answer = 0;
            }
        } catch (...) {
            answer = 9;
        }
        _exit(answer);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status) << "exit " << WEXITSTATUS(status);
    Spool spool(file);
    EXPECT_EQ("", spool.openingNote());
    EXPECT_EQ((Sequences{1, 2, 3, 4}), sequencesOf(spool.read(0, 0)));
}

// In a child with a small file system of its own. Exit codes: 0 as it should be, 77 not permitted.
int fillADisk(const std::string& folder) {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=2m") != 0) {
        return 77;
    }
    Spool spool(folder + "spool.db");
    fill(spool, 3);
    std::ofstream(folder + "filler") << std::string(1200000, 'x');
    std::int64_t last = 3;
    Record big = eventRecord(4, "drive:A");
    big.event.text.assign(60000, 'x');
    bool full = false;
    for (int i = 0; i < 100 && !full; ++i) {
        try {
            last = commitOne(spool, big);
        } catch (const SpoolError& e) {
            full = std::string(e.what()).find("make room in") != std::string::npos;
            if (!full) return 2;
        }
    }
    if (!full) return 3;
    if (spool.lastSequence() != last) return 4;
    if (static_cast<std::int64_t>(spool.read(0, 0).size()) != last) return 5;
    fs::remove(folder + "filler");
    if (commitOne(spool, eventRecord(5, "drive:A")) != last + 1) return 6;
    return Spool(folder + "spool.db").openingNote().empty() ? 0 : 7;
}

TEST(Spool, GivenAFullDiskThenNothingIsHalfWrittenAndRoomHeals) {
    const TempDir dir;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int answer = 9;
        try {
            answer = fillADisk(dir.folder());
        } catch (const std::exception& e) {
            std::fprintf(stderr, "%s\n", e.what());
        }
        _exit(answer);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "NOT TESTED: may not mount a file system here";
    EXPECT_EQ(0, WEXITSTATUS(status));
}

}  // namespace
