#include "agent/sinks/JournalCatalog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "agent/sinks/MessageId.h"
#include "monitor/EventRows.h"
#include "tests/agent/LocalService.h"
#include "tests/support/TempDir.h"

namespace {

const std::string kFile = QEL_SOURCE_DIR "/packaging/journal/raidwatch.catalog";
constexpr char kJournalctl[] = "/usr/bin/journalctl";

std::string made() { return journalCatalog(EventReference("")); }

std::string contentsOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::multiset<std::string> idsIn(const std::string& text) {
    static const std::regex heading("^-- ([0-9a-f]{32})$", std::regex::multiline);
    std::multiset<std::string> ids;
    for (std::sregex_iterator it(text.begin(), text.end(), heading), end; it != end; ++it) {
        ids.insert((*it)[1]);
    }
    return ids;
}

TEST(JournalCatalog, TheFileIsWhatTheRowsSay) {
    if (std::getenv("QEL_APPROVE") != nullptr) std::ofstream(kFile, std::ios::binary) << made();
    EXPECT_EQ(made(), contentsOf(kFile)) << kFile << " is out of date: ./test --approve";
}

TEST(JournalCatalog, EveryEventAndNoticeHasExactlyOneEntry) {
    std::set<std::string> wanted;
    for (const EventRow* row : rows::kAllEventRows) {
        wanted.insert(eventMessageId(row->code, row->eventId));
    }
    for (const auto kind : {Notice::Kind::kOpened, Notice::Kind::kUpdated, Notice::Kind::kWorse,
                            Notice::Kind::kResolved, Notice::Kind::kReminder,
                            Notice::Kind::kFlapping, Notice::Kind::kTest}) {
        wanted.insert(noticeMessageId(kind));
    }
    const std::multiset<std::string> ids = idsIn(made());
    EXPECT_EQ(wanted, std::set<std::string>(ids.begin(), ids.end()));
    EXPECT_EQ(wanted.size(), ids.size());
}

TEST(JournalCatalog, LinesFitATerminalBesideTheMarginOfJournalctl) {
    const std::string text = made();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        const std::string line = text.substr(at, end - at);
        const bool isHead = line.rfind("Subject: ", 0) == 0 || line[0] == '#';
        if (!isHead) {
            EXPECT_LE(line.size(), 77u) << line;
        }
        at = end + 1;
    }
}

TEST(JournalCatalog, TheJournalAcceptsTheFile) {
    if (access(kJournalctl, X_OK) != 0)
        GTEST_SKIP() << "NOT TESTED: no journalctl; install systemd";
    const TempDir dir;
    dir.write("usr/lib/systemd/catalog/raidwatch.catalog", contentsOf(kFile));
    std::filesystem::create_directories(dir.file("var/lib/systemd/catalog"));
    const std::string journalctl = std::string(kJournalctl) + " --root=" + dir.folder() + " ";
    EXPECT_EQ("", outputOf(journalctl + "--update-catalog 2>&1"));

    const std::string list = outputOf(journalctl + "--list-catalog 2>&1");
    for (const std::string& id : idsIn(made())) {
        EXPECT_NE(std::string::npos, list.find(id + " raidwatch: ")) << id << "\n" << list;
    }
    const std::string dump =
        outputOf(journalctl + "--dump-catalog " +
                 eventMessageId(401, "EVENT_TORVEX_PD_STATE_FAILED") + " 2>&1");
    EXPECT_NE(std::string::npos, dump.find("Subject: RAID event 401 EVENT_TORVEX_PD_STATE_FAILED"))
        << dump;
    EXPECT_NE(std::string::npos, dump.find("What to do: ")) << dump;
}

}  // namespace
