#include "agent/sinks/JournalSink.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include <nlohmann/json.hpp>

#include "agent/sinks/MessageId.h"
#include "tests/agent/LocalService.h"
#include "tests/agent/SinkFixture.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

constexpr char kJournald[] = "/lib/systemd/systemd-journald";
constexpr char kSocket[] = "/run/systemd/journal/socket";
const std::string kCatalog = QEL_SOURCE_DIR "/packaging/journal/raidwatch.catalog";

std::map<std::string, std::string> fieldsOf(const Record& record) {
    std::map<std::string, std::string> fields;
    for (const auto& [name, value] : JournalSink::fields(record, "m:1")) {
        EXPECT_TRUE(fields.emplace(name, value).second) << name << " comes twice";
    }
    return fields;
}

using Fields = std::map<std::string, std::string>;

TEST(JournalSink, AnEventHasTheFieldsThatAreKnown) {
    EXPECT_EQ(Fields({{"MESSAGE", "Drive failed: slot 3."},
                      {"MESSAGE_ID", eventMessageId(401, "EVENT_TORVEX_PD_STATE_FAILED")},
                      {"PRIORITY", "3"},
                      {"SYSLOG_IDENTIFIER", "raidwatch"},
                      {"RAIDWATCH_ID", "m:1"},
                      {"RAIDWATCH_KIND", "event"},
                      {"RAIDWATCH_ORIGIN", "live"},
                      {"RAIDWATCH_SEVERITY", "error"},
                      {"RAIDWATCH_CODE", "401"},
                      {"RAIDWATCH_EVENT_ID", "EVENT_TORVEX_PD_STATE_FAILED"},
                      {"RAIDWATCH_TIME", "1000000000"},
                      {"RAIDWATCH_OBJECT", "drive:S7K2M9Q0"},
                      {"RAIDWATCH_OBJECT_NAME", "drive 1:0:3"},
                      {"RAIDWATCH_SERIAL", "S7K2M9Q0"}}),
              fieldsOf(driveEvent()));
}

TEST(JournalSink, ANoticeHasItsIncidentAndItsLines) {
    const Fields fields = fieldsOf(arrayNotice(Notice::Kind::kWorse));
    EXPECT_EQ("DEGRADED md127 on host: survives no further failure", fields.at("MESSAGE"));
    EXPECT_EQ(noticeMessageId(Notice::Kind::kWorse), fields.at("MESSAGE_ID"));
    EXPECT_EQ("4", fields.at("PRIORITY"));
    EXPECT_EQ("worse", fields.at("RAIDWATCH_NOTICE"));
    EXPECT_EQ("7", fields.at("RAIDWATCH_INCIDENT"));
    EXPECT_EQ("redundancy", fields.at("RAIDWATCH_CONDITION"));
    EXPECT_EQ("degraded", fields.at("RAIDWATCH_VALUE"));
    EXPECT_EQ("First line.\nSecond line.\n", fields.at("RAIDWATCH_BODY"));
    EXPECT_EQ(0u, fields.count("RAIDWATCH_EVENT_ID"));
}

TEST(JournalSink, LeavesOutCompanionsAndPercentages) {
    const JournalSink sink(sinkSettings("journal", "journal"));
    EXPECT_TRUE(sink.wants(driveEvent()));
    EXPECT_TRUE(sink.wants(arrayNotice()));
    EXPECT_FALSE(sink.wants(driveEvent(499)));
    EXPECT_FALSE(sink.wants(driveEvent(372, kEventProgress)));
}

TEST(JournalSink, GivenNoJournalThenItWaitsInsteadOfBelievingTheLibrary) {
    if (access(kSocket, F_OK) == 0) GTEST_SKIP() << "NOT TESTED: this machine has a journal";
    JournalSink sink(sinkSettings("journal", "journal"));
    const Answer answer = sink.deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_EQ(std::string("no journal listens on ") + kSocket +
                  "; start systemd-journald, or set enabled = false for this sink",
              answer.text);
    EXPECT_EQ(answer.text, sink.problem());
}

// Runs `body` in a process of its own, which sees a /run of its own with a journal of its own.
// "" or why that cannot be had here.
class JournalRoom {
public:
    static std::string run(const std::function<void()>& body) {
        if (geteuid() != 0) return "only root may have a journal of its own";
        if (access(kJournald, X_OK) != 0) return "no systemd-journald; install systemd";
        if (access("/etc/machine-id", R_OK) != 0) return "there is no /etc/machine-id";
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            const int code = enter(body);
            std::fflush(nullptr);
            _exit(code);
        }
        int status = 0;
        EXPECT_EQ(child, waitpid(child, &status, 0));
        if (WIFEXITED(status) && WEXITSTATUS(status) == kNoRoom) return "no private mounts here";
        if (WIFEXITED(status) && WEXITSTATUS(status) == kNoJournal) {
            return "systemd-journald does not start here";
        }
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "failed, see above";
        return std::string();
    }

private:
    static constexpr int kNoRoom = 77;
    static constexpr int kNoJournal = 78;

    static int enter(const std::function<void()>& body) {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
            mount("tmpfs", "/run", "tmpfs", 0, "size=64m")) {
            return kNoRoom;
        }
        fs::create_directories("/run/systemd/journal");
        fs::create_directories("/run/log/journal");
        fs::create_directories("/run/systemd/journald.conf.d");
        std::ofstream("/run/systemd/journald.conf.d/test.conf")
            << "[Journal]\nStorage=volatile\nReadKMsg=no\nAudit=no\nRuntimeMaxUse=16M\n";
        const LocalService journald({kJournald});
        if (!waitUntil([] { return access(kSocket, F_OK) == 0; })) return kNoJournal;
        body();
        return testing::Test::HasFailure() ? 1 : 0;
    }
};

// What the journal holds of us, oldest first.
std::vector<nlohmann::json> entries() {
    (void)outputOf("journalctl --sync 2>&1");
    std::vector<nlohmann::json> found;
    const std::string text =
        outputOf("journalctl -t raidwatch -o json --all --directory=/run/log/journal");
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        found.push_back(nlohmann::json::parse(text.substr(at, end - at), nullptr, false));
        at = end + 1;
    }
    return found;
}

TEST(JournalSink, ARealJournalKeepsWhatWasDelivered) {
    const std::string missing = JournalRoom::run([] {
        JournalSink sink(sinkSettings("journal", "journal"));
        ASSERT_TRUE(waitUntil([&] { return sink.problem().empty(); })) << sink.problem();
        Record hostile = driveEvent(402, kEventWarning, "S\nPRIORITY=0\nX=\x1b[2J\xff");
        hostile.event.text = std::string("a\nMESSAGE_ID=0\0b", 16);
        const Record sent[] = {driveEvent(), arrayNotice(), hostile};
        for (const Record& record : sent) {
            const Answer answer = sink.deliver(record, "m:1");
            EXPECT_EQ(Answer::Kind::kDelivered, answer.kind) << answer.text;
            EXPECT_EQ("taken by the journal", answer.text);
        }

        const std::vector<nlohmann::json> kept = entries();
        ASSERT_EQ(3u, kept.size());
        for (std::size_t i = 0; i < 3; ++i) {
            for (const auto& [name, value] : JournalSink::fields(sent[i], "m:1")) {
                EXPECT_EQ(value, kept[i].value(name, "(missing)")) << name;
            }
            EXPECT_FALSE(kept[i].contains("CODE_FILE"));
        }
        EXPECT_EQ("a\\nMESSAGE_ID=0\\x00b", kept[2].value("MESSAGE", ""));
        EXPECT_EQ("4", kept[2].value("PRIORITY", ""));
        EXPECT_FALSE(kept[2].contains("X"));
    });
    if (!missing.empty()) GTEST_SKIP() << "NOT TESTED: " << missing;
}

TEST(JournalSink, JournalctlExplainsTheEntriesWithTheCatalogue) {
    const std::string missing = JournalRoom::run([] {
        const TempDir dir;
        fs::create_directories(dir.file("usr/lib/systemd/catalog"));
        fs::create_directories(dir.file("var/lib/systemd/catalog"));
        fs::copy_file(kCatalog, dir.file("usr/lib/systemd/catalog/raidwatch.catalog"));
        EXPECT_EQ("", outputOf("journalctl --root=" + dir.folder() + " --update-catalog 2>&1"));
        fs::create_directories("/var/lib/systemd");
        ASSERT_EQ(0, mount(dir.file("var/lib/systemd").c_str(), "/var/lib/systemd", nullptr,
                           MS_BIND, nullptr));

        JournalSink sink(sinkSettings("journal", "journal"));
        ASSERT_TRUE(waitUntil([&] { return sink.problem().empty(); }));
        EXPECT_EQ(Answer::Kind::kDelivered, sink.deliver(arrayNotice(), "m:1").kind);
        (void)outputOf("journalctl --sync 2>&1");
        const std::string text =
            outputOf("journalctl -x -t raidwatch --directory=/run/log/journal 2>&1");
        EXPECT_NE(std::string::npos, text.find("Subject: A storage problem began")) << text;
        EXPECT_NE(std::string::npos, text.find("md127 is not as it should be.")) << text;
        EXPECT_NE(std::string::npos, text.find(" raidwatch ack 7\n")) << text;
    });
    if (!missing.empty()) GTEST_SKIP() << "NOT TESTED: " << missing;
}

}  // namespace
