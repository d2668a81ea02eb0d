// The agent's configuration half-written: read as it stands, or refused with the place. A daemon
// that is told to read it keeps the old one then (DaemonTest).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "agent/settings/SettingsReader.h"
#include "tests/support/FilesInMemory.h"
#include "tests/support/TempDir.h"

namespace {

constexpr char kWhole[] = R"([monitor]
source = "linux:/"
[paths]
state = "/var/lib/raidwatch"
[spool]
keep = "90d"
[http]
listen = ["unix"]
[sink.journal]
enabled = false
[sink.out]
type = "file"
path = "/var/log/raid.jsonl"
send = "both"
)";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

TEST(SettingsCut, GivenAFileCutAtAnyByteThenItIsReadOrRefusedWithTheFileAndTheLine) {
    const FilesInMemory inMemory;
    const TempDir dir;
    const std::string whole(kWhole);
    const std::string file = dir.file("raidwatch.toml");
    const std::size_t sink = whole.find("path = \"/var/log");
    int refused = 0;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        dir.write("raidwatch.toml", whole.substr(0, length));
        ASSERT_EQ(0, chmod(file.c_str(), 0600));
        try {
            const AgentSettings read = SettingsReader(file, true).read();
            EXPECT_EQ(length > sink ? 1u : 0u, read.sinks.count("out")) << length;
        } catch (const SettingsError& e) {
            ++refused;
            ASSERT_FALSE(e.problems.empty()) << length;
            for (const std::string& line : e.problems) {
                ASSERT_EQ(0u, line.find(file + ":")) << line;
                ASSERT_TRUE(isDigit(line[file.size() + 1])) << line;
                ASSERT_EQ(std::string::npos, line.find('\n')) << line;
            }
        }
    }
    EXPECT_EQ(187, refused) << "most cuts leave a key without a value, or a sink without a type";
    EXPECT_EQ(1u, SettingsReader(file, true).read().sinks.size());
}

}  // namespace
