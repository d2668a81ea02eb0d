#include "agent/fleet/FleetView.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/fleet/FleetText.h"
#include "agent/spool/RecordJson.h"
#include "tests/agent/SinkFixture.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kNow = 1800000000;
constexpr std::int64_t kDay = 86400;

std::string machineId(int number) {
    char id[40];
    std::snprintf(id, sizeof id, "%08x-0000-4000-8000-000000000000", number);
    return id;
}

FleetSummary summaryAt(Verdict::Level level, const std::string& host) {
    FleetSummary summary;
    summary.host = host;
    summary.level = level;
    summary.sentence = "said by " + host;
    return summary;
}

FleetBeat beatOf(int number, std::int64_t at = kNow - 10) {
    FleetBeat beat;
    beat.machine = machineId(number);
    beat.instance = "one";
    beat.at = at * 1000;
    beat.polledAt = at;
    return beat;
}

FleetSummary::Array exposedArray(const std::string& name, int survives, std::int64_t seconds) {
    FleetSummary::Array array;
    array.name = name;
    array.level = "RAID 6";
    array.state = "degraded";
    array.devices = 8;
    array.working = 6 + survives;
    array.survives = survives;
    array.fullSurvives = 2;
    array.exposedSince = kNow - seconds;
    return array;
}

struct FailureAt {
    int machine = 1;
    std::int64_t sequence = 1;
    std::string serial = "S1";
    std::int64_t at = kNow;
    std::string firmware = "A7";
    int code = 401;
    Origin origin = Origin::kLive;
};

FleetLink::StreamMessage message(const FailureAt& failure) {
    Record record = driveEvent(failure.code, kEventError, failure.serial);
    record.event.timeStamp = failure.at;
    record.origin = failure.origin;
    record.sequence = failure.sequence;
    const std::string id = machineId(failure.machine) + ":" + std::to_string(failure.sequence);
    Json json = recordObject(record, id);
    json["data"]["host"] = "host" + std::to_string(failure.machine);
    json["data"]["drive"] = {{"vendor", "KOVA"},
                             {"model", "K500"},
                             {"firmware", failure.firmware},
                             {"serial", failure.serial}};
    FleetLink::StreamMessage sent;
    sent.subject = "raidwatch.v1." + machineId(failure.machine) + ".event.error";
    sent.id = id;
    sent.body = json.dump();
    return sent;
}

std::vector<std::string> hosts(const std::vector<FleetView::Machine>& machines) {
    std::vector<std::string> list;
    for (const FleetView::Machine& machine : machines) list.push_back(machine.host);
    return list;
}

// --- machines ---

TEST(FleetView, TheWorstMachineComesFirst) {
    FleetView view;
    const Verdict::Level levels[] = {Verdict::kOk, Verdict::kWarning, Verdict::kUnknown,
                                     Verdict::kCritical};
    for (int i = 0; i < 4; ++i) {
        view.addSummary(machineId(i), summaryAt(levels[i], "h" + std::to_string(i)));
        view.addBeat(beatOf(i));
    }
    EXPECT_EQ(std::vector<std::string>({"h3", "h2", "h1", "h0"}), hosts(view.machines(kNow, 300)));
}

TEST(FleetView, GivenEqualVerdictsThenTheDeeperAndThenTheLongerExposureComesFirst) {
    FleetView view;
    const struct {
        const char* host;
        int survives;
        std::int64_t seconds;
    } rows[] = {{"short", 0, 60}, {"shallow", 1, 90000}, {"long", 0, 7200}, {"unknown", -1, 99999}};
    for (int i = 0; i < 4; ++i) {
        FleetSummary summary = summaryAt(Verdict::kCritical, rows[i].host);
        summary.arrays = {exposedArray("md0", rows[i].survives, rows[i].seconds)};
        view.addSummary(machineId(i), summary);
        view.addBeat(beatOf(i));
    }
    EXPECT_EQ(std::vector<std::string>({"long", "short", "shallow", "unknown"}),
              hosts(view.machines(kNow, 300)));
}

TEST(FleetView, GivenNoBeatForLongThenTheMachineIsSilentAndNeverInOrder) {
    FleetView view;
    view.addSummary(machineId(1), summaryAt(Verdict::kOk, "quiet"));
    view.addBeat(beatOf(1, kNow - 301));
    view.addSummary(machineId(2), summaryAt(Verdict::kOk, "loud"));
    view.addBeat(beatOf(2, kNow - 300));
    view.addSummary(machineId(3), summaryAt(Verdict::kCritical, "burnt"));
    view.addBeat(beatOf(3, kNow - 4000));
    const auto machines = view.machines(kNow, 300);
    EXPECT_EQ(std::vector<std::string>({"burnt", "quiet", "loud"}), hosts(machines));
    EXPECT_TRUE(machines[0].silent);
    EXPECT_EQ(Verdict::kCritical, machines[0].level);
    EXPECT_TRUE(machines[1].silent);
    EXPECT_EQ(Verdict::kUnknown, machines[1].level);
    EXPECT_EQ("silent for 5 min 1 s; last: said by quiet", machines[1].sentence);
    EXPECT_FALSE(machines[2].silent);
    EXPECT_EQ(Verdict::kOk, machines[2].level);
}

TEST(FleetView, GivenAMachineThatLivesButDoesNotLookThenItIsUnknown) {
    FleetView view;
    FleetBeat beat = beatOf(1);
    beat.polledAt = kNow - 3600;
    view.addBeat(beat);
    view.addSummary(machineId(1), summaryAt(Verdict::kOk, "stuck"));
    const auto machines = view.machines(kNow, 300);
    EXPECT_EQ(Verdict::kUnknown, machines[0].level);
    EXPECT_EQ("its last look is 1 h old; last: said by stuck", machines[0].sentence);
}

TEST(FleetView, GivenAStateWithoutABeatThenItWasNotHeardForDays) {
    FleetView view;
    view.addSummary(machineId(1), summaryAt(Verdict::kWarning, "old"));
    const auto machines = view.machines(kNow, 300);
    EXPECT_TRUE(machines[0].silent);
    EXPECT_EQ(Verdict::kUnknown, machines[0].level);
    EXPECT_EQ("not heard for days; last: said by old", machines[0].sentence);
}

TEST(FleetView, GivenARivalThatLivesThenTheIdIsUsedTwice) {
    FleetView view;
    view.addSummary(machineId(1), summaryAt(Verdict::kOk, "a"));
    view.addBeat(beatOf(1));
    FleetBeat rival = beatOf(1, kNow - 100);
    rival.host = "b\x1b[2J";
    view.addRival(rival);
    auto machines = view.machines(kNow, 300);
    ASSERT_EQ(1u, machines.size()) << "the two are one place, not two machines in order";
    EXPECT_EQ(Verdict::kUnknown, machines[0].level);
    EXPECT_EQ(0u, machines[0].conflict.find("two machines share the id " + machineId(1) +
                                            ": b\\x1b[2J (agent one)"))
        << machines[0].conflict;
    EXPECT_EQ(1, FleetView::count(machines).conflicts);
    machines = view.machines(kNow + 85, 300);
    EXPECT_EQ("", machines[0].conflict) << "the rival was heard 185 seconds ago";
}

TEST(FleetView, TheWorstOfAllDecides) {
    const struct {
        FleetView::Counts counts;
        Verdict::Level level;
    } rows[] = {
        {{}, Verdict::kUnknown},
        {{2, 2, 0, 0, 0, 0, 0}, Verdict::kOk},
        {{2, 1, 1, 0, 0, 0, 0}, Verdict::kWarning},
        {{3, 1, 1, 0, 1, 0, 0}, Verdict::kUnknown},
        {{4, 1, 1, 1, 1, 0, 0}, Verdict::kCritical},
    };
    for (const auto& row : rows) EXPECT_EQ(row.level, FleetView::worst(row.counts));
}

// --- exposures ---

TEST(FleetView, ExposuresAreRankedByDepthAndThenByTime) {
    FleetView view;
    FleetSummary one = summaryAt(Verdict::kCritical, "one");
    one.arrays = {exposedArray("md0", 1, 500), exposedArray("md1", 0, 20)};
    FleetSummary::Array whole = exposedArray("md2", 2, 0);
    whole.exposedSince = 0;
    one.arrays.push_back(whole);
    FleetSummary two = summaryAt(Verdict::kCritical, "two");
    two.arrays = {exposedArray("md0", 0, 600), exposedArray("md1", 1, 501)};
    view.addSummary(machineId(1), one);
    view.addSummary(machineId(2), two);
    std::vector<std::string> order;
    for (const FleetView::Exposure& row : view.exposures()) {
        order.push_back(row.host + " " + row.array.name);
    }
    EXPECT_EQ(std::vector<std::string>({"two md0", "one md1", "two md1", "one md0"}), order);
}

// --- drives that fail together ---

TEST(FleetView, GivenThreeDrivesOfOneModelAndFirmwareThenTheyAreARow) {
    FleetView view;
    FleetSummary summary = summaryAt(Verdict::kOk, "a");
    summary.models = {{"KOVA", "K500", "A7", 12}, {"KOVA", "K500", "B1", 5}};
    view.addSummary(machineId(9), summary);
    (void)view.addMessage(message({1, 1, "S1", kNow - 20 * kDay}));
    (void)view.addMessage(message({1, 2, "S2", kNow - 10 * kDay}));
    EXPECT_TRUE(view.failures(kNow - 30 * kDay, 3).empty()) << "two are no row";
    (void)view.addMessage(message({2, 1, "S3", kNow - kDay}));
    const auto rows = view.failures(kNow - 30 * kDay, 3);
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ("KOVA", rows[0].vendor);
    EXPECT_EQ("K500", rows[0].model);
    EXPECT_EQ("A7", rows[0].firmware);
    EXPECT_EQ(3, rows[0].failed);
    EXPECT_EQ(2, rows[0].machines);
    EXPECT_EQ(12, rows[0].inUse);
    EXPECT_EQ(kNow - 20 * kDay, rows[0].firstAt);
    EXPECT_EQ(kNow - kDay, rows[0].lastAt);
}

TEST(FleetView, GivenFailuresThatDoNotBelongTogetherThenThereIsNoRow) {
    const struct {
        const char* when;
        FailureAt third;
    } rows[] = {
        {"the same drive again", {1, 3, "S2", kNow}},
        {"another firmware", {1, 3, "S3", kNow, "B1"}},
        {"longer ago", {1, 3, "S3", kNow - 31 * kDay}},
        {"a drill", {1, 3, "S3", kNow, "A7", 401, Origin::kDrill}},
        {"a test", {1, 3, "S3", kNow, "A7", 401, Origin::kTest}},
        {"only predicted", {1, 3, "S3", kNow, "A7", 402}},
    };
    for (const auto& row : rows) {
        FleetView view;
        (void)view.addMessage(message({1, 1, "S1"}));
        (void)view.addMessage(message({1, 2, "S2"}));
        (void)view.addMessage(message(row.third));
        EXPECT_TRUE(view.failures(kNow - 30 * kDay, 3).empty()) << row.when;
    }
}

// --- repeats ---

TEST(FleetView, GivenARecordThatComesTwiceThenItIsARepeatWhateverElseWasKnown) {
    FleetView view;
    FleetLink::StreamMessage sent = message({1, 1, "S1"});
    EXPECT_EQ(FleetView::Arrival::kNew, view.addMessage(sent));
    EXPECT_EQ(FleetView::Arrival::kRepeat, view.addMessage(sent));
    Json json = Json::parse(sent.body);
    json["data"].erase("drive");
    json["data"]["host"] = "renamed";
    sent.body = json.dump();
    EXPECT_EQ(FleetView::Arrival::kRepeat, view.addMessage(sent));
}

TEST(FleetView, GivenAnotherRecordUnderTheSameIdThenItIsAConflictAndNotDropped) {
    FleetView view;
    view.addSummary(machineId(1), summaryAt(Verdict::kOk, "a"));
    view.addBeat(beatOf(1));
    EXPECT_EQ(FleetView::Arrival::kNew, view.addMessage(message({1, 1, "S1"})));
    EXPECT_EQ(FleetView::Arrival::kConflict, view.addMessage(message({1, 1, "OTHER"})));
    const auto machines = view.machines(kNow, 300);
    EXPECT_NE("", machines[0].conflict);
    EXPECT_EQ(Verdict::kUnknown, machines[0].level);
}

TEST(FleetView, GivenWhatIsNoRecordThenItCountsAsNothing) {
    FleetView view;
    for (const char* body : {"", "{", "[]", "7", "{}", "{\"id\":7}", "{\"id\":\"x:1\",\"data\":{}}",
                             "{\"id\":\"00000001-0000-4000-8000-000000000000:1\"}",
                             "{\"id\":\"00000001-0000-4000-8000-000000000000:1\",\"data\":[]}"}) {
        FleetLink::StreamMessage sent = message({1, 1, "S1"});
        sent.body = body;
        EXPECT_EQ(FleetView::Arrival::kNothing, view.addMessage(sent)) << body;
    }
    EXPECT_TRUE(view.machines(kNow, 300).empty());
}

// --- what a stranger may send ---

TEST(FleetView, GivenARecordThatNamesAnotherMachineThanItsSubjectThenItCountsAsNothing) {
    FleetView view;
    FleetLink::StreamMessage sent = message({1, 1, "S1"});
    sent.subject = "raidwatch.v1." + machineId(2) + ".event.error";
    EXPECT_EQ(FleetView::Arrival::kNothing, view.addMessage(sent));
    sent.subject = "raidwatch.v1." + machineId(1) + "0.event.error";
    EXPECT_EQ(FleetView::Arrival::kNothing, view.addMessage(sent));
    EXPECT_TRUE(view.machines(kNow, 300).empty());
    EXPECT_EQ(FleetView::Arrival::kNew, view.addMessage(message({1, 1, "S1"})))
        << "and it takes nothing from the real one";
}

TEST(FleetView, GivenJsonNestedByThousandsThenItCountsAsNothing) {
    FleetView view;
    FleetLink::StreamMessage sent = message({1, 1, "S1"});
    const std::string deep = std::string(400000, '[') + std::string(400000, ']');
    sent.body = "{\"id\":\"" + machineId(1) + ":1\",\"data\":{\"drive\":" + deep + "}}";
    EXPECT_EQ(FleetView::Arrival::kNothing, view.addMessage(sent));
    EXPECT_EQ("", FleetSummary::of("{\"host\":\"a\",\"x\":" + deep + "}").host);
    EXPECT_EQ("", FleetBeat::of("{\"host\":\"a\",\"x\":" + deep + "}").host);
}

TEST(FleetView, GivenNumbersBeyondAllMeasureThenNothingOverflows) {
    FleetView view;
    for (int i = 1; i <= 3; ++i) {
        view.addSummary(machineId(i),
                        FleetSummary::of("{\"drives\":2147483647,\"models\":[{\"vendor\":\"KOVA\","
                                         "\"model\":\"K500\",\"firmware\":\"A7\",\"drives\":"
                                         "2147483647}],\"arrays\":[{\"name\":\"md0\",\"survives\":"
                                         "-2147483648,\"fullSurvives\":2147483647,"
                                         "\"exposedSince\":-9223372036854775808}]}"));
        FleetBeat beat = FleetBeat::of("{\"polledAt\":-9223372036854775808}");
        beat.machine = machineId(i);
        beat.at = kNow * 1000;
        view.addBeat(beat);
        (void)view.addMessage(message({i, 1, "S" + std::to_string(i)}));
    }
    const auto machines = view.machines(kNow, 300);
    ASSERT_EQ(3u, machines.size());
    EXPECT_EQ("has not looked at its storage yet; last: ", machines[0].sentence);
    const auto rows = view.failures(0, 3);
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(300000, rows[0].inUse) << "a hundred thousand of each machine at the most";
    EXPECT_TRUE(view.exposures().empty());
}

TEST(FleetView, GivenARecordThatSaysToBeOfAnotherMachineThanItsSubjectThenItCountsAsNothing) {
    const std::string id = machineId(2);
    for (const std::string& subject :
         {"raidwatch.v1." + id + ".event.error", "raidwatch.v1.x" + machineId(1) + "x.event.error",
          machineId(1) + ".error", machineId(1), std::string("."), std::string()}) {
        FleetView view;
        FleetLink::StreamMessage sent = message({1, 1, "S1"});
        sent.subject = subject;
        EXPECT_EQ(FleetView::Arrival::kNothing, view.addMessage(sent)) << subject;
        EXPECT_TRUE(view.machines(kNow, 300).empty());
    }
}

TEST(FleetView, GivenMoreFailedDrivesThanAMachineMayNameThenTheRestIsNotKept) {
    FleetView view;
    for (int i = 0; i < FleetView::kMostFailedOfOne + 5; ++i) {
        (void)view.addMessage(message({1, i + 1, "S" + std::to_string(i)}));
    }
    (void)view.addMessage(message({2, 1, "OTHER"}));
    const auto rows = view.failures(0, 3);
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(FleetView::kMostFailedOfOne + 1, rows[0].failed);
}

TEST(FleetView, GivenAFailureInTheFutureThenItHappenedWhenItWasStored) {
    FleetView view;
    for (int i = 0; i < 3; ++i) {
        FleetLink::StreamMessage sent =
            message({1, i + 1, "S" + std::to_string(i), kNow + 900 * kDay});
        sent.at = (kNow - 60 * i) * 1000;
        (void)view.addMessage(sent);
    }
    const auto rows = view.failures(kNow - kDay, 3);
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(kNow - 120, rows[0].firstAt);
    EXPECT_EQ(kNow, rows[0].lastAt);
}

TEST(FleetView, GivenAClockThatIsAheadThenTheMachineIsNotInOrder) {
    FleetView view;
    FleetBeat beat = beatOf(1);
    beat.polledAt = kNow + 3600;
    view.addBeat(beat);
    view.addSummary(machineId(1), summaryAt(Verdict::kOk, "early"));
    const auto machines = view.machines(kNow, 300);
    EXPECT_EQ(Verdict::kUnknown, machines[0].level);
    EXPECT_EQ("its clock is ahead by 1 h; last: said by early", machines[0].sentence);
}

TEST(FleetSummary, GivenMoreThanFitsThenWhatIsKeptIsBounded) {
    Json json = {
        {"host", std::string(5000, 'h')},
        {"sentence", std::string(5000, 's')},
        {"models",
         Json::array({{{"model", "K"}, {"drives", 2000000000}}, {{"model", "K"}, {"drives", -7}}})},
        {"arrays", Json::array({{{"name", "md0"}, {"survives", -9}, {"devices", 1 << 30}}})},
        {"incidents", Json::array()}};
    for (int i = 0; i < 1000; ++i) json["incidents"].push_back({{"object", "o"}});
    const FleetSummary read = FleetSummary::of(json.dump());
    EXPECT_EQ(1000u, read.host.size());
    EXPECT_EQ(1000u, read.sentence.size());
    EXPECT_EQ(100000, read.models[0].drives);
    EXPECT_EQ(0, read.models[1].drives);
    EXPECT_EQ(-1, read.arrays[0].survives);
    EXPECT_EQ(100000, read.arrays[0].devices);
    EXPECT_EQ(FleetSummary::kMostTroubles, read.troubles.size());
}

// --- as text ---

std::size_t widest(const std::string& text) {
    std::size_t most = 0;
    std::size_t from = 0;
    while (from < text.size()) {
        const std::size_t end = std::min(text.find('\n', from), text.size());
        most = std::max(most, end - from);
        from = end + 1;
    }
    return most;
}

TEST(FleetText, GivenAFleetInOrderThenOneLineIsEnough) {
    FleetView view;
    for (int i = 0; i < 3; ++i) {
        view.addSummary(machineId(i), summaryAt(Verdict::kOk, "h"));
        view.addBeat(beatOf(i));
    }
    EXPECT_EQ("OK: 3 machines: 3 in order\n",
              FleetText({80, false}).status(view.machines(kNow, 300), {}, 20, kNow));
}

TEST(FleetText, TheTableKeepsToEightyColumnsAndSaysWhatItLeavesOut) {
    FleetView view;
    for (int i = 0; i < 5; ++i) {
        FleetSummary summary = summaryAt(
            Verdict::kCritical, "a-very-long-host-name-that-nobody-types-" + std::to_string(i));
        summary.sentence = "1 array degraded: md0 survives no further drive failure, \x1b[31mred";
        summary.arrays = {exposedArray("md0", 0, 60 * (5 - i))};
        view.addSummary(machineId(i), summary);
        view.addBeat(beatOf(i));
    }
    const std::string text = FleetText({80, false}).status(view.machines(kNow, 300), {}, 2, kNow);
    EXPECT_LE(widest(text), 80u) << text;
    EXPECT_EQ(std::string::npos, text.find('\x1b'));
    EXPECT_EQ(
        "CRITICAL: 5 machines: 5 critical\n"
        "\n"
        "MACHINE               STATE     HEARD  HOW IT STANDS\n"
        "a-very-long-host-na~  CRITICAL  10 s   1 array degraded: md0 survives no further\n"
        "                                       drive failure, \\x1b[31mred\n"
        "a-very-long-host-na~  CRITICAL  10 s   1 array degraded: md0 survives no further\n"
        "                                       drive failure, \\x1b[31mred\n"
        "3 more are not in order; --limit shows more\n",
        text);
}

TEST(FleetText, TopShowsTheDepthAndTheTime) {
    FleetView view;
    FleetSummary one = summaryAt(Verdict::kCritical, "one");
    one.arrays = {exposedArray("md0", 1, 11520), exposedArray("md1", 0, 20)};
    view.addSummary(machineId(1), one);
    EXPECT_EQ(
        "MACHINE  ARRAY  LEVEL   SURVIVES  EXPOSED     STATE\n"
        "one      md1    RAID 6  0         20 s        degraded, 6 of 8 drives\n"
        "one      md0    RAID 6  1         3 h 12 min  degraded, 7 of 8 drives\n",
        FleetText({80, false}).top(view.exposures(), 20, kNow));
    EXPECT_EQ("Every array has all of its redundancy.\n", FleetText({80, false}).top({}, 20, kNow));
}

TEST(FleetText, DrivesThatFailTogetherAreOneSentence) {
    FleetView::Failures row{"KOVA", "K500", "A7", 3, 2, 12, kNow - 20 * kDay, kNow - kDay};
    EXPECT_EQ(
        "Drives of one model and firmware that fail together\n"
        "  KOVA K500, firmware A7: 3 failed on 2 machines within 19 d, the last 1 d ago;\n"
        "  12 are in use\n",
        FleetText({80, false}).failures({row}, kNow));
}

TEST(FleetText, GivenNobodySilentThenItSaysSo) {
    EXPECT_EQ("No machine is silent.\n", FleetText({80, false}).silent({}, kNow));
    EXPECT_EQ("UNKNOWN: no machine has said anything yet", FleetText::headline({}));
}

}  // namespace
