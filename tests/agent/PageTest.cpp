#include "agent/page/Page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>

#include "tests/agent/HtmlReader.h"
#include "tests/agent/PageFixture.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::int64_t kHour = shelf::kHour;

// A document that browsers, screen readers and the content security policy can live with.
void expectSound(const std::string& html) {
    const HtmlReader page(html);
    EXPECT_EQ("", page.fault());
    const std::set<std::string> known = {
        "html",  "head", "meta",    "title",  "link",    "script",  "noscript", "body",
        "a",     "p",    "svg",     "symbol", "path",    "use",     "g",        "rect",
        "text",  "defs", "pattern", "header", "main",    "footer",  "nav",      "section",
        "div",   "span", "strong",  "code",   "time",    "h1",      "h2",       "h3",
        "ul",    "ol",   "li",      "dl",     "dt",      "dd",      "table",    "thead",
        "tbody", "tr",   "th",      "td",     "details", "summary", "figure",   "figcaption"};
    for (const HtmlReader::Tag& tag : page.tags()) {
        EXPECT_EQ(1U, known.count(tag.name)) << tag.name;
        for (const auto& [name, value] : tag.attributes) {
            EXPECT_NE("style", name);
            EXPECT_NE(0, name.compare(0, 2, "on")) << name;
            if (name != "href" && name != "src") continue;
            const bool ours = value[0] == '#' || value == "/" || value == "/style.css" ||
                              value == "/page.js" || value == "/icon.svg" ||
                              value.compare(0, 12, "/object?key=") == 0 ||
                              value.compare(0, 8, "/api/v1/") == 0;
            EXPECT_TRUE(ours) << value;
        }
    }
    const std::vector<std::string> ids = page.all("id");
    EXPECT_EQ(ids.size(), std::set<std::string>(ids.begin(), ids.end()).size());
    const std::set<std::string> there(ids.begin(), ids.end());
    for (const std::string& id : page.all("aria-labelledby")) EXPECT_EQ(1U, there.count(id)) << id;
    EXPECT_EQ(1U, page.countTags("h1"));
    EXPECT_EQ(1U, page.countTags("main"));
}

std::string objectWithHistory(PageInput input, const std::string& key) {
    for (const Record& record : input.records) {
        if (record.object == key) input.history.push_back(record);
    }
    return Page().object(input, key);
}

// Without the whole page in the complaint.
void expectSays(const std::string& html, const std::string& words) {
    EXPECT_NE(std::string::npos, HtmlReader(html).text().find(words)) << "not said: " << words;
}

class PageTest : public testing::Test {
protected:
    void show(const PageInput& input) { html = page.overview(input); }
    std::string text() const { return HtmlReader(html).text(); }
    void expectSays(const std::string& words) const { ::expectSays(html, words); }
    std::vector<std::string> labels() const { return HtmlReader(html).all("aria-label"); }

    Page page;
    std::string html;
};

TEST_F(PageTest, GivenARebuildThenEverythingIsOnTheOverview) {
    show(shelf::rebuilding());
    expectSound(html);
    // clang-format off
    constexpr const char* kTexts[] = {
        // the verdict and its age
        "CRITICAL", "1 array rebuilding: array 0:0 survives 1 more drive failure, rebuild 41 %",
        "stor7 · last completed poll 4 s ago · raidwatch 0.1.0",
        // the worst array
        "array 0:0 projects", "rebuilding", "RAID 6 · 131.0 TB · 19 of 20 drives in order, 1 spare",
        "exposed for 5 h", "rebuild 41 %", "MB/s", "about 5 h 45 min left",
        // bays
        "enclosure 0:0:64 Acme EX-24", "pull this one", "do not pull", "fan 2", "supply 1", "temp 2",
        "5220 rpm", "0 rpm", "27 °C", "44 °C",
        // incidents and what to do
        "fan 2 of enclosure 0:0:64 failed: replace it",
        "What to do Replace the fan soon and watch the temperature until then.",
        "Failed, may be pulled: drive 0:0:7, SLOT 07, serial R8K707Q65.",
        "What to do Do not pull it yet: array 0:0 lacks redundancy. Once it is whole again: Back up",
        "acknowledged by ina : a new one is ordered", "raidwatch ack 3",
        "1 incident ended within the last day",
        // the timeline and its events
        "2 errors, 3 warnings, 2 others", "nobody watched",
        "Failed drive: controller 1, channel 1, slot 7.",
        // sinks
        "failing, 4 tries", "3 waiting", "connection refused", "up to date",
        "this page changes nothing",
    };
    // clang-format on
    for (const char* each : kTexts) expectSays(each);
}

TEST_F(PageTest, GivenAWellMachineThenItSaysSo) {
    show(shelf::wellMachine());
    expectSound(html);
    expectSays("OK all 3 arrays and 28 drives are in order");
    expectSays("Nothing is wrong.");
    expectSays("no events");
    EXPECT_THAT(text(), Not(HasSubstr("pull")));
    EXPECT_EQ(1U, HtmlReader(html).countClass("top"));
    EXPECT_THAT(html, HasSubstr("class=\"top t-good\""));
}

TEST_F(PageTest, TheWorstArrayComesFirst) {
    PageInput input = shelf::wellMachine();
    input.state.arrays[2].state = "degraded";
    show(input);
    const std::string shown = text();
    EXPECT_LT(shown.find("array 2:0"), shown.find("array 0:0"));
}

TEST_F(PageTest, GivenAnOldPollThenUnknownAndNeverGreen) {
    struct {
        const char* name;
        std::int64_t polledAt;
        const char* says;
    } constexpr kRows[] = {
        {"old", shelf::kNow - 301, "the last completed poll is 5 min 1 s old"},
        {"future", shelf::kNow + 301, "dated 5 min 1 s from now"},
        {"none", 0, "no poll has completed yet"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        PageInput input = shelf::rebuilding();
        input.state.polledAt = row.polledAt;
        show(input);
        expectSound(html);
        expectSays("UNKNOWN");
        expectSays(row.says);
        EXPECT_THAT(html, HasSubstr("<body class=\"stale\">"));
        EXPECT_THAT(html, HasSubstr("class=\"top t-unknown\""));
        EXPECT_THAT(html, HasSubstr("<title>UNKNOWN"));
        expectSays("Pull nothing: this picture is out of date.");
        EXPECT_THAT(text(), Not(HasSubstr("pull this one")));
        EXPECT_THAT(labels(), Not(Contains(HasSubstr("pull"))));
    }
    PageInput input = shelf::rebuilding();
    input.state.polledAt = shelf::kNow - 300;
    show(input);
    EXPECT_THAT(html, HasSubstr("<body>"));
}

TEST_F(PageTest, GivenAnEmptyMachineThenItIsStillAPage) {
    PageInput input;
    input.now = shelf::kNow;
    show(input);
    expectSound(html);
    for (const char* each :
         {"no completed poll yet", "This machine has no arrays.",
          "No drives and no enclosures were found.", "Nobody: no sink is set up."}) {
        expectSays(each);
    }
    input.state.polledAt = input.now;
    show(input);
    expectSound(html);
    expectSays("nothing to watch: no controllers, arrays or drives were found");
}

TEST_F(PageTest, GivenADegradedArrayThenItsDriveIsMarkedAndItsPartnersToo) {
    PageInput input = shelf::wellMachine();
    input.state = shelf::play(4);
    show(input);
    EXPECT_THAT(labels(), Contains(StartsWith("bay 7: drive 0:0:7, failed, pull this one")));
    std::size_t kept = 0;
    for (const std::string& label : labels()) {
        kept += label.find("do not pull") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(19U, kept);
    EXPECT_THAT(labels(), Contains("bay 22: empty"));
    EXPECT_THAT(labels(),
                Contains("enclosure 0:0:64, 24 bays: 2 empty, 1 failed, 19 normal, 2 spare"));
}

TEST_F(PageTest, GivenAGapThenItIsHatched) {
    show(shelf::rebuilding());
    EXPECT_EQ(1U, HtmlReader(html).countClass("gap"));
    EXPECT_THAT(html, HasSubstr("fill=\"url(#hatch)\""));
    expectSays("nobody watched for 7 h, the machine was started again");
    EXPECT_THAT(labels(), Contains(HasSubstr("nobody watched for 7 h")));
    show(shelf::wellMachine());
    EXPECT_EQ(0U, HtmlReader(html).countClass("gap"));
    EXPECT_THAT(labels(), Contains("The last 48 hours: no events; watched all the time"));
}

TEST_F(PageTest, CompanionsProgressAndNoticesAreNotListed) {
    show(shelf::rebuilding());
    EXPECT_THAT(text(), Not(HasSubstr("companion")));
    EXPECT_THAT(text(), Not(HasSubstr("Rebuild 12%")));
}

TEST_F(PageTest, WhatTheDaemonCannotDoIsTold) {
    PageInput input = shelf::wellMachine();
    input.problems = {"The disk is full: 12 events wait in memory."};
    Silence silence;
    silence.objectName = "array 0:0";
    silence.object = "array:0:0";
    silence.from = input.now - 5;
    silence.until = input.now + kHour;
    silence.by = "ina";
    silence.reason = "drive swap";
    input.silences = {silence};
    show(input);
    expectSound(html);
    expectSays("The disk is full: 12 events wait in memory.");
    expectSays("Nobody is told about array 0:0 until");
    expectSays("Silenced by ina: drive swap");
}

TEST_F(PageTest, EveryObjectHasAPage) {
    const PageInput input = shelf::rebuilding();
    struct {
        const char* key;
        std::vector<const char*> says;
    } const rows[] = {
        {"array:0:0",
         {"array 0:0", "survives 1 more drive failure", "called projects", "level RAID 6",
          "Progress of the last task", "Rebuild started", "Let it finish."}},
        {"drive:R8K707Q65",
         {"drive 0:0:7", "Pull this one: it has failed.", "serial number R8K707Q65",
          "part number 39R7340", "temperature 34 °C", "slot SLOT 07", "firmware A1C4",
          "Errors and warnings per day"}},
        {"drive:R8K717Q47",
         {"Do not pull it", "temperature 38 °C", "normal, foretells its failure",
          "acknowledged by"}},
        {"enclosure:EN0024", {"enclosure 0:0:64", "part number 90P2424", "slots 24", "fan 2"}},
        {"controller:SN2400", {"controller 0", "temperature 51 °C", "battery normal", "0:0:21"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.key);
        const std::string one = objectWithHistory(input, row.key);
        expectSound(one);
        for (const char* each : row.says) ::expectSays(one, each);
        EXPECT_NE(std::string::npos, one.find("<a href=\"/api/v1/")) << "no data for programs";
    }
    EXPECT_EQ("/api/v1/drives/drive%3AS%2F1%20%22", Page::dataPath("drives", "drive:S/1 \""));
    EXPECT_EQ("", page.object(input, "drive:nobody"));
    EXPECT_EQ("", page.object(input, ""));
}

TEST_F(PageTest, GivenTemperaturesThenAChartHasAScaleOfWholeTens) {
    PageInput input = shelf::rebuilding();
    for (int i = 0; i < 3; ++i) input.temperatures.push_back({input.now - 1200 + i * 600, 33 + i});
    const std::string one = objectWithHistory(input, "drive:R8K707Q65");
    expectSound(one);
    ::expectSays(one, "Temperature");
    EXPECT_NE(std::string::npos,
              one.find("Temperature: 33 \u00b0C at 04:20 to 35 \u00b0C at 04:40"));
    EXPECT_NE(std::string::npos, one.find(">40 \u00b0C</text>"));
    input.temperatures.resize(1);  // one point is no line
    const std::string without = objectWithHistory(input, "drive:R8K707Q65");
    EXPECT_EQ(std::string::npos, without.find("Temperature:"));
    // The script exchanges parts one by one, so a page has the same ones before and after.
    const auto partsOf = [](const std::string& text) { return HtmlReader(text).all("data-part"); };
    EXPECT_EQ(partsOf(one), partsOf(without));
    EXPECT_EQ(partsOf(one), partsOf(objectWithHistory(shelf::wellMachine(), "drive:R8K707Q65")));
}

TEST_F(PageTest, GivenAnEventOfAFanThenItLeadsToItsEnclosure) {
    PageInput input = shelf::rebuilding();
    input.records = {shelf::event(input.now - 60, 504, kEventError, "enclosure:EN0024/fan2",
                                  "fan 2 of enclosure 0:0:64", "Fan 2 failed.")};
    show(input);
    EXPECT_NE(std::string::npos, html.find("<a href=\"/object?key=enclosure%3AEN0024\">fan 2 of "
                                           "enclosure 0:0:64</a>"));
    input.records[0].object = "enclosure:GONE/fan2";
    show(input);
    EXPECT_EQ(std::string::npos, html.find("GONE"));
}

TEST_F(PageTest, EveryLinkLeadsToAnObject) {
    const PageInput input = shelf::rebuilding();
    show(input);
    std::set<std::string> keys;
    for (const auto& each : input.state.arrays) keys.insert(Page::objectPath(each.key));
    for (const auto& each : input.state.drives) keys.insert(Page::objectPath(each.key));
    for (const auto& each : input.state.enclosures) keys.insert(Page::objectPath(each.key));
    for (const auto& each : input.state.controllers) keys.insert(Page::objectPath(each.key));
    std::set<std::string> linked;
    for (const std::string& href : HtmlReader(html).all("href")) {
        if (href.compare(0, 8, "/object?") == 0) linked.insert(href);
    }
    for (const std::string& href : linked) EXPECT_EQ(1U, keys.count(href)) << href;
    EXPECT_EQ(3U + 28U + 1U + 2U, linked.size());  // the shelf's controller has no loose drives
}

TEST_F(PageTest, PathsAreEncoded) {
    EXPECT_EQ("/object?key=array%3A0%3A127", Page::objectPath("array:0:127"));
    EXPECT_EQ("/object?key=drive%3A%22%3E%3Cb%3E%20%26%2F.%25",
              Page::objectPath("drive:\"><b> &/.%"));
    EXPECT_EQ("/object?key=%FF%00%1B", Page::objectPath(std::string("\xff\0\x1b", 3)));
}

TEST_F(PageTest, AMessageIsAPage) {
    html = page.message("404 Not found <x>", "There is no such page.");
    expectSound(html);
    expectSays("404 Not found <x>");
    expectSays("There is no such page.");
}

TEST_F(PageTest, AssetsAreWholeAndLeadNowhereElse) {
    ASSERT_EQ(3U, Page::assets().size());
    for (const Asset& asset : Page::assets()) {
        const std::string bytes(asset.bytes);
        EXPECT_GT(bytes.size(), 300U) << asset.path;
        EXPECT_THAT(bytes, Not(HasSubstr("@import"))) << asset.path;
        EXPECT_THAT(bytes, Not(HasSubstr("url("))) << asset.path;
        EXPECT_THAT(bytes, Not(HasSubstr("https://"))) << asset.path;
    }
    const std::string style(Page::assets()[0].bytes);
    EXPECT_STREQ("/style.css", Page::assets()[0].path);
    EXPECT_STREQ("text/css; charset=utf-8", Page::assets()[0].contentType);
    EXPECT_THAT(style, HasSubstr("prefers-color-scheme: dark"));
    EXPECT_THAT(style, HasSubstr("prefers-reduced-motion"));
    const std::string script(Page::assets()[1].bytes);
    EXPECT_STREQ("/page.js", Page::assets()[1].path);
    EXPECT_THAT(script, Not(HasSubstr("innerHTML")));
    EXPECT_THAT(script, Not(HasSubstr("eval(")));
    EXPECT_STREQ("/icon.svg", Page::assets()[2].path);
    EXPECT_STREQ("image/svg+xml", Page::assets()[2].contentType);
}

// Texts of hardware, hosts and people, each with a number of its own.
class Hostile {
public:
    std::string next() {
        return "\"><script>alert(" + std::to_string(++count) +
               ")</script>'&amp;\x1b[31m\xff</title>";
    }
    void fill(std::vector<std::string*> members) {
        for (std::string* each : members) *each = next();
    }
    int count = 0;
};

PageInput hostileInput(Hostile& hostile) {
    PageInput input = shelf::rebuilding();
    MachineState& state = input.state;
    hostile.fill({&state.host, &state.source, &input.version});
    for (ArrayState& each : state.arrays) {
        hostile.fill({&each.name, &each.label, &each.level, &each.task.kind});
        for (MemberState& member : each.members) hostile.fill({&member.name, &member.state});
        each.key = "array:" + hostile.next();
    }
    state.arrays[1].state = hostile.next();
    for (DriveState& each : state.drives) {
        each.key = "drive:" + hostile.next();
        hostile.fill({&each.name, &each.osName, &each.slotName, &each.vendor, &each.model,
                      &each.serial, &each.wwn, &each.partNumber, &each.firmware});
    }
    state.drives[1].state = hostile.next();
    for (EnclosureState& each : state.enclosures) {
        hostile.fill(
            {&each.name, &each.vendor, &each.model, &each.serial, &each.partNumber, &each.state});
        for (ElementState& element : each.elements) {
            hostile.fill({&element.kind, &element.name, &element.state});
        }
    }
    for (ControllerState& each : state.controllers) {
        each.key = "controller:" + hostile.next();
        hostile.fill({&each.name, &each.vendor, &each.serial, &each.pci, &each.driver,
                      &each.firmware, &each.state, &each.battery});
    }
    for (PhyState& each : state.phys) {
        hostile.fill({&each.place, &each.rate});
        each.owner = state.drives[0].key;
    }
    for (Incident& each : input.incidents) {
        hostile.fill({&each.object, &each.objectName, &each.text, &each.ackBy, &each.ackComment});
        each.ackAt = 1;
    }
    for (Record& each : input.records) {
        hostile.fill({&each.object, &each.objectName, &each.event.text});
    }
    input.history = input.records;
    for (SinkStatus& each : input.sinks) hostile.fill({&each.sink, &each.lastAnswer});
    input.problems = {hostile.next()};
    Silence silence;
    silence.until = input.now + 100;
    hostile.fill({&silence.object, &silence.objectName, &silence.reason, &silence.by});
    input.silences = {silence};
    return input;
}

TEST_F(PageTest, GivenHostileTextsThenTheyAreTextAndNothingElse) {
    Hostile hostile;
    const PageInput input = hostileInput(hostile);
    std::vector<std::string> documents = {page.overview(input)};
    for (const std::string& key : {input.state.arrays[0].key, input.state.drives[0].key,
                                   input.state.enclosures[0].key, input.state.controllers[0].key}) {
        documents.push_back(page.object(input, key));
    }
    documents.push_back(page.message(hostile.next(), hostile.next()));
    for (const std::string& document : documents) {
        expectSound(document);
        EXPECT_EQ(std::string::npos, document.find("<script>"));
        EXPECT_EQ(std::string::npos, document.find('\x1b'));
        EXPECT_EQ(std::string::npos, document.find('\xff'));
        EXPECT_EQ(1U, HtmlReader(document).countTags("script"));
        ::expectSays(document, "<script>alert(");
    }
}

PageInput largeMachine() {
    PageInput input = shelf::wellMachine();
    MachineState& state = input.state;
    state.arrays.clear();
    state.drives.clear();
    state.enclosures.clear();
    for (int shelf = 0; shelf < 167; ++shelf) {
        EnclosureState enclosure;
        enclosure.key = "enclosure:" + std::to_string(shelf);
        enclosure.name = "enclosure 0:0:" + std::to_string(shelf);
        enclosure.state = "normal";
        enclosure.slots = 60;
        for (int i = 0; i < 40; ++i) {
            enclosure.elements.push_back({"fan", "fan " + std::to_string(i + 1), "normal", -1});
        }
        ArrayState array;
        array.key = "array:0:" + std::to_string(shelf);
        array.name = "md" + std::to_string(shelf);
        array.state = shelf == 100 ? "degraded" : "normal";
        array.devices = array.working = 60;
        for (int slot = 0; slot < 60; ++slot) {
            DriveState drive;
            drive.key = "drive:S" + std::to_string(shelf * 60 + slot);
            drive.name = "drive 0:" + std::to_string(shelf) + ":" + std::to_string(slot);
            drive.serial = drive.key.substr(6);
            drive.enclosure = enclosure.key;
            drive.slot = slot;
            drive.array = array.key;
            drive.state = shelf == 100 && slot == 7 ? "failed" : "normal";
            array.members.push_back(
                {drive.key, drive.name, slot, drive.state == "failed" ? "failed" : "active"});
            state.drives.push_back(drive);
        }
        state.arrays.push_back(array);
        state.enclosures.push_back(enclosure);
    }
    for (int i = 0; i < PageInput::kMostRecords; ++i) {
        input.records.push_back(shelf::event(input.now - kHour, 401, kEventError,
                                             "drive:S" + std::to_string(i), "a drive",
                                             "It failed."));
    }
    for (int i = 0; i < 2000; ++i) {
        input.incidents.push_back(shelf::incident(i + 1, "drive:S" + std::to_string(i), "a drive",
                                                  "drive", "failed", kEventError, 401));
        input.incidents.back().openedAt = input.now - 5;
    }
    return input;
}

TEST_F(PageTest, GivenTenThousandDrivesThenThePageStaysSmallAndFast) {
    const PageInput input = largeMachine();
    ASSERT_GT(input.state.drives.size(), 10000U);
    const auto begin = std::chrono::steady_clock::now();
    show(input);
    const std::string drive = page.object(input, "drive:S6007");
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    RecordProperty("bytes", static_cast<int>(html.size()));
    RecordProperty("milliseconds", static_cast<int>(took.count() * 1000));
    EXPECT_LT(html.size(), 1000000U);
    EXPECT_LT(took.count(), 20.0);  // sanitizers on a busy machine; a fiftieth of it otherwise
    expectSound(html);
    // What is wrong is among what is shown.
    EXPECT_LT(text().find("md100"), text().find("md0 "));
    EXPECT_THAT(labels(), Contains(HasSubstr("serial S6007")));
    expectSays("enclosure 0:0:100");
    expectSays("60 bays: 60 normal");
    expectSays("more; raidwatch list drives shows them all");
    expectSays("more; raidwatch incidents shows them all");
    ::expectSays(drive, "Pull this one");
}

}  // namespace
