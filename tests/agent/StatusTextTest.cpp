#include "agent/status/StatusText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <utility>

#include "agent/SafeText.h"

namespace {

constexpr std::int64_t kNow = 1763700000;

ArrayState array(const char* name, const char* state, int survives) {
    ArrayState made;
    made.key = std::string("array:0:") + name;
    made.name = name;
    made.level = "RAID 6";
    made.sizeMB = 22888488;
    made.state = state;
    made.devices = 4;
    made.working = 4;
    made.survives = survives;
    made.fullSurvives = 2;
    return made;
}

Seen wellMachine() {
    Seen seen;
    seen.watched = true;
    seen.state.host = "storage1";
    seen.state.polledAt = kNow - 4;
    seen.state.arrays.push_back(array("md0", "normal", 2));
    seen.state.arrays.push_back(array("md1", "checking", 2));
    seen.state.arrays[1].task.kind = "check";
    seen.state.arrays[1].task.percent = 12;
    seen.sinks.push_back({});
    seen.sinks[0].sink = "journal";
    return seen;
}

Seen brokenMachine() {
    Seen seen = wellMachine();
    ArrayState bad = array("md2", "rebuilding", 1);
    bad.label = "projects";
    bad.working = 3;
    bad.exposedSince = kNow - 8040;
    bad.task.kind = "rebuild";
    bad.task.percent = 41;
    bad.task.megabytesPerSecond = 182.4;
    bad.task.secondsLeft = 11520;
    bad.members = {{"drive:A", "sda", 0, "active"},
                   {"drive:S7K2M9Q0", "sdh", -1, "failed"},
                   {"", "", 1, "missing"},
                   {"drive:C", "sdc", 2, "rebuilding"}};
    seen.state.arrays.push_back(bad);
    DriveState drive;
    drive.key = "drive:S7K2M9Q0";
    drive.name = "drive 1:0:7";
    drive.slotName = "SLOT 07";
    drive.osName = "sdh";
    drive.state = "failed";
    drive.vendor = "KOVA-PQ";
    drive.model = "K500";
    drive.serial = "S7K2M9Q0";
    drive.wwn = "5001122300000200";
    drive.partNumber = "00AB123";
    seen.state.drives.push_back(drive);
    drive = DriveState();
    drive.name = "drive 1:0:8";
    drive.state = "normal";
    drive.predicted = true;
    seen.state.drives.push_back(drive);
    EnclosureState enclosure;
    enclosure.name = "enclosure 1:0:9";
    enclosure.partNumber = "90P1234";
    enclosure.elements = {{"fan", "fan 1", "normal", -1}, {"fan", "fan 2", "failed", -1}};
    seen.state.enclosures.push_back(enclosure);
    Incident incident;
    incident.id = 3;
    incident.objectName = "md2";
    incident.condition = "redundancy";
    incident.value = "rebuilding";
    incident.openedAt = kNow - 8040;
    seen.incidents.push_back(incident);
    incident.id = 4;
    incident.objectName = "fan 2";
    incident.condition = "fan";
    incident.value = "failed";
    incident.ackAt = kNow;
    incident.ackBy = "ina";
    seen.incidents.push_back(incident);
    incident.id = 5;
    incident.value = "normal";  // well again: not shown
    seen.incidents.push_back(incident);
    SinkStatus mail;
    mail.sink = "mail";
    mail.ok = false;
    mail.tries = 3;
    mail.waiting = 2;
    mail.lastAnswer = "connect timeout";
    seen.sinks.push_back(mail);
    return seen;
}

std::string screen(const Seen& seen, const std::string& headline) {
    return statusText(seen, headline, kNow, {});
}

}  // namespace

TEST(StatusText, GivenAWellMachineThenOneShortScreen) {
    EXPECT_EQ(screen(wellMachine(), "OK: 2 arrays in order"),
              "OK: 2 arrays in order\n"
              "storage1, looked at 4 s ago: 2 arrays, 0 drives, 0 enclosures, 0 controllers\n"
              "\n"
              "Arrays\n"
              "  md1        RAID 6   21.8 TB   checking    survives 2\n"
              "             check 12 %\n"
              "  md0        RAID 6   21.8 TB   normal      survives 2\n"
              "\n"
              "Who is told\n"
              "  journal    ok\n");
}

TEST(StatusText, GivenTroubleThenTheWorstComesFirstAndSaysWhatToPull) {
    EXPECT_EQ(screen(brokenMachine(), "WARNING: md2 is rebuilding"),
              "WARNING: md2 is rebuilding\n"
              "storage1, looked at 4 s ago: 3 arrays, 2 drives, 1 enclosure, 0 controllers\n"
              "\n"
              "Arrays\n"
              "  md2        RAID 6   21.8 TB   rebuilding  survives 1 more, exposed 2 h 14 min\n"
              "             \"projects\"\n"
              "             rebuild 41 %, 182 MB/s, about 3 h 12 min left\n"
              "             sda, sdh failed, a place missing, sdc rebuilding\n"
              "  md1        RAID 6   21.8 TB   checking    survives 2\n"
              "             check 12 %\n"
              "  md0        RAID 6   21.8 TB   normal      survives 2\n"
              "\n"
              "Drives in trouble\n"
              "  SLOT 07      failed      S7K2M9Q0           sdh      KOVA-PQ K500\n"
              "             drive 1:0:7, WWN 5001122300000200, replace with part 00AB123\n"
              "  drive 1:0:8  predicted   -                  -        -\n"
              "\n"
              "Enclosures in trouble\n"
              "  fan 2      failed in enclosure 1:0:9, part 90P1234\n"
              "\n"
              "Open incidents\n"
              "  #3         md2 rebuilding, since 2 h 14 min; raidwatch ack 3\n"
              "  #4         fan 2 failed, since 2 h 14 min, acknowledged by ina\n"
              "\n"
              "Who is told\n"
              "  journal    ok\n"
              "  mail       failing, 3 tries, 2 waiting: connect timeout\n");
}

TEST(StatusText, GivenNoLookYetThenOnlyTheVerdictAndWhy) {
    Seen seen;
    seen.remark = "raidwatch is not running.";
    EXPECT_EQ(screen(seen, "UNKNOWN: nobody has looked"),
              "UNKNOWN: nobody has looked\nraidwatch is not running.\n");
}

TEST(StatusText, GivenRedundancyWordsThenEachCase) {
    const struct {
        const char* state;
        int survives;
        int full;
        const char* words;
    } rows[] = {
        {"failed", 0, 1, "failed      data cannot be reached"},
        {"offline", 0, 1, "offline     data cannot be reached"},
        {"degraded", 0, 1, "degraded    survives 0 more"},
        {"degraded", 1, 2, "degraded    survives 1 more"},
        {"normal", 0, 0, "normal      no redundancy"},
        {"normal", -1, -1, "normal      redundancy not known"},
    };
    for (const auto& row : rows) {
        Seen seen;
        seen.state.polledAt = kNow;
        seen.state.arrays.push_back(array("md0", row.state, row.survives));
        seen.state.arrays[0].fullSurvives = row.full;
        const std::string table = screen(seen, "OK: x");
        EXPECT_NE(table.find(row.words), std::string::npos) << table;
    }
}

TEST(StatusText, GivenNamesAndSerialNumbersOfAnyLengthThenNoneIsCut) {
    Seen seen = brokenMachine();
    seen.state.arrays[2].name = "array 12:1048";
    seen.state.drives[0].serial = "S7K2M9Q0-0123456789-ABCDEF";
    seen.state.drives[1].name = "drive 12:3:1048";
    seen.state.enclosures[0].elements[1].name = "temperature 2";
    seen.sinks[1].sink = "alertmanager-of-the-site";
    const std::string text = screen(seen, "OK: x");
    for (const char* line :
         {"  array 12:1048 RAID 6   21.8 TB   rebuilding  survives 1 more",
          "  SLOT 07         failed      S7K2M9Q0-0123456789-ABCDEF sdh      KOVA-PQ K500\n",
          "  drive 12:3:1048 predicted   -                          -        -\n",
          "  temperature 2 failed in enclosure", "  alertmanager-of-the-site failing, 3 tries"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
    }
}

TEST(StatusText, GivenManyDrivesInTroubleThenTheFailedOnesComeFirst) {
    Seen seen = brokenMachine();
    std::swap(seen.state.drives[0], seen.state.drives[1]);
    const std::string text = screen(seen, "OK: x");
    EXPECT_LT(text.find("SLOT 07 "), text.find("drive 1:0:8 ")) << text;
}

TEST(StatusText, GivenMoreArraysThanAScreenHoldsThenThoseInOrderAreCounted) {
    Seen seen = wellMachine();
    seen.state.arrays.clear();
    for (int i = 0; i < 1000; ++i) {
        const bool whole = i % 100 != 99;
        seen.state.arrays.push_back(array(("md" + std::to_string(i)).c_str(),
                                          whole ? "normal" : "degraded", whole ? 2 : 1));
    }
    const std::string text = screen(seen, "WARNING: x");
    std::size_t named = 0;
    for (std::size_t at = text.find("  md"); at != std::string::npos;
         at = text.find("  md", at + 1)) {
        ++named;
    }
    EXPECT_EQ(30u, named) << text;
    EXPECT_LT(text.find("  md999 "), text.find("  md0 ")) << text;
    EXPECT_NE(text.find("  and 970 more arrays in order; raidwatch list arrays names all\n"),
              std::string::npos)
        << text;

    seen.state.arrays.erase(seen.state.arrays.begin() + 20, seen.state.arrays.end());
    EXPECT_EQ(screen(seen, "OK: x").find(" more arrays"), std::string::npos) << "all have room";
}

TEST(StatusText, GivenMismatchesThenTheyAreCountedInWords) {
    for (const auto& [count, words] :
         {std::pair(1, "1 mismatch at"), std::pair(8, "8 mismatches at")}) {
        Seen seen = wellMachine();
        seen.state.arrays[0].badStripes = count;
        EXPECT_NE(
            screen(seen, "OK: x").find(std::string("             ") + words + " the last check\n"),
            std::string::npos)
            << count;
    }
}

TEST(StatusText, GivenADegradedArrayWhoseMembersAreNotKnownThenNoEmptyLineFollows) {
    Seen seen = wellMachine();
    seen.state.arrays = {array("md0", "degraded", 1)};
    EXPECT_NE(screen(seen, "OK: x").find("degraded    survives 1 more\n\nWho is told"),
              std::string::npos);
}

TEST(StatusText, GivenHostileTextsThenLinesStayLines) {
    Seen seen = brokenMachine();
    const std::string hostile = "x\x1b[2J\n\xff";
    seen.state.host = hostile;
    for (ArrayState& each : seen.state.arrays) each.label = each.name = hostile;
    for (DriveState& each : seen.state.drives) each.serial = each.model = each.slotName = hostile;
    seen.sinks[1].lastAnswer = seen.incidents[0].objectName = seen.incidents[1].ackBy = hostile;
    seen.state.enclosures[0].name = seen.state.enclosures[0].partNumber = hostile;
    const std::string text = screen(seen, "OK: x");
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(text.find('\xff'), std::string::npos);
    EXPECT_NE(text.find("x\\x1b[2J\\n\\xff"), std::string::npos);
}

TEST(StatusText, GivenLongTextsThenNoLineIsLongerThanTheScreen) {
    Seen seen = brokenMachine();
    seen.sinks[1].lastAnswer = std::string(30, 'a') + " " + std::string(70, 'b');
    seen.state.arrays[2].label = std::string(200, 'c');
    for (int i = 0; i < 40; ++i) seen.state.arrays[2].members.push_back({"", "sdaa", i, "active"});
    seen.state.drives[0].model = std::string(60, 'd');
    std::istringstream lines(
        screen(seen, "WARNING: " + std::string(50, 'e') + " f g h i j k l m n o p q"));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(textWidth(line), 80u) << line;
}

TEST(StatusText, GivenColoursThenOnlyWordsThatMatter) {
    EventText::Style style;
    style.colours = true;
    const std::string text = statusText(brokenMachine(), "WARNING: md2", kNow, style);
    EXPECT_NE(text.find("\x1b[33mWARNING\x1b[0m: md2"), std::string::npos);
    EXPECT_NE(text.find("\x1b[33mrebuilding\x1b[0m"), std::string::npos);
    EXPECT_NE(text.find("\x1b[31mfailed\x1b[0m"), std::string::npos);
    EXPECT_EQ(text.find("\x1b[31mnormal"), std::string::npos);
}
