#include "agent/sinks/HookStyle.h"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include <nlohmann/json.hpp>

#include "tests/agent/HookFixture.h"
#include "tests/agent/SinkFixture.h"

namespace {

using Words = std::vector<std::string>;

Record arrayEvent(int code, const std::string& text = "text") {
    Record record;
    record.object = "array:0:127";
    record.objectName = "md127";
    record.event = QELEvent(code, kEventWarning, text, "EVENT");
    record.event.timeStamp = 1000000000;
    record.event.objectType = QELEvent::kLogicalDrive;
    return record;
}

Words mdadm(const Record& record, const MachineState* state = nullptr) {
    if (!hookWants(HookStyle::kMdadm, RecordChoice::kBoth, record)) return {};
    return hookArguments(HookStyle::kMdadm, record, "m:1", hookDevices(record, state));
}

std::map<std::string, std::string> variables(HookStyle style, const Record& record,
                                             const MachineState* state = nullptr) {
    std::map<std::string, std::string> found;
    for (const std::string& line :
         hookVariables(style, record, "m:1", hookDevices(record, state))) {
        const std::size_t equals = line.find('=');
        found[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return found;
}

TEST(HookStyle, OurOwnArgumentsAreIdObjectAndSeverity) {
    EXPECT_EQ(Words({"m:1", "drive:S7K2M9Q0", "error"}),
              hookArguments(HookStyle::kRaidwatch, driveEvent(), "m:1", {}));
    Record record = driveEvent();
    record.object = "";
    EXPECT_EQ("-", hookArguments(HookStyle::kRaidwatch, record, "m:1", {}).at(1));
}

TEST(HookStyle, OurOwnVariablesTellAllThatIsKnown) {
    const auto event = variables(HookStyle::kRaidwatch, driveEvent());
    const std::map<std::string, std::string> expected = {
        {"RAIDWATCH_ID", "m:1"},
        {"RAIDWATCH_KIND", "event"},
        {"RAIDWATCH_ORIGIN", "live"},
        {"RAIDWATCH_TIME", "2001-09-09T01:46:40Z"},
        {"RAIDWATCH_SEVERITY", "error"},
        {"RAIDWATCH_CODE", "401"},
        {"RAIDWATCH_EVENT_ID", "EVENT_TORVEX_PD_STATE_FAILED"},
        {"RAIDWATCH_TEXT", "Drive failed: slot 3."},
        {"RAIDWATCH_OBJECT", "drive:S7K2M9Q0"},
        {"RAIDWATCH_OBJECT_NAME", "drive 1:0:3"},
        {"RAIDWATCH_SERIAL", "S7K2M9Q0"},
        {"RAIDWATCH_ARRAY", ""},
        {"RAIDWATCH_DRIVE", "drive 1:0:3"},
        {"RAIDWATCH_INCIDENT", ""},
        {"RAIDWATCH_NOTICE", ""},
        {"RAIDWATCH_CONDITION", ""},
        {"RAIDWATCH_VALUE", ""},
    };
    EXPECT_EQ(expected, event);
    const auto notice = variables(HookStyle::kRaidwatch, arrayNotice());
    EXPECT_EQ("opened", notice.at("RAIDWATCH_NOTICE"));
    EXPECT_EQ("7", notice.at("RAIDWATCH_INCIDENT"));
    EXPECT_EQ("redundancy", notice.at("RAIDWATCH_CONDITION"));
    EXPECT_EQ("/dev/md127", notice.at("RAIDWATCH_ARRAY"));
}

TEST(HookStyle, HostileTextCannotEndAVariableNorAnArgument) {
    Record record = driveEvent(401, kEventError, std::string("a\0b\nX=1\x1b", 9));
    for (const std::string& line : hookVariables(HookStyle::kRaidwatch, record, "m:1", {})) {
        EXPECT_EQ(std::string::npos, line.find('\0')) << line;
        EXPECT_EQ(std::string::npos, line.find('\n')) << line;
    }
    for (const std::string& word : hookArguments(HookStyle::kRaidwatch, record, "m:1", {})) {
        EXPECT_EQ(std::string::npos, word.find('\0')) << word;
    }
}

TEST(HookStyle, OurOwnInputIsTheRecordAsJson) {
    const auto json = nlohmann::json::parse(hookInput(HookStyle::kRaidwatch, driveEvent(), "m:1"));
    EXPECT_EQ("m:1", json.at("id"));
}

TEST(HookStyle, EventsHaveTheWordsOfMdadm) {
    struct {
        int code;
        const char* text;
        const char* word;
    } cases[] = {
        {303, "", "Fail"},
        {301, "", "DegradedArray"},
        {345, "", "SpareActive"},
        {346, "", "NewArray"},
        {347, "", "DeviceDisappeared"},
        {304, "", "RebuildStarted"},
        {307, "", "RebuildStarted"},
        {342, "", "RebuildStarted"},
        {372, "Rebuild 45% complete: x.", "Rebuild45"},
        {372, "Rebuild 5% complete: 99%.", "Rebuild05"},
        {373, "Reconstruction effectu\u00e9e \u00e0 7\u00a0% : x.", "Rebuild07"},
        {384, "\u521d\u59cb\u5316\u5df2\u5b8c\u6210 30%\uff1ax", "Rebuild30"},
        {372, "100 %", "Rebuild100"},
        {372, "no number", "Rebuild00"},
        {305, "", "RebuildFinished"},
        {306, "", "RebuildFinished"},
        {349, "", "RebuildFinished"},
        {385, "", "RebuildFinished"},
        {308, "", "RebuildFinished"},
        {397, "", "RebuildFinished"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Words({c.word, "/dev/md127"}), mdadm(arrayEvent(c.code, c.text))) << c.code;
    }
    for (const int code : {201, 302, 338, 399, 403, 499, 508}) {
        EXPECT_EQ(Words(), mdadm(arrayEvent(code))) << code;
    }
    EXPECT_EQ(Words(), mdadm(arrayNotice())) << "notices are not of that world";
    EXPECT_EQ("TestMessage", mdadm(testNotice()).at(0));
}

TEST(HookStyle, ADriveIsAComponentOfItsArray) {
    const MachineState degraded = machine(2);
    MachineState whole = machine(3);
    EXPECT_EQ(Words({"Fail", "/dev/md127", "/dev/sdb"}), mdadm(driveEvent(401), &degraded));
    EXPECT_EQ(Words({"Fail", "/dev/md127", "/dev/sdb"}), mdadm(driveEvent(404), &degraded));
    EXPECT_EQ(Words({"Fail", "/dev/md127", "/dev/sdb"}), mdadm(driveEvent(401), &whole))
        << "the state is older than the event";
    MemberState spare;
    spare.drive = "drive:S7K2M9Q0";
    for (const auto& [state, slot, word] :
         {std::tuple<const char*, int, const char*>{"spare", -1, "FailSpare"},
          {"failed", -1, "FailSpare"},
          {"failed", 1, "Fail"},
          {"active", 1, "Fail"}}) {
        spare.state = state;
        spare.slot = slot;
        whole.arrays[0].members = {spare};
        EXPECT_EQ(Words({word, "/dev/md127", "/dev/sdb"}), mdadm(driveEvent(401), &whole)) << state;
    }
    EXPECT_EQ(Words({"SparesMissing", "/dev/md127", "/dev/sdb"}), mdadm(driveEvent(498), &whole));
    EXPECT_EQ(Words({"Fail", "drive 1:0:3"}), mdadm(driveEvent(401))) << "nothing is known";
    const MachineState other;
    EXPECT_EQ(Words({"Fail", "drive 1:0:3"}), mdadm(driveEvent(401), &other));
}

TEST(HookStyle, AMemberIsFoundAlsoByTheArraysOwnList) {
    MachineState state = machine(2);
    state.drives.clear();
    MemberState member;
    member.drive = "drive:S7K2M9Q0";
    state.arrays[0].members.push_back(member);
    EXPECT_EQ(Words({"Fail", "/dev/md127", "drive 1:0:3"}), mdadm(driveEvent(401), &state));
}

TEST(HookStyle, EventsHaveTheReasonsOfSmartd) {
    struct {
        int code;
        const char* reason;
    } cases[] = {{401, "Health"},
                 {404, "Health"},
                 {402, "Health"},
                 {405, "Health"},
                 {418, "CurrentPendingSector"},
                 {408, "FailedOpenDevice"}};
    const MachineState state = machine(2);
    for (const auto& c : cases) {
        const Record record = driveEvent(c.code);
        ASSERT_TRUE(hookWants(HookStyle::kSmartd, RecordChoice::kBoth, record)) << c.code;
        const auto found = variables(HookStyle::kSmartd, record, &state);
        EXPECT_EQ(c.reason, found.at("SMARTD_FAILTYPE"));
        EXPECT_EQ("/dev/sdb", found.at("SMARTD_DEVICE"));
        EXPECT_EQ("/dev/sdb", found.at("SMARTD_DEVICESTRING"));
        EXPECT_EQ("drive 1:0:3, S/N:S7K2M9Q0", found.at("SMARTD_DEVICEINFO"));
        EXPECT_EQ("Drive failed: slot 3.", found.at("SMARTD_MESSAGE"));
        EXPECT_EQ("Drive failed: slot 3.\n", found.at("SMARTD_FULLMESSAGE"));
        EXPECT_EQ("Sun Sep  9 01:46:40 2001 UTC", found.at("SMARTD_TFIRST"));
        EXPECT_EQ("1000000000", found.at("SMARTD_TFIRSTEPOCH"));
        EXPECT_EQ("0", found.at("SMARTD_PREVCNT"));
        EXPECT_EQ("SMART error (" + std::string(c.reason) + ") detected: Drive failed: slot 3.",
                  found.at("SMARTD_SUBJECT"));
        EXPECT_EQ("m:1", found.at("RAIDWATCH_ID"));
    }
    EXPECT_TRUE(hookArguments(HookStyle::kSmartd, driveEvent(), "m:1", {}).empty());
    EXPECT_FALSE(hookWants(HookStyle::kSmartd, RecordChoice::kBoth, arrayEvent(301)));
    EXPECT_FALSE(hookWants(HookStyle::kSmartd, RecordChoice::kBoth, driveEvent(407)));
    EXPECT_EQ("EmailTest", variables(HookStyle::kSmartd, testNotice()).at("SMARTD_FAILTYPE"));
}

TEST(HookStyle, OurOwnStyleFollowsTheChoice) {
    EXPECT_TRUE(hookWants(HookStyle::kRaidwatch, RecordChoice::kNotices, arrayNotice()));
    EXPECT_FALSE(hookWants(HookStyle::kRaidwatch, RecordChoice::kNotices, driveEvent()));
    EXPECT_TRUE(hookWants(HookStyle::kRaidwatch, RecordChoice::kEvents, testNotice()));
}

}  // namespace
