#include "agent/CommandLine.h"

#include <gtest/gtest.h>

#include "agent/Failure.h"
#include "tests/agent/AgentFixture.h"
#include "tests/support/TempDir.h"

namespace {

struct Result {
    int exitCode;
    std::string out;
    std::string error;
};

Result run(std::vector<const char*> words) {
    words.insert(words.begin(), "raidwatch");
    KeptContext kept;
    Result result{};
    try {
        result.exitCode =
            CommandLine(kept.context, "9.8.7").run(static_cast<int>(words.size()), words.data());
    } catch (const Failure& e) {
        result.exitCode = e.exitCode;
        result.error = e.what();
    }
    result.out = kept.out.kept;
    return result;
}

TEST(CommandLine, PrintsTheVersion) { EXPECT_EQ("raidwatch 9.8.7\n", run({"--version"}).out); }

TEST(CommandLine, EveryVerbHasHelpWithTheExitCodes) {
    for (const char* verb : {"watch", "replay", "capture", "list"}) {
        const Result result = run({verb, "--help"});
        EXPECT_EQ(0, result.exitCode) << verb;
        EXPECT_NE(std::string::npos, result.out.find(std::string("raidwatch ") + verb)) << verb;
        EXPECT_NE(std::string::npos, result.out.find("Exit codes: 0 done, 1 failed, 2 bad use"));
    }
    EXPECT_NE(std::string::npos, run({"--help"}).out.find("replay"));
}

TEST(CommandLine, GivenBadUseThenOneLineThatNamesTheCure) {
    struct Case {
        std::vector<const char*> words;
        const char* part;
    };
    const Case cases[] = {
        {{}, "no command; see raidwatch --help"},
        {{"wotch"}, "unknown command wotch; see raidwatch --help"},
        {{"--wrong"}, "--wrong"},
        {{"watch", "--wrong"}, "--wrong; see raidwatch watch --help"},
        {{"watch", "--source"}, "see raidwatch watch --help"},
        {{"watch", "--source", "tape"}, "unknown source \"tape\"; use one of linux"},
        {{"watch", "--source", "linux:/no/such/root", "--once"}, "/no/such/root"},
        {{"list", "--source", "tape"}, "unknown source"},
        {{"list", "left over"}, "left over"},
        {{"replay"}, "PATH is required; see raidwatch replay --help"},
        {{"replay", "/no/such/path"}, "/no/such/path does not exist; give the folder"},
        {{"capture"}, "DIR is required"},
        {{"capture", "x", "--root", "/no/such/root"}, "--root /no/such/root is no folder"},
        {{"capture", "x", "--name", "a/b"}, "--name a/b cannot be the name of a step"},
        {{"capture", "x", "--name", ""}, "--name"},
    };
    for (const Case& c : cases) {
        const Result result = run(c.words);
        EXPECT_EQ(Failure::kBadUse, result.exitCode) << c.part;
        EXPECT_NE(std::string::npos, result.error.find(c.part)) << result.error;
        EXPECT_EQ(std::string::npos, result.error.find('\n')) << result.error;
        EXPECT_EQ("", result.out);
    }
}

TEST(CommandLine, CaptureThenListAndReplayReadWhatItWrote) {
    const TempDir dir;
    dir.write("machine/proc/mdstat", "Personalities : \nunused devices: <none>\n");
    const std::string root = dir.file("machine");
    const std::string recording = dir.file("recording");
    const Result first = run({"capture", recording.c_str(), "--root", root.c_str()});
    EXPECT_EQ(0, first.exitCode) << first.error;
    EXPECT_EQ(0u, first.out.find(recording + "/01-step (")) << first.out;
    const Result second =
        run({"capture", recording.c_str(), "--root", root.c_str(), "--name", "pulled"});
    EXPECT_EQ(0u, second.out.find(recording + "/02-pulled (")) << second.out;

    const std::string source = "linux:" + recording + "/01-step";
    EXPECT_NE(std::string::npos,
              run({"list", "--source", source.c_str()}).out.find("adapter 0  Linux MD"));
    const Result replayed = run({"replay", recording.c_str()});
    EXPECT_EQ(0, replayed.exitCode) << replayed.error;
    EXPECT_NE(std::string::npos, replayed.out.find("== 01-step\n"));
    EXPECT_NE(std::string::npos, replayed.out.find("== 02-pulled\n"));
}

TEST(CommandLine, WatchOnceComparesWithTheSnapshotOfTheStateFolder) {
    const TempDir dir;
    dir.write("machine/proc/mdstat", "Personalities : \nunused devices: <none>\n");
    const std::string source = "linux:" + dir.file("machine");
    const std::string state = dir.file("state");
    const std::vector<const char*> words = {"watch",        "--once",  "--json",     "--source",
                                            source.c_str(), "--state", state.c_str()};
    EXPECT_NE(std::string::npos, run(words).out.find("\"code\":207"));
    EXPECT_TRUE(dir.exists("state/QELVANTConfig.xml"));
    EXPECT_EQ("", run(words).out) << "nothing has changed since";

    dir.write("state/QELVANTConfig.xml", "<System x=1>");
    EXPECT_NE(std::string::npos, run(words).out.find("\"code\":207"));
}

}  // namespace
