#include "agent/incidents/NoticeText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "agent/SafeText.h"

namespace {

constexpr std::int64_t kOpened = 1763700000;  // 2025-11-21T04:40:00Z

Incident degraded() {
    Incident incident;
    incident.id = 12;
    incident.object = "array:0:0";
    incident.objectName = "md0";
    incident.condition = "redundancy";
    incident.value = "degraded";
    incident.severity = 2;
    incident.openedAt = incident.exposedSince = kOpened;
    incident.events = 3;
    incident.code = 301;
    incident.text = "Logical drive critical: controller 1, logical drive 0.";
    incident.survives = 1;
    return incident;
}

MachineState machine() {
    MachineState state;
    state.host = "stor7";
    ArrayState array;
    array.key = "array:0:0";
    array.name = "md0";
    array.label = "data";
    array.level = "RAID 6";
    array.state = "degraded";
    array.devices = 4;
    array.working = 3;
    array.spares = 1;
    state.arrays.push_back(array);
    return state;
}

DriveState failedDrive() {
    DriveState drive;
    drive.name = "drive 1:0:3";
    drive.osName = "sdd";
    drive.slot = 7;
    drive.vendor = "KOVA-PQ";
    drive.model = "K500";
    drive.serial = "S7K2M9Q0";
    drive.wwn = "5000C50000001111";
    drive.partNumber = "39R7340";
    drive.state = "failed";
    return drive;
}

Notice written(Notice::Kind kind, const Incident& incident, std::int64_t after = 0,
               const std::vector<DriveState>& drives = {}) {
    Notice notice;
    notice.kind = kind;
    notice.incident = incident;
    NoticeText().write(notice, machine(), drives, kOpened + after);
    return notice;
}

TEST(NoticeText, GivenADegradedArrayThenTellsAllThatIsNeeded) {
    const Notice notice = written(Notice::Kind::kOpened, degraded(), 120, {failedDrive()});
    EXPECT_EQ("DEGRADED md0 on stor7: survives 1 more drive failure", notice.subject);
    EXPECT_EQ(
        "Logical drive critical: controller 1, logical drive 0.\n"
        "\n"
        "Host         stor7\n"
        "Object       md0\n"
        "Array        md0, RAID 6, \"data\": degraded, 3 of 4 drives in order, 1 spare\n"
        "Redundancy   survives 1 more drive failure\n"
        "Exposed      since 2025-11-21T04:40:00Z (2 min)\n"
        "Drive        drive 1:0:3: failed, slot 7, serial S7K2M9Q0, WWN\n"
        "             5000C50000001111, part number 39R7340, KOVA-PQ K500, at present\n"
        "             sdd\n"
        "Opened       2025-11-21T04:40:00Z, 3 events\n"
        "\n"
        "What to do\n",
        notice.body.substr(0, notice.body.find("What to do\n") + 11));
    EXPECT_NE(std::string::npos, notice.body.find("Explain      raidwatch explain 301\n"));
    EXPECT_NE(std::string::npos, notice.body.find("Look         raidwatch show md0\n"));
    EXPECT_NE(std::string::npos, notice.body.find("Acknowledge  raidwatch ack 12\n"));
}

struct Row {
    Notice::Kind kind;
    const char* condition;
    const char* value;
    const char* name;
    const char* subject;
};

TEST(NoticeText, GivenAKindAndAStandingThenTheSubjectSaysBoth) {
    constexpr Row kRows[] = {
        {Notice::Kind::kOpened, "redundancy", "offline", "md0",
         "OFFLINE md0 on stor7: its data cannot be reached"},
        {Notice::Kind::kWorse, "drive", "failed", "drive 1:0:3",
         "FAILED drive 1:0:3 on stor7: replace it"},
        {Notice::Kind::kOpened, "fan 2", "failed", "enclosure 1:0:9",
         "FAILED fan 2 of enclosure 1:0:9 on stor7: replace it"},
        {Notice::Kind::kOpened, "fan 2", "failed", "fan 2 1:0:9",
         "FAILED fan 2 1:0:9 on stor7: replace it"},
        {Notice::Kind::kReminder, "redundancy", "degraded", "md0",
         "REMINDER DEGRADED md0 on stor7: for 3 h 12 min, survives 1 more drive failure"},
        {Notice::Kind::kFlapping, "drive", "failed", "drive 1:0:3",
         "FLAPPING drive 1:0:3 on stor7: changed 4 times in 3 h 12 min"},
        {Notice::Kind::kResolved, "redundancy", "normal", "md0",
         "RESOLVED md0 on stor7: normal again after 3 h 12 min"},
        {Notice::Kind::kResolved, "redundancy", "deleted", "md0",
         "RESOLVED md0 on stor7: deleted after 3 h 12 min"},
        {Notice::Kind::kResolved, "battery heat", "normal", "adapter 0",
         "RESOLVED adapter 0 on stor7: battery heat normal again after 3 h 12 min"},
        {Notice::Kind::kTest, "", "", "", "TEST from stor7: nothing happened"},
    };
    for (const Row& row : kRows) {
        Incident incident = degraded();
        incident.condition = row.condition;
        incident.value = row.value;
        incident.objectName = row.name;
        incident.changes = 4;
        incident.changesSince = kOpened;
        incident.resolvedAt = kOpened + 11520;
        EXPECT_EQ(row.subject, written(row.kind, incident, 11520).subject);
    }
}

TEST(NoticeText, GivenADrillOrATestThenTheSubjectBeginsWithIt) {
    Incident incident = degraded();
    incident.origin = Origin::kDrill;
    const Notice drill = written(Notice::Kind::kOpened, incident);
    EXPECT_EQ("DRILL DEGRADED md0 on stor7: survives 1 more drive failure", drill.subject);
    EXPECT_EQ(0u, drill.body.find("This is a drill. No hardware is affected.\n"));
    incident.origin = Origin::kTest;
    EXPECT_EQ("TEST DEGRADED md0 on stor7: survives 1 more drive failure",
              written(Notice::Kind::kOpened, incident).subject);
}

TEST(NoticeText, GivenItIsOverThenNothingIsToBeDone) {
    Incident incident = degraded();
    incident.value = "normal";
    incident.resolvedAt = kOpened + 60;
    const Notice notice = written(Notice::Kind::kResolved, incident, 60);
    EXPECT_EQ(std::string::npos, notice.body.find("What to do"));
    EXPECT_EQ(std::string::npos, notice.body.find("raidwatch ack"));
    EXPECT_NE(std::string::npos, notice.body.find("Ended        2025-11-21T04:41:00Z\n"));
}

TEST(NoticeText, GivenItWasFoundAtStartThenSaysSo) {
    Incident incident = degraded();
    incident.origin = Origin::kAtStart;
    EXPECT_NE(std::string::npos,
              written(Notice::Kind::kOpened, incident).body.find("Found when raidwatch started"));
}

TEST(NoticeText, GivenHostileTextsThenSubjectAndBodyAreSafe) {
    const std::string hostile =
        "x\r\nBcc: all@example.net\x1b[2J\xff\xe2\x80\xae" + std::string(300, 'y') + "';$(reboot)";
    Incident incident = degraded();
    incident.objectName = incident.text = hostile;
    DriveState drive = failedDrive();
    drive.serial = drive.model = drive.osName = hostile;
    for (const Notice::Kind kind :
         {Notice::Kind::kOpened, Notice::Kind::kUpdated, Notice::Kind::kResolved,
          Notice::Kind::kReminder, Notice::Kind::kFlapping}) {
        const Notice notice = written(kind, incident, 5, {drive});
        EXPECT_EQ(std::string::npos, notice.subject.find_first_of("\r\n\x1b"));
        EXPECT_EQ(notice.subject, safeText(notice.subject));
        EXPECT_LE(textWidth(notice.subject), NoticeText::kSubjectColumns);
        std::istringstream lines(notice.body);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_EQ(line, safeText(line));
            EXPECT_LE(textWidth(line), NoticeText::kBodyColumns) << line;
        }
        EXPECT_EQ(std::string::npos, notice.body.find("raidwatch show"));
    }
}

}  // namespace
