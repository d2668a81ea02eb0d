// The engine's snapshot cut short at any byte, as a power cut or a full disk leaves it: what the
// daemon starts from, and what it tells.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "agent/spool/SafeSnapshot.h"
#include "agent/spool/Spool.h"
#include "tests/agent/DaemonRoom.h"
#include "tests/support/FilesInMemory.h"

namespace {

constexpr char kName[] = "QELVANTConfig.xml";
constexpr char kCopy[] = "QELVANTConfig.xml.safe";
constexpr char kPutBack[] = "was not the one whose events are all in the spool";
constexpr char kDamaged[] = "is damaged, and there is no copy of it";
constexpr int kRestarts = 9;

class SnapshotCutTest : public testing::Test {
protected:
    void SetUp() override {
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled() && room.isUp(); }))
            << room.log();
        ASSERT_EQ(0, room.stop(SIGTERM)) << room.log();
        whole = room.readFile(snapshot());
        ASSERT_EQ("</System>\n", whole.substr(whole.size() - 10));
        told = eventCodes().size();
    }
    static std::string snapshot() { return std::string("engine/") + kName; }

    // What was recorded, whether a sink has taken it yet or not.
    std::vector<int> eventCodes() const {
        const Spool spool(room.dir.file("state/spool.db"), Spool::Access::kReadOnly);
        std::vector<int> codes;
        for (const Record& record : spool.read(0, 0)) {
            if (record.kind == Record::Kind::kEvent) codes.push_back(record.event.eventCode);
        }
        return codes;
    }
    void restart() {
        std::filesystem::remove(room.dir.file("run/state.json"));
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled() && room.isUp(); }))
            << room.log();
        ASSERT_EQ(0, room.stop(SIGTERM)) << room.log();
    }

    FilesInMemory inMemory;
    DaemonRoom room;
    std::string whole;
    std::size_t told = 0;
};

TEST_F(SnapshotCutTest, GivenACutAtAnyByteThenTheCommittedOneIsPutBackAndTheNoteSaysSo) {
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const TempDir dir;
        dir.write(kName, whole.substr(0, length));
        SafeSnapshot safe(dir.file(kName));
        if (length + 1 < whole.size()) {
            ASSERT_EQ("", safe.readCurrent()) << length;
        }
        ASSERT_NE(std::string::npos, safe.restore(whole).find(kPutBack)) << length;
        ASSERT_EQ(whole, dir.read(kName)) << length;
        ASSERT_EQ(whole, dir.read(kCopy)) << length;
    }
}

TEST_F(SnapshotCutTest, GivenACopyCutAtAnyByteThenItIsSetAsideAndNothingIsPutBack) {
    for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
        const TempDir dir;
        dir.write(kName, whole);
        dir.write(kCopy, whole.substr(0, length));
        SafeSnapshot safe(dir.file(kName));
        ASSERT_NE(std::string::npos, safe.restore().find("was damaged; it is now")) << length;
        ASSERT_EQ(whole, dir.read(kName)) << length;
        ASSERT_FALSE(dir.exists(kCopy)) << length;
    }
}

TEST_F(SnapshotCutTest, GivenACutAndNothingToReplaceItThenTheNoteSaysWhatWillBeTold) {
    for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
        const TempDir dir;
        dir.write(kName, whole.substr(0, length));
        ASSERT_NE(std::string::npos, SafeSnapshot(dir.file(kName)).restore().find(kDamaged))
            << length;
        ASSERT_EQ(whole.substr(0, length), dir.read(kName)) << "the engine makes what it can of it";
    }
}

TEST_F(SnapshotCutTest, GivenCutsAndRestartsThenNothingIsTold) {
    for (std::size_t i = 0; i < kRestarts; ++i) {
        const std::size_t length = whole.size() * i / kRestarts;
        SCOPED_TRACE(length);
        room.dir.write(snapshot(), whole.substr(0, length));
        ASSERT_NO_FATAL_FAILURE(restart());
        EXPECT_EQ(whole, room.readFile(snapshot()));
        EXPECT_EQ(told, eventCodes().size()) << "nothing has happened";
    }
}

// The worst day: the spool and the copy are lost as well.
TEST_F(SnapshotCutTest, GivenACutWithoutSpoolAndCopyThenItIsSaidAndNothingIsToldToBeGone) {
    const std::set<int> asNew{207, 299, 307, 346, 399, 406, 407, 499};
    const std::size_t half = whole.find('\n', whole.size() / 2) + 1;
    for (const char* name : {"state/spool.db", "state/spool.db-wal", "state/spool.db-shm"}) {
        std::filesystem::remove(room.dir.file(name));
    }
    std::filesystem::remove(room.dir.file(std::string("engine/") + kCopy));
    room.dir.write(snapshot(), whole.substr(0, half));
    ASSERT_NO_FATAL_FAILURE(restart());
    EXPECT_TRUE(room.logged(kDamaged)) << room.log();
    for (const int code : eventCodes()) EXPECT_EQ(1u, asNew.count(code)) << code;
    const std::size_t before = eventCodes().size();
    ASSERT_NO_FATAL_FAILURE(restart());
    EXPECT_EQ(before, eventCodes().size()) << "only once";
}

}  // namespace
