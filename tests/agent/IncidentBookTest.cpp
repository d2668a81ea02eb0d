#include "agent/incidents/IncidentBook.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "agent/incidents/IncidentRules.h"
#include "monitor/EventRows.h"
#include "tests/agent/IncidentBench.h"

namespace {

using incident_bench::array;
using incident_bench::Bench;
using incident_bench::kDay;
using incident_bench::kHour;
using incident_bench::Kind;
using incident_bench::kMinute;
using incident_bench::silence;
using incident_bench::Words;

TEST(IncidentBook, GivenAFailureASpareAndARebuildThenItIsOneIncidentOfTheArray) {
    Bench bench;
    (void)bench.look();
    bench.setArray("degraded", 1);
    (void)bench.onArray(301);
    (void)bench.onArray(399);
    EXPECT_EQ((Words{"opened md0 degraded"}), bench.told());
    EXPECT_EQ("DEGRADED md0 on stor7: survives 1 more drive failure", bench.last.subject);
    (void)bench.onDrive(404, 1);
    EXPECT_EQ("", bench.only().ackBy);
    (void)bench.told();
    (void)bench.pass(2 * kHour);
    bench.setArray("rebuilding", 1);
    (void)bench.onArray(304);
    EXPECT_EQ((Words{"updated md0 rebuilding"}), bench.told());
    for (int i = 0; i < 10; ++i) (void)bench.onArray(372);
    (void)bench.pass(kHour + 12 * kMinute);
    bench.setArray("normal", 2);
    (void)bench.onArray(345);
    (void)bench.onArray(305);
    EXPECT_EQ((Words{"resolved md0 normal"}), bench.told());
    EXPECT_EQ("RESOLVED md0 on stor7: normal again after 3 h 12 min", bench.last.subject);
    EXPECT_EQ(15, bench.last.incident.events);
    EXPECT_EQ(1, bench.last.incident.firstSequence);
    EXPECT_EQ(15, bench.last.incident.lastSequence);
    EXPECT_TRUE(bench.book.open().empty());
}

TEST(IncidentBook, GivenTheDriveIsHeardOfFirstThenItOpensTheIncidentOfItsArray) {
    Bench bench;
    (void)bench.look();
    EXPECT_EQ(1, bench.onDrive(401, 2).incident);
    EXPECT_EQ(1, bench.onArray(301).incident);
    EXPECT_EQ((Words{"opened md0 degraded"}), bench.told());
    EXPECT_EQ("array:0:0", bench.only().object);
    EXPECT_NE(std::string::npos, bench.last.body.find("serial S2"));
}

TEST(IncidentBook, GivenTheStateAlreadyShowsTheDriveThenTheFirstMessageNamesItAndIsTheOnlyOne) {
    Bench bench;
    (void)bench.look();
    bench.state.drives[1].state = "failed";
    bench.state.arrays[0].members[1].state = "failed";
    bench.setArray("degraded", 1);
    bench.now += 5;
    bench.state.polledAt = bench.now;
    (void)bench.onArray(301);
    EXPECT_NE(std::string::npos, bench.last.body.find("serial S1"));
    (void)bench.onDrive(401, 1);
    EXPECT_EQ((Words{"opened md0 degraded"}), bench.told());
}

TEST(IncidentBook, GivenASecondDriveFailsThenTheLossOfRedundancyIsTold) {
    Bench bench;
    (void)bench.look();
    bench.setArray("degraded", 1);
    (void)bench.look();
    (void)bench.told();
    bench.now += 10;
    bench.setArray("degraded", 0);
    (void)bench.look();
    EXPECT_EQ((Words{"worse md0 degraded"}), bench.told());
    EXPECT_EQ(0, bench.only().survives);
    EXPECT_EQ(bench.now, bench.only().exposedSince);
}

TEST(IncidentBook, GivenARebuildThatFailsThenTheArrayIsWorseAgain) {
    Bench bench;
    bench.setArray("degraded", 1);
    (void)bench.look();
    (void)bench.pass(2 * kHour);
    (void)bench.onArray(304);
    (void)bench.told();
    (void)bench.onArray(306);
    EXPECT_EQ((Words{"worse md0 degraded"}), bench.told());
    EXPECT_EQ(1u, bench.book.open().size());
}

TEST(IncidentBook, GivenARebuildThatFailsOnAWholeArrayThenItIsToldOnce) {
    Bench bench;
    (void)bench.onArray(306);
    (void)bench.onArray(306);
    EXPECT_EQ((Words{"opened md0 failed"}), bench.told());
    EXPECT_EQ("rebuild", bench.only().condition);
}

struct Orphan {
    const char* name;
    int device;
    const char* told;
};

TEST(IncidentBook, GivenADriveOfNoArrayThenItHasItsOwnIncident) {
    constexpr Orphan kRows[] = {{"spare", 4, "opened drive 1:0:4 failed"},
                                {"unused", 5, "opened drive 1:0:5 failed"},
                                {"never seen", 77, "opened drive 1:0:77 failed"}};
    for (const Orphan& row : kRows) {
        Bench bench;
        (void)bench.look();
        (void)bench.onDrive(401, row.device);
        EXPECT_EQ((Words{row.told}), bench.told()) << row.name;
    }
}

TEST(IncidentBook, GivenAControllerThatDoesNotTellItsMembersThenTheOneArrayInTroubleTakesTheDrive) {
    Bench bench;
    bench.state.drives.clear();
    bench.state.arrays = {array(0, "degraded", -1), array(1, "normal", -1)};
    for (ArrayState& each : bench.state.arrays) each.adapter = 1;
    (void)bench.onDrive(401, 9);
    EXPECT_EQ((Words{"opened md0 degraded"}), bench.told());

    Bench two;
    two.state.drives.clear();
    two.state.arrays = {array(0, "degraded", -1), array(1, "degraded", -1)};
    for (ArrayState& each : two.state.arrays) each.adapter = 1;
    (void)two.onDrive(401, 9);
    EXPECT_EQ((Words{"opened drive 1:0:9 failed"}), two.told());

    Bench other;
    other.state.drives.clear();
    other.state.arrays = {array(0, "degraded", -1)};  // of adapter 0
    (void)other.onDrive(401, 9);
    EXPECT_EQ((Words{"opened drive 1:0:9 failed"}), other.told());
}

TEST(IncidentBook, GivenAPredictedFailureThatComesTrueThenTheArrayTakesOver) {
    Bench bench;
    (void)bench.look();
    (void)bench.onDrive(402, 1);
    (void)bench.onDrive(401, 1);
    EXPECT_EQ((Words{"opened drive 1:0:1 predicted", "opened md0 degraded"}), bench.told());
    EXPECT_EQ("redundancy", bench.only().condition);
}

TEST(IncidentBook, GivenAFailedDriveIsTakenOutThenThatIsNoNews) {
    Bench bench;
    (void)bench.look();
    (void)bench.onDrive(401, 1);
    (void)bench.told();
    (void)bench.onDrive(408, 1);
    EXPECT_EQ(Words(), bench.told());
}

TEST(IncidentBook, GivenAnotherDriveAtThePlaceThenTheOldOnesProblemIsOver) {
    Bench bench;
    (void)bench.look();
    (void)bench.onDrive(401, 4);
    (void)bench.pass(2 * kHour);
    (void)bench.event(407, "drive:NEW", "drive 1:0:4", QELEvent::kPhysicalDrive);
    EXPECT_EQ((Words{"opened drive 1:0:4 failed", "resolved drive 1:0:4 replaced"}), bench.told());
    EXPECT_EQ("RESOLVED drive 1:0:4 on stor7: replaced after 2 h", bench.last.subject);
}

TEST(IncidentBook, GivenAnUnusedDriveIsTakenOutThenItIsToldOnceAndEndsQuietly) {
    Bench bench;
    (void)bench.look();
    bench.state.drives.pop_back();
    (void)bench.onDrive(408, 5);
    EXPECT_EQ((Words{"opened drive 1:0:5 removed"}), bench.told());
    (void)bench.pass(kToldOnceSeconds - 1);
    EXPECT_EQ(1u, bench.book.open().size());
    const IncidentBook::Effect effect = bench.pass(1);
    EXPECT_TRUE(bench.book.open().empty());
    ASSERT_EQ(1u, effect.changed.size());
    EXPECT_FALSE(effect.changed[0].open);
    EXPECT_EQ(Words(), bench.told());
}

TEST(IncidentBook, GivenBadBlocksThenTheyAreToldOnceUntilThereWereNoneForADay) {
    Bench bench;
    for (int i = 0; i < 50; ++i) {
        (void)bench.onDrive(418, 1);
        (void)bench.pass(kHour);
    }
    EXPECT_EQ((Words{"opened drive 1:0:1 bad block"}), bench.told());
    (void)bench.pass(kDay);
    EXPECT_TRUE(bench.book.open().empty());
    (void)bench.onDrive(418, 1);
    EXPECT_EQ((Words{"opened drive 1:0:1 bad block"}), bench.told());
}

TEST(IncidentBook, GivenManyUnsupportedDrivesThenOneMessageIsEnough) {
    Bench bench;
    for (int i = 0; i < 24; ++i) (void)bench.onDrive(406, i);
    EXPECT_EQ(1u, bench.told().size());
    EXPECT_EQ(24, bench.only().events);
}

TEST(IncidentBook, GivenAnEventThatNoRowKnowsThenOnlyTroubleIsTold) {
    Bench bench;
    (void)bench.event(777, "x", "x", QELEvent::kUnknown, kEventInformation);
    EXPECT_EQ(Words(), bench.told());
    (void)bench.event(777, "x", "x", QELEvent::kUnknown, kEventWarning);
    (void)bench.event(777, "x", "x", QELEvent::kUnknown, kEventError);
    EXPECT_EQ((Words{"opened x warning", "worse x error"}), bench.told());
    (void)bench.event(778, "x", "x", QELEvent::kUnknown, kEventError);
    EXPECT_EQ((Words{"opened x error"}), bench.told());
}

TEST(IncidentBook, GivenTwoFansThenEachHasItsIncidentOfOneEnclosure) {
    Bench bench;
    (void)bench.look();
    (void)bench.onFan(504, 1);
    (void)bench.onFan(506, 2);
    (void)bench.pass(2 * kHour);
    (void)bench.onFan(503, 1);
    EXPECT_EQ(
        (Words{"opened fan 1 of enclosure 1:0:9 failed", "opened fan 2 of enclosure 1:0:9 missing",
               "resolved fan 1 of enclosure 1:0:9 normal"}),
        bench.told());
    EXPECT_EQ("fan 2", bench.only().condition);
    EXPECT_EQ("enclosure:E1", bench.only().object);
}

// --- the machine itself -------------------------------------------------------------------------

TEST(IncidentBook, GivenNoPollYetThenNothingIsConcluded) {
    Bench bench;
    bench.setArray("degraded", 1);
    bench.state.polledAt = 0;
    EXPECT_TRUE(bench.book.reconcile(bench.state, {}, bench.now).changed.empty());
    EXPECT_TRUE(bench.book.open().empty());
}

TEST(IncidentBook, GivenAnArrayIsDegradedWithoutAnEventThenItIsOpened) {
    for (const char* word : {"degraded", "rebuilding", "failed", "offline"}) {
        Bench bench;
        bench.setArray(word, 0);
        (void)bench.look();
        (void)bench.look();
        ASSERT_EQ(1u, bench.told().size()) << word;
        EXPECT_EQ(0, bench.only().code);
        EXPECT_EQ(0, bench.only().firstSequence);
        EXPECT_NE("", bench.only().text);
    }
    for (const char* word : {"normal", "checking", "unknown", "queued"}) {
        Bench bench;
        bench.setArray(word, 0);
        (void)bench.look();
        EXPECT_EQ(Words(), bench.told()) << word;
    }
}

TEST(IncidentBook, GivenAnArrayIsWellWithoutAnEventThenItIsResolved) {
    Bench bench;
    (void)bench.onArray(301);
    (void)bench.pass(2 * kHour);
    (void)bench.look();
    EXPECT_EQ((Words{"opened md0 degraded", "resolved md0 normal"}), bench.told());
}

TEST(IncidentBook, GivenAnOldStateThenItClosesAndOpensNothing) {
    Bench bench;
    (void)bench.look();  // normal
    bench.now += 5;
    (void)bench.onArray(301);
    bench.state.polls += 1;  // still the poll before
    EXPECT_TRUE(bench.book.reconcile(bench.state, {}, bench.now).notices.empty());
    EXPECT_EQ("degraded", bench.only().value);

    bench.setArray("degraded", 1);
    (void)bench.look();
    bench.now += 3 * kHour;
    (void)bench.onArray(345);
    (void)bench.told();
    bench.state.polls += 1;
    EXPECT_TRUE(bench.book.reconcile(bench.state, {}, bench.now).notices.empty());
    EXPECT_TRUE(bench.book.open().empty());
}

TEST(IncidentBook, GivenAFailedDriveOfAWholeArrayThenItIsNotOpenedAgain) {
    Bench bench;
    (void)bench.look();
    (void)bench.onDrive(401, 1);
    bench.state.drives[1].state = "failed";
    bench.state.arrays[0].members[1].state = "failed";
    (void)bench.pass(3 * kHour);
    (void)bench.onArray(345);
    (void)bench.told();
    for (int i = 0; i < 5; ++i) {
        (void)bench.look();
        bench.now += 5;
    }
    EXPECT_EQ(Words(), bench.told());

    Bench restarted(AgentSettings(), {}, 1);
    restarted.state = bench.state;
    restarted.now = bench.now;
    (void)restarted.look();
    EXPECT_EQ(Words(), restarted.told());
}

TEST(IncidentBook, GivenASpareFailsWithoutAnEventThenItIsOpenedAndLaterClosed) {
    Bench bench;
    (void)bench.look();
    bench.now += 5;
    bench.state.drives[4].state = "failed";
    bench.state.arrays[0].members[4].state = "failed";
    (void)bench.look();
    EXPECT_EQ((Words{"opened drive 1:0:4 failed"}), bench.told());
    bench.now += 2 * kHour;
    bench.state.drives[4].key = "drive:NEW";
    bench.state.drives[4].state = "spare";
    (void)bench.look();
    EXPECT_EQ((Words{"resolved drive 1:0:4 replaced"}), bench.told());
}

TEST(IncidentBook, GivenFansThenOnlyFailuresAreOpenedByLooking) {
    Bench bench;
    bench.state.enclosures[0].elements[0].state = "missing";  // perhaps there never was one
    bench.state.enclosures[0].elements[1].state = "failed";
    bench.state.enclosures[0].elements[2].state = "too hot";
    (void)bench.look();
    EXPECT_EQ((Words{"opened fan 2 of enclosure 1:0:9 failed", "opened enclosure 1:0:9 too hot"}),
              bench.told());
    (void)bench.onFan(504, 2);  // the event comes late: the same incident
    EXPECT_EQ(2u, bench.book.open().size());
    bench.now += 2 * kHour;
    for (ElementState& element : bench.state.enclosures[0].elements) element.state = "normal";
    (void)bench.look();
    EXPECT_EQ(2u, bench.told().size());
    EXPECT_TRUE(bench.book.open().empty());
}

// --- what survives a restart --------------------------------------------------------------------

TEST(IncidentBook, GivenOpenIncidentsFromBeforeThenTheyGoOn) {
    Bench before;
    before.setArray("degraded", 1);
    (void)before.look();
    (void)before.onDrive(401, 4);
    Bench after(AgentSettings(), before.book.open(), 2);
    after.now = before.now;
    after.setArray("degraded", 1);
    (void)after.look();
    (void)after.pass(1);
    EXPECT_EQ(Words(), after.told());
    EXPECT_EQ(2u, after.book.open().size());
    (void)after.onDrive(402, 3);
    EXPECT_EQ(3, after.book.open().back().id);
}

TEST(IncidentBook, GivenADrillThenItsIncidentsSaySo) {
    Bench bench;
    bench.origin = Origin::kDrill;
    (void)bench.onArray(301);
    EXPECT_EQ(Origin::kDrill, bench.only().origin);
    EXPECT_EQ("DRILL DEGRADED md0", bench.last.subject.substr(0, 18));

    IncidentBook drill(AgentSettings(), {}, 0, Origin::kDrill);
    bench.setArray("degraded", 1);
    bench.state.polledAt = bench.now;
    ASSERT_EQ(1u, drill.reconcile(bench.state, {}, bench.now).changed.size());
    EXPECT_EQ(Origin::kDrill, drill.open().front().origin);
}

// --- whatever happens ---------------------------------------------------------------------------

// Random events, looks, silences, acknowledgements and times. What must always hold: ids are never
// used twice; at most one incident is open per object and condition; each incident's messages begin
// with "opened" (or "flapping") and nothing follows "resolved"; what is closed stays closed.
TEST(IncidentBook, GivenAnyOrderOfEventsThenTheBookStaysSound) {
    std::vector<int> codes = {777};
    for (const EventRow* row : rows::kAllEventRows) codes.push_back(row->code);
    const Words states = {"normal", "degraded", "rebuilding", "failed", "checking", "unknown"};
    const Words driveStates = {"normal", "failed", "spare", "unused", "missing", "rebuilding"};

    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto pick = [&random](std::size_t count) { return random() % count; };
        AgentSettings settings;
        settings.flapWindow = seed % 3 == 0 ? 0 : 600;
        Bench bench(settings);
        std::map<std::int64_t, Kind> lastTold;
        std::set<std::int64_t> closed;
        std::int64_t highest = 0;
        for (int i = 0; i < 400; ++i) {
            IncidentBook::Effect effect;
            switch (pick(8)) {
                case 0:
                    bench.setArray(states[pick(states.size())], static_cast<int>(pick(4)) - 1);
                    bench.state.drives[pick(6)].state = driveStates[pick(driveStates.size())];
                    effect = bench.look();
                    break;
                case 1:
                    effect = bench.pass(static_cast<std::int64_t>(pick(2000)));
                    break;
                case 2:
                    bench.silences.clear();
                    if (pick(2) == 0) {
                        bench.silences = {silence("", bench.now, bench.now + 500)};
                    }
                    break;
                case 3:
                    (void)bench.book.acknowledge(static_cast<std::int64_t>(1 + pick(20)), "ann", "",
                                                 pick(2) == 0 ? 0 : bench.now + 300, bench.now,
                                                 effect);
                    break;
                case 4:
                    effect = bench.onArray(codes[pick(codes.size())]);
                    break;
                default:
                    effect = bench.onDrive(codes[pick(codes.size())], static_cast<int>(pick(7)));
            }
            for (const Notice& notice : effect.notices) {
                const std::int64_t id = notice.incident.id;
                const auto before = lastTold.find(id);
                if (before == lastTold.end()) {
                    EXPECT_TRUE(notice.kind == Kind::kOpened || notice.kind == Kind::kFlapping);
                } else {
                    EXPECT_NE(Kind::kOpened, notice.kind);
                    EXPECT_NE(Kind::kResolved, before->second);
                }
                EXPECT_EQ(notice.kind != Kind::kResolved, notice.incident.open);
                lastTold[id] = notice.kind;
            }
            std::set<std::pair<std::string, std::string>> places;
            for (const Incident& incident : bench.book.open()) {
                EXPECT_TRUE(places.insert({incident.object, incident.condition}).second);
                EXPECT_TRUE(incident.open);
                EXPECT_EQ(0u, closed.count(incident.id));
            }
            for (const Incident& incident : effect.changed) {
                const bool isNewlyClosed = incident.open || closed.insert(incident.id).second;
                EXPECT_TRUE(isNewlyClosed);
                if (incident.id > highest) {
                    EXPECT_EQ(highest + 1, incident.id);
                    highest = incident.id;
                }
            }
        }
    }
}

}  // namespace
