// Who may do what on a machine that runs the real daemon: everybody may look, only the owner and
// the group may change something, and what is closed is closed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "agent/daemon/Agent.h"
#include "tests/agent/CommandRun.h"
#include "tests/agent/DaemonRoom.h"
#include "tests/support/OrdinaryUser.h"

namespace {

class PermissionsTest : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can be two users";
        ASSERT_EQ(0, chmod(room.dir.folder().c_str(), 0755));
        ASSERT_EQ(0, chmod(room.config.c_str(), 0644));
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] {
            return room.polled() && Agent(room.settings).isRunning() && room.isUp();
        })) << room.log();
    }
    void TearDown() override {
        if (room.pid > 0) {
            EXPECT_EQ(0, room.stop(SIGTERM)) << room.log();
        }
    }

    CommandRun run(std::vector<std::string> words) const {
        words.insert(words.end(), {"--config", room.config});
        return runCommand(words);
    }

    DaemonRoom room;
};

TEST_F(PermissionsTest, AnOrdinaryUserMayLook) {
    asOrdinaryUser([&] {
        for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
                 {"check"},
                 {"status"},
                 {"status", "--json"},
                 {"list", "drives"},
                 {"events"},
                 {"incidents"},
                 {"silence", "list"},
                 {"config", "check"},
             }) {
            const CommandRun ran = run(words);
            EXPECT_EQ("", ran.failure) << words[0];
            EXPECT_EQ(0, ran.exit) << words[0] << ": " << ran.out;
            EXPECT_NE("", ran.out) << words[0];
        }
        EXPECT_EQ(0u, run({"check"}).out.find("RAID OK")) << run({"check"}).out;
    });
}

TEST_F(PermissionsTest, AnOrdinaryUserMayChangeNothing) {
    asOrdinaryUser([&] {
        for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
                 {"ack", "1"},
                 {"unack", "1"},
                 {"silence", "add", "--all", "--for", "2h", "--reason", "x"},
                 {"silence", "rm", "1"},
                 {"test", "--wait", "1"},
             }) {
            const CommandRun ran = run(words);
            EXPECT_EQ(1, ran.exit) << words[0] << ": " << ran.out;
            EXPECT_EQ(0u, ran.failure.find("not permitted")) << words[0] << ": " << ran.failure;
        }
    });
    // The door for questions takes no change either, whoever knocks.
    const Agent agent(room.settings);
    EXPECT_TRUE(agent.isRunning());
    EXPECT_EQ(0u, Agent(room.settings).ask({{"do", "silences"}}).size());
}

struct FileCase {
    const char* name;
    bool readable;
};

constexpr FileCase kFiles[] = {
    {"run/state.json", true},
    {"run/raidwatch.pid", false},
    {"state/spool.db", false},
    {"state/spool.db.lock", false},
};

TEST_F(PermissionsTest, AnOrdinaryUserReadsTheStateAndNothingElse) {
    asOrdinaryUser([&] {
        for (const FileCase& c : kFiles) {
            const int fd = open(room.dir.file(c.name).c_str(), O_RDONLY | O_CLOEXEC);
            EXPECT_EQ(c.readable, fd >= 0) << c.name;
            if (fd >= 0) (void)close(fd);
        }
    });
    for (const FileCase& c : kFiles) EXPECT_TRUE(room.dir.exists(c.name)) << c.name;
}

}  // namespace
