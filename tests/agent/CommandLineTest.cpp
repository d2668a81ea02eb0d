#include "agent/CommandLine.h"

#include <gtest/gtest.h>

#include <sstream>

#include "agent/Failure.h"
#include "tests/agent/AgentFixture.h"
#include "tests/support/TempDir.h"

namespace {

constexpr char kStory[] = QEL_SOURCE_DIR "/storlib/sources/scenarios/whole-story.json";
constexpr char kFans[] = QEL_SOURCE_DIR "/storlib/sources/scenarios/fan-fails-and-is-replaced.json";

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
    for (const char* verb : {"watch", "replay", "capture", "list", "scenario", "explain"}) {
        const Result result = run({verb, "--help"});
        EXPECT_EQ(0, result.exitCode) << verb;
        EXPECT_NE(std::string::npos, result.out.find(std::string("raidwatch ") + verb)) << verb;
        EXPECT_NE(std::string::npos, result.out.find("Exit codes: 0 done, 1 failed, 2 bad use"));
    }
    EXPECT_NE(std::string::npos, run({"--help"}).out.find("replay"));
}

TEST(CommandLine, GivenHelpThenNoLineIsWiderThanATerminal) {
    for (const char* verb : {"run", "watch", "events", "locate", "doctor", "check", "show"}) {
        std::istringstream lines(run({verb, "--help"}).out);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 80u) << verb << ": " << line;
        }
    }
}

// "INT:FLOAT in [0 - 3600]" is a word of the parser, not of people.
TEST(CommandLine, GivenHelpThenEachValueHasAWordAndItsRange) {
    struct Case {
        const char* verb;
        const char* line;
    };
    constexpr Case cases[] = {
        {"test", "  --wait SECONDS=30 "},
        {"test", "answers, 0 to 3600\n"},
        {"events", "  --since TIME "},
        {"events", "  --code CODE ... "},
        {"show", "  OBJECT ... REQUIRED "},
        {"locate", "  ACTION=status "},
        {"locate", "  --for DURATION=10m "},
        {"status", "  --config FILE "},
        {"config", "Usage: raidwatch config [OPTIONS] COMMAND\n"},
        {"config", "\nCommands:\n  check "},
    };
    for (const Case& c : cases) {
        const std::string help = run({c.verb, "--help"}).out;
        EXPECT_NE(std::string::npos, help.find(c.line)) << c.line << "\n" << help;
    }
}

// Their exit code says how the storage is: 2 would be CRITICAL.
TEST(CommandLine, GivenBadUseOfStatusOrCheckThenUnknown) {
    EXPECT_EQ(3, run({"status", "--wrong"}).exitCode);
    const Result check = run({"check", "--wrong"});
    EXPECT_EQ(3, check.exitCode);
    EXPECT_EQ("RAID UNKNOWN - unexpected: --wrong; see raidwatch check --help\n", check.out);
}

TEST(CommandLine, GivenBadUseThenOneLineThatNamesTheCure) {
    struct Case {
        std::vector<const char*> words;
        const char* part;
    };
    const Case cases[] = {
        {{}, "no command; see raidwatch --help"},
        {{"frobnicate"}, "unknown command frobnicate; see raidwatch --help"},
        {{"statsu"}, "unknown command statsu; did you mean status?"},
        {{"--no-color", "--config", "status", "statsu"}, "unknown command statsu; did you mean"},
        {{"--config=x", "statsu"}, "unknown command statsu; did you mean status?"},
        {{"--config", "x"}, "no command; see raidwatch --help"},
        {{"--no-color", "--wrong"}, "unknown flag or no command: --wrong; see raidwatch --help"},
        {{"--wrong"}, "--wrong"},
        {{"watch", "--wrong"}, "--wrong; see raidwatch watch --help"},
        {{"watch", "--source"}, "see raidwatch watch --help"},
        {{"watch", "--source", "tape"}, "unknown source \"tape\"; use one of linux"},
        {{"watch", "--source", "linux:/no/such/root", "--once"}, "/no/such/root"},
        {{"list", "--source", "tape"}, "unknown source"},
        {{"list", "left over"}, "left over"},
        {{"list", "drive"}, "there is no list of \"drive\"; did you mean drives?"},
        {{"test", "--wait", "9999"}, "--wait: \"9999\" does not fit; give a number, 0 to 3600"},
        {{"test", "--wait", "soon"}, "--wait: \"soon\" is no whole number"},
        {{"run", "--pace", "fast"}, "--pace: \"fast\" is no number"},
        {{"events", "--code", "401,x"}, "--code: \"x\" is no whole number"},
        {{"locate", "1/2", "blink"}, "ACTION: \"blink\" is none of on, off, status"},
        {{"drill", "no-such-story"}, "no-such-story: there is no such file, nor is a scenario of"},
        {{"replay"}, "PATH is required; see raidwatch replay --help"},
        {{"replay", "/no/such/path"}, "/no/such/path does not exist; give the folder"},
        {{"capture"}, "DIR is required"},
        {{"capture", "x", "--root", "/no/such/root"}, "--root /no/such/root is no folder"},
        {{"capture", "x", "--name", "a/b"}, "--name a/b cannot be the name of a step"},
        {{"capture", "x", "--name", ""}, "--name"},
        {{"capture", ""}, "DIR is empty; name a folder"},
        {{"replay", ""}, "PATH is empty; give the folder"},
        {{"replay", "/no/such/path", "--lang", "xx"}, "/no/such/path"},
        {{"scenario"}, "scenario needs one of its commands: check, play; see raidwatch scenario"},
        {{"scenario", "wotch"}, "check, play; see raidwatch scenario --help"},
        {{"scenario", "check"}, "FILE is required; see raidwatch scenario check --help"},
        {{"scenario", "play"}, "FILE is required; see raidwatch scenario play --help"},
        {{"scenario", "check", "/no/such/file"}, "/no/such/file: cannot be read; check the name"},
        {{"scenario", "check", "/"}, "/: cannot be read"},
        {{"scenario", "check", "/dev/null"}, "/dev/null:1: $: is empty"},
        {{"scenario", "play", "x", "--pace", "-1"},
         "\"-1\" is no pace; give seconds from 0 to 3600"},
        {{"scenario", "play", "x", "--pace", "1h"}, "--pace: \"1h\" is no number"},
        {{"scenario", "play", "x", "--pace", "nan"}, "\"nan\" is no pace"},
        {{"scenario", "play", "x", "--pace", "3601"}, "\"3601\" is no pace"},
        {{"scenario", "play", kStory, "--lang", "xx"}, "no catalogue for the language xx; use one"},
        {{"list", "--source", "scenario:"}, "a scenario needs a file: scenario:FILE"},
        {{"list", "--source", "scenario:/no/such/file"}, "/no/such/file: cannot be read"},
        {{"explain"}, "name one event (a code, an identifier or a catalogue key), or use --all"},
        {{"explain", ""}, "name one event"},
        {{"explain", "401", "--all"}, "name one event"},
        {{"explain", "9999"}, "no event is called 9999; raidwatch explain --all lists every event"},
        {{"explain", "401", "--lang", "xx"}, "no catalogue for the language xx; use one of"},
        {{"explain", "401", "--lang", "../en"}, "no catalogue for the language ../en"},
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

TEST(CommandLine, ScenarioCheckNamesTheTitleAndTheSteps) {
    const Result result = run({"scenario", "check", kStory});
    EXPECT_EQ(0, result.exitCode) << result.error;
    EXPECT_EQ(std::string(kStory) + ": in order; \"The whole story\", 20 steps\n", result.out);
}

TEST(CommandLine, ScenarioCheckNamesTheFaultyPlace) {
    const TempDir dir;
    dir.write("a.json", "{\n    \"scenario\": 1,\n    \"titel\": \"x\"\n}\n");
    const std::string file = dir.file("a.json");
    const Result result = run({"scenario", "check", file.c_str()});
    EXPECT_EQ(Failure::kBadUse, result.exitCode);
    EXPECT_EQ(0u, result.error.find(file + ":3: ")) << result.error;
    EXPECT_NE(std::string::npos, result.error.find("titel")) << result.error;
}

TEST(CommandLine, ScenarioPlayPrintsEachStepWithItsEvents) {
    const Result text = run({"scenario", "play", kFans});
    EXPECT_EQ(0, text.exitCode) << text.error;
    EXPECT_EQ(0u, text.out.find("== "));
    EXPECT_NE(std::string::npos, text.out.find(" ERROR "));
    const Result lines = run({"scenario", "play", kFans, "--json"});
    EXPECT_EQ(0u, lines.out.find("{\"time\":"));
    EXPECT_NE(std::string::npos, lines.out.find("\"objectType\":\"fan\""));
}

TEST(CommandLine, GivenALanguageThenTheTextsAreInIt) {
    EXPECT_NE(std::string::npos, run({"scenario", "play", kFans}).out.find("Controller added: "));
    EXPECT_NE(
        std::string::npos,
        run({"scenario", "play", kFans, "--lang", "de"}).out.find("Controller hinzugefügt: "));
    const std::string text = "\nText        ";
    const std::string english = run({"explain", "207"}).out;
    EXPECT_EQ(english, run({"explain", "207", "--lang", "en"}).out);
    EXPECT_NE(std::string::npos, english.find(text + "Controller added: "));
    EXPECT_NE(std::string::npos,
              run({"explain", "207", "--lang", "de"}).out.find(text + "Controller hinzugefügt: "));
}

TEST(CommandLine, GivenAnUnknownLanguageThenWatchMakesNoStateFolder) {
    const TempDir dir;
    const std::string source = std::string("scenario:") + kStory;
    const std::string state = dir.file("state");
    const Result result = run(
        {"watch", "--once", "--source", source.c_str(), "--state", state.c_str(), "--lang", "xx"});
    EXPECT_EQ(Failure::kBadUse, result.exitCode);
    EXPECT_FALSE(dir.exists("state"));
}

TEST(CommandLine, ExplainNamesAnEventWithItsCauseRiskAndAction) {
    const Result result = run({"explain", "event_torvex_state_notfound"});
    EXPECT_EQ(0u, result.out.find("Event       201  EVENT_TORVEX_STATE_NOTFOUND\n"
                                  "Severity    3 (INFO)\n"
                                  "Key         agentEventInfNoControllers\n"
                                  "Text        "))
        << result.out;
    for (const char* label :
         {"\nWhen  ", "\nMeaning  ", "\nCause  ", "\nRisk  ", "\nWhat to do  "}) {
        EXPECT_NE(std::string::npos, result.out.find(label)) << label;
    }
    EXPECT_EQ(0u, run({"explain", "200"}).out.find("Event       200\nSeverity    2 (WARNING)\n"))
        << "no key and no identifier";
    EXPECT_EQ(
        0u, run({"explain", "201", "--json"}).out.find("{\"key\":\"agentEventInfNoControllers\""));
}

}  // namespace
