#include "agent/sinks/FileSink.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "tests/agent/SinkFixture.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

class FileSinkTest : public testing::Test {
protected:
    FileSinkTest() : settings(sinkSettings("log", "file")) {
        settings.texts["path"] = dir.file("events.jsonl");
    }

    FileSink& sink() {
        if (made == nullptr) made = std::make_unique<FileSink>(settings);
        return *made;
    }
    Answer deliver(std::int64_t sequence) {
        Record record = driveEvent();
        record.sequence = sequence;
        return sink().deliver(record, "machine:" + std::to_string(sequence));
    }
    // The ids of the lines of a file, "?" for a line that is no JSON.
    std::vector<std::string> idsIn(const std::string& name) const {
        std::vector<std::string> ids;
        const std::string text = dir.read(name);
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = text.find('\n', at);
            if (end == std::string::npos) return ids.push_back("(no line end)"), ids;
            const auto json = nlohmann::json::parse(text.substr(at, end - at), nullptr, false);
            ids.push_back(json.is_object() ? json.value("id", "(none)") : "?");
            at = end + 1;
        }
        return ids;
    }

    using Ids = std::vector<std::string>;

    TempDir dir;
    SinkSettings settings;
    std::unique_ptr<FileSink> made;
};

TEST_F(FileSinkTest, EachRecordIsOneLineOfJson) {
    const Answer answer = deliver(1);
    EXPECT_EQ(Answer::Kind::kDelivered, answer.kind);
    EXPECT_EQ("written to " + dir.file("events.jsonl") + ", now " +
                  std::to_string(fs::file_size(dir.file("events.jsonl"))) + " bytes",
              answer.text);
    deliver(2);
    EXPECT_EQ(Ids({"machine:1", "machine:2"}), idsIn("events.jsonl"));
    struct stat state {};
    ASSERT_EQ(0, stat(dir.file("events.jsonl").c_str(), &state));
    EXPECT_EQ(0u, state.st_mode & 0027u) << "others may not read it";
}

TEST_F(FileSinkTest, HostileBytesStayOnOneLineThatIsJson) {
    Record record = driveEvent(401, kEventError, "a\nb\x1b[2J\xff\"\\");
    EXPECT_EQ(Answer::Kind::kDelivered, sink().deliver(record, "machine:1").kind);
    EXPECT_EQ(Ids({"machine:1"}), idsIn("events.jsonl"));
    for (const char c : dir.read("events.jsonl")) EXPECT_TRUE(c == '\n' || c >= 0x20 || c < 0);
}

TEST_F(FileSinkTest, GivenALineThatACrashCutShortThenItSpoilsNoOther) {
    dir.write("events.jsonl", "{\"id\":\"machine:1\"}\n{\"id\":\"machi");
    deliver(2);
    EXPECT_EQ(Ids({"machine:1", "?", "machine:2"}), idsIn("events.jsonl"));
}

TEST_F(FileSinkTest, AtItsSizeTheFileIsRenamedAndTheOldestGoes) {
    deliver(1);
    const auto line = static_cast<std::int64_t>(fs::file_size(dir.file("events.jsonl")));
    settings.numbers["max_size"] = line + 1;  // two lines: checked before each one is written
    settings.numbers["keep"] = 2;
    made.reset();
    for (int i = 2; i <= 8; ++i) EXPECT_EQ(Answer::Kind::kDelivered, deliver(i).kind);
    EXPECT_EQ(Ids({"machine:7", "machine:8"}), idsIn("events.jsonl"));
    EXPECT_EQ(Ids({"machine:5", "machine:6"}), idsIn("events.jsonl.1"));
    EXPECT_EQ(Ids({"machine:3", "machine:4"}), idsIn("events.jsonl.2"));
    EXPECT_FALSE(dir.exists("events.jsonl.3"));
}

TEST_F(FileSinkTest, GivenKeepZeroThenTheFileBeginsAnew) {
    settings.numbers["max_size"] = 10;
    settings.numbers["keep"] = 0;
    deliver(1);
    deliver(2);
    EXPECT_EQ(Ids({"machine:2"}), idsIn("events.jsonl"));
    EXPECT_FALSE(dir.exists("events.jsonl.1"));
}

TEST_F(FileSinkTest, GivenSomebodyElseRenamedTheFileThenANewOneBegins) {
    deliver(1);
    fs::rename(dir.file("events.jsonl"), dir.file("rotated"));
    deliver(2);
    fs::remove(dir.file("events.jsonl"));
    deliver(3);
    fs::rename(dir.file("events.jsonl"), dir.file("again"));
    dir.write("events.jsonl", "");  // logrotate's "create"
    deliver(4);
    EXPECT_EQ(Ids({"machine:1"}), idsIn("rotated"));
    EXPECT_EQ(Ids({"machine:3"}), idsIn("again"));
    EXPECT_EQ(Ids({"machine:4"}), idsIn("events.jsonl"));
}

TEST_F(FileSinkTest, GivenNoFolderThenItWaitsUntilThereIsOne) {
    settings.texts["path"] = dir.file("logs/events.jsonl");
    const Answer answer = deliver(1);
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_EQ("cannot open the folder of " + dir.file("logs/events.jsonl") +
                  ": No such file or directory",
              answer.text);
    EXPECT_EQ(answer.text, sink().problem());
    fs::create_directory(dir.file("logs"));
    EXPECT_EQ("", sink().problem());
    EXPECT_EQ(Answer::Kind::kDelivered, deliver(1).kind);
}

TEST_F(FileSinkTest, GivenAFolderThatEverybodyMayWriteThenTrapsAreRefused) {
    ASSERT_EQ(0, chmod(dir.folder().c_str(), 0777));
    dir.write("victim", "precious");
    fs::create_symlink(dir.file("victim"), dir.file("events.jsonl"));
    const Answer link = deliver(1);
    EXPECT_EQ(Answer::Kind::kRetry, link.kind);
    EXPECT_NE(std::string::npos, link.text.find("symbolic link")) << link.text;

    fs::remove(dir.file("events.jsonl"));
    fs::create_hard_link(dir.file("victim"), dir.file("events.jsonl"));
    const Answer hard = deliver(1);
    EXPECT_EQ(Answer::Kind::kRetry, hard.kind);
    EXPECT_NE(std::string::npos, hard.text.find("somebody else's")) << hard.text;
    EXPECT_EQ("precious", dir.read("victim"));

    fs::remove(dir.file("events.jsonl"));
    EXPECT_EQ(Answer::Kind::kDelivered, deliver(1).kind);
}

TEST_F(FileSinkTest, GivenALinkInAFolderOfOursThenItIsFollowed) {
    ASSERT_EQ(0, chmod(dir.folder().c_str(), 0755));
    dir.write("target", "");
    fs::create_symlink(dir.file("target"), dir.file("events.jsonl"));
    EXPECT_EQ(Answer::Kind::kDelivered, deliver(1).kind);
    EXPECT_EQ(Ids({"machine:1"}), idsIn("target"));
}

TEST_F(FileSinkTest, GivenAPipeThenItIsRefusedAndDoesNotHang) {
    ASSERT_EQ(0, mkfifo(dir.file("events.jsonl").c_str(), 0600));
    const Answer answer = deliver(1);
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_NE(std::string::npos, answer.text.find("no regular file")) << answer.text;
}

TEST_F(FileSinkTest, GivenAFullDiskThenTheLineIsWrittenLaterAndNoneIsSpoiled) {
    deliver(1);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit full = before;
    full.rlim_cur = fs::file_size(dir.file("events.jsonl")) + 20;
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &full);
    const Answer answer = deliver(2);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_EQ("cannot write " + dir.file("events.jsonl") + ": File too large", answer.text);
    EXPECT_EQ(Answer::Kind::kDelivered, deliver(2).kind);
    EXPECT_EQ(Ids({"machine:1", "?", "machine:2"}), idsIn("events.jsonl"));
}

TEST_F(FileSinkTest, GivenAFolderItMayNotWriteThenItSaysSo) {
    ASSERT_EQ(0, chmod(dir.folder().c_str(), 0755));
    asOrdinaryUser([&] {
        if (access(dir.folder().c_str(), W_OK) == 0) return;  // our own folder
        const Answer answer = deliver(1);
        EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
        EXPECT_EQ("cannot open " + dir.file("events.jsonl") + ": Permission denied", answer.text);
    });
}

TEST_F(FileSinkTest, WrongSettingsNameTheKey) {
    struct {
        const char* key;
        const char* value;
        const char* says;
    } cases[] = {
        {"path", "", "path: is missing"},
        {"path", "events.jsonl", "path: \"events.jsonl\" is no file"},
        {"path", "/var/log/", "path: \"/var/log/\" is no file"},
        {"send", "some", "send: \"some\" is none of notices, events, told, both"},
    };
    for (const auto& c : cases) {
        SinkSettings wrong = settings;
        wrong.texts[c.key] = c.value;
        try {
            const FileSink unmade(wrong);
            ADD_FAILURE() << c.says;
        } catch (const Failure& e) {
            EXPECT_EQ(Failure::kBadUse, e.exitCode);
            EXPECT_EQ(0u, std::string(e.what()).find("raidwatch.toml:3: sink \"log\": " +
                                                     std::string(c.says)))
                << e.what();
        }
    }
}

TEST_F(FileSinkTest, TakesWhatSendNames) {
    EXPECT_TRUE(sink().wants(driveEvent(499)));
    EXPECT_TRUE(sink().wants(arrayNotice()));
    settings.texts["send"] = "notices";
    EXPECT_FALSE(FileSink(settings).wants(driveEvent()));
    EXPECT_TRUE(FileSink(settings).wants(arrayNotice()));
}

}  // namespace
