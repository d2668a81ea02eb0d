#include "agent/sinks/ExecSink.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "tests/agent/HookFixture.h"
#include "tests/agent/LocalService.h"
#include "tests/agent/SinkFixture.h"

namespace {

class ExecSinkTest : public testing::Test {
protected:
    ExecSinkTest() : settings(sinkSettings("page", "exec")) {
        if (geteuid() == 0) settings.texts["user"] = "root";
        settings.timeout = 20;
    }

    ExecSink& sink() {
        if (made == nullptr) made = std::make_unique<ExecSink>(settings);
        return *made;
    }
    ExecSink& running(const std::string& lines) {
        settings.lists["command"] = {folder.script("hook", lines), "fixed"};
        return sink();
    }
    std::string out() const { return folder.dir.read("out"); }
    std::string outFile() const { return folder.dir.file("out"); }

    HookFolder folder;
    SinkSettings settings;
    std::unique_ptr<ExecSink> made;
};

TEST_F(ExecSinkTest, AHookGetsArgumentsVariablesAndJson) {
    const Answer answer =
        running("echo \"$@\" >" + outFile() + "; env | sort >>" + outFile() + "; cat >" +
                folder.dir.file("json") + "; echo paged; echo \"by \033[2J\" >&2")
            .deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kDelivered, answer.kind) << answer.text;
    EXPECT_EQ("hook ended with status 0; it said: paged by \\x1b[2J", answer.text);
    EXPECT_EQ(0u, out().find("fixed m:1 drive:S7K2M9Q0 error\n")) << out();
    EXPECT_NE(std::string::npos, out().find("\nRAIDWATCH_SERIAL=S7K2M9Q0\n"));
    EXPECT_NE(std::string::npos, out().find("\nRAIDWATCH_SINK=page\n"));
    EXPECT_NE(std::string::npos, out().find("\nPATH="));
    EXPECT_NE(std::string::npos, out().find("\nLANG="));
    EXPECT_EQ(std::string::npos, out().find("HOME="));
    EXPECT_EQ("m:1", nlohmann::json::parse(folder.dir.read("json")).at("id"));
}

TEST_F(ExecSinkTest, AStatusOtherThanZeroIsTriedAgainTenTimesAtMost) {
    running("echo no; exit 7");
    for (int i = 1; i < ExecSink::kMostTries; ++i) {
        const Answer answer = sink().deliver(driveEvent(), "m:1");
        EXPECT_EQ(Answer::Kind::kRetry, answer.kind) << i;
        EXPECT_EQ("hook ended with status 7; it said: no", answer.text);
    }
    EXPECT_EQ(Answer::Kind::kRetry, sink().deliver(driveEvent(), "m:2").kind) << "its own count";
    const Answer last = sink().deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kRefused, last.kind);
    EXPECT_EQ("hook ended with status 7; it said: no; tried 10 times", last.text);
}

TEST_F(ExecSinkTest, OfScriptsMadeForOtherProgramsTheStatusIsOnlyNotedDown) {
    for (const char* style : {"mdadm", "smartd"}) {
        settings.texts["style"] = style;
        made.reset();
        const Answer answer = running("exit 7").deliver(driveEvent(), "m:1");
        EXPECT_EQ(Answer::Kind::kDelivered, answer.kind) << style;
        EXPECT_EQ("hook ended with status 7", answer.text);
    }
}

TEST_F(ExecSinkTest, AScriptForMdadmRunsUnchanged) {
    settings.texts["style"] = "mdadm";
    settings.lists["command"] = {folder.script("hook", "echo \"$#|$1|$2|$3\" >" + outFile())};
    ExecSink told(settings, [] {
        auto state = std::make_unique<MachineState>();
        DriveState drive;
        drive.key = "drive:S7K2M9Q0";
        drive.osName = "sdb";
        drive.array = "array:0:127";
        state->drives.push_back(drive);
        ArrayState array;
        array.key = "array:0:127";
        array.name = "md127";
        state->arrays.push_back(array);
        return state;
    });
    ASSERT_TRUE(told.wants(driveEvent()));
    EXPECT_EQ(Answer::Kind::kDelivered, told.deliver(driveEvent(), "m:1").kind);
    EXPECT_EQ("3|Fail|/dev/md127|/dev/sdb\n", out());
}

TEST_F(ExecSinkTest, AScriptForSmartdRunsUnchanged) {
    settings.texts["style"] = "smartd";
    settings.lists["command"] = {folder.script(
        "hook",
        "echo \"$#|$SMARTD_FAILTYPE|$SMARTD_MESSAGE\" >" + outFile() + "; cat >>" + outFile())};
    EXPECT_EQ(Answer::Kind::kDelivered, sink().deliver(driveEvent(402), "m:1").kind);
    EXPECT_EQ("0|Health|Drive failed: slot 3.\nDrive failed: slot 3.\n", out());
}

TEST_F(ExecSinkTest, AHookThatTakesTooLongIsStoppedAndTriedAgain) {
    settings.timeout = 1;
    const Answer answer = running("echo begun; exec sleep 100").deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_EQ(0u, answer.text.find("hook took longer than 1 s and was stopped")) << answer.text;
}

TEST_F(ExecSinkTest, WhatOthersCanChangeIsNotRun) {
    running("touch " + outFile());
    ASSERT_EQ(0, chmod(settings.lists["command"][0].c_str(), 0777));
    const Answer answer = sink().deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_NE(std::string::npos, answer.text.find("writable by everybody; run: chmod go-w"));
    EXPECT_EQ(answer.text, sink().problem());
    EXPECT_FALSE(folder.dir.exists("out"));
    ASSERT_EQ(0, chmod(settings.lists["command"][0].c_str(), 0755));
    EXPECT_EQ("", sink().problem());
    EXPECT_EQ(Answer::Kind::kDelivered, sink().deliver(driveEvent(), "m:1").kind);
}

TEST_F(ExecSinkTest, AFolderOfHooksIsRunInOrderAndNoneTwice) {
    settings.texts["dir"] = folder.dir.file("hooks");
    folder.script("hooks/20-second",
                  "echo second >>" + outFile() + "; [ -e " + folder.dir.file("works") + " ]");
    folder.script("hooks/10-first", "echo first $1 >>" + outFile());
    EXPECT_EQ("", sink().problem());
    EXPECT_EQ(Answer::Kind::kRetry, sink().deliver(driveEvent(), "m:1").kind);
    folder.dir.write("works", "");
    const Answer answer = sink().deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kDelivered, answer.kind) << answer.text;
    EXPECT_EQ("first m:1\nsecond\nsecond\n", out());
    EXPECT_EQ(Answer::Kind::kDelivered, sink().deliver(driveEvent(), "m:2").kind);
    EXPECT_EQ("first m:1\nsecond\nsecond\nfirst m:2\nsecond\n", out());
}

TEST_F(ExecSinkTest, AnEmptyFolderDeliversToNobodyAndIsAProblem) {
    settings.texts["dir"] = folder.dir.folder();
    EXPECT_EQ("there is no hook in " + folder.dir.folder(), sink().problem());
    const Answer answer = sink().deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kDelivered, answer.kind);
    EXPECT_EQ("there was no hook to run in " + folder.dir.folder(), answer.text);
}

// Each hook waits until the other one runs too.
TEST_F(ExecSinkTest, HooksOfDifferentObjectsRunSideBySide) {
    settings.numbers["jobs"] = 2;
    running("touch " + outFile() + ".$RAIDWATCH_SERIAL; i=0; while [ ! -e " + outFile() +
            ".A ] || [ ! -e " + outFile() +
            ".B ]; do i=$((i+1)); [ $i -gt 400 ] && exit 1;"
            " sleep 0.02; done");
    EXPECT_EQ(2u, sink().window());
    const Record a = driveEvent(401, kEventError, "A");
    const Record b = driveEvent(401, kEventError, "B");
    const std::vector<Answer> answers = sink().deliverAll({{&a, "m:1"}, {&b, "m:2"}});
    ASSERT_EQ(2u, answers.size());
    EXPECT_EQ(Answer::Kind::kDelivered, answers[0].kind) << answers[0].text;
    EXPECT_EQ(Answer::Kind::kDelivered, answers[1].kind) << answers[1].text;
}

TEST_F(ExecSinkTest, HooksOfOneObjectKeepTheirOrderAndWaitForAFailure) {
    settings.numbers["jobs"] = 4;
    running("echo $RAIDWATCH_ID >>" + outFile() + ".$RAIDWATCH_SERIAL; [ $RAIDWATCH_ID != m:2 ]");
    const Record a = driveEvent(401, kEventError, "A");
    const Record b = driveEvent(401, kEventError, "B");
    const std::vector<Answer> answers =
        sink().deliverAll({{&a, "m:1"}, {&a, "m:2"}, {&b, "m:3"}, {&a, "m:4"}, {&b, "m:5"}});
    using Kind = Answer::Kind;
    const Kind expected[] = {Kind::kDelivered, Kind::kRetry, Kind::kDelivered, Kind::kRetry,
                             Kind::kDelivered};
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(expected[i], answers[i].kind) << i;
    EXPECT_EQ("waits for the record before it", answers[3].text);
    EXPECT_EQ("m:1\nm:2\n", folder.dir.read("out.A"));
    EXPECT_EQ("m:3\nm:5\n", folder.dir.read("out.B"));
}

TEST_F(ExecSinkTest, NeverMoreThanJobsRunAtOnce) {
    settings.numbers["jobs"] = 2;
    running("echo begin >>" + outFile() + "; sleep 0.05; echo end >>" + outFile());
    std::vector<Record> records;
    for (const char* serial : {"A", "B", "C", "D", "E", "F"}) {
        records.push_back(driveEvent(401, kEventError, serial));
    }
    std::vector<Parcel> parcels;
    for (const Record& record : records) parcels.push_back({&record, "m:" + record.object});
    for (const Answer& answer : sink().deliverAll(parcels)) {
        EXPECT_EQ(Answer::Kind::kDelivered, answer.kind) << answer.text;
    }
    const std::string lines = out();
    int now = 0;
    int most = 0;
    for (std::size_t at = 0; at < lines.size(); at = lines.find('\n', at) + 1) {
        now += lines[at] == 'b' ? 1 : -1;
        most = std::max(most, now);
    }
    EXPECT_EQ(0, now);
    EXPECT_LE(most, 2);
}

TEST_F(ExecSinkTest, GivenACancelThenTheHookIsStoppedAndTheRecordStays) {
    running("touch " + outFile() + "; exec sleep 100");
    std::thread stopper([&] {
        waitUntil([&] { return folder.dir.exists("out"); });
        sink().cancel();
    });
    const Answer answer = sink().deliver(driveEvent(), "m:1");
    stopper.join();
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_EQ("hook was stopped, because raidwatch stops", answer.text);
}

TEST_F(ExecSinkTest, ADaemonOfRootRunsHooksAsAnOrdinaryUser) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can become another user";
    settings.texts.erase("user");
    const Answer answer = running("id -u").deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kDelivered, answer.kind) << answer.text;
    EXPECT_EQ(0u, answer.text.find("hook ended with status 0; it said: ")) << answer.text;
    EXPECT_NE("hook ended with status 0; it said: 0", answer.text);
}

TEST_F(ExecSinkTest, GivenAUserWhoDoesNotExistThenItSaysSo) {
    settings.texts["user"] = "no-such-user";
    EXPECT_EQ("there is no user \"no-such-user\"; make it, or name another in \"user\"",
              running("exit 0").problem());
    EXPECT_EQ(Answer::Kind::kRetry, sink().deliver(driveEvent(), "m:1").kind);
}

TEST_F(ExecSinkTest, ALongOutputIsCutInTheReceipt) {
    const Answer answer =
        running("i=0; while [ $i -lt 1000 ]; do echo 0123456789; i=$((i+1)); done")
            .deliver(driveEvent(), "m:1");
    EXPECT_LT(answer.text.size(), 1200u);
    EXPECT_EQ(" ...", answer.text.substr(answer.text.size() - 4));
}

TEST_F(ExecSinkTest, WrongSettingsNameTheKey) {
    struct {
        const char* command;
        const char* dir;
        const char* style;
        std::int64_t jobs;
        const char* says;
    } cases[] = {
        {"", "", "raidwatch", 4, "command: give either a command or a dir of hooks"},
        {"/bin/true", "/etc", "raidwatch", 4, "command: give either a command or a dir of hooks"},
        {"true", "", "raidwatch", 4, "command: \"true\" is no whole path; write it from / on"},
        {"", "hooks", "raidwatch", 4, "dir: \"hooks\" is no whole path; write it from / on"},
        {"/bin/true", "", "zed", 4, "style: \"zed\" is none of raidwatch, mdadm, smartd"},
        {"/bin/true", "", "mdadm", 0, "jobs: 0 is not from 1 to 64"},
    };
    for (const auto& c : cases) {
        SinkSettings wrong = sinkSettings("page", "exec");
        if (*c.command != '\0') wrong.lists["command"] = {c.command};
        wrong.texts["dir"] = c.dir;
        wrong.texts["style"] = c.style;
        wrong.numbers["jobs"] = c.jobs;
        try {
            const ExecSink unmade(wrong);
            ADD_FAILURE() << c.says;
        } catch (const Failure& e) {
            EXPECT_EQ("raidwatch.toml:3: sink \"page\": " + std::string(c.says), e.what());
        }
    }
}

}  // namespace
