// Whole stories through the incidents: what people would have been told of every recording and
// every shipped scenario. QEL_APPROVE=1 writes the lists anew; the difference is to be reviewed.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>

#include "agent/Recording.h"
#include "agent/Replayer.h"
#include "agent/incidents/IncidentBook.h"
#include "storlib/sources/ScenarioSource.h"
#include "tests/agent/SimpleState.h"
#include "util/Clock.h"

namespace {

std::string source(const std::string& path) { return std::string(QEL_SOURCE_DIR) + "/" + path; }

std::string contents(const std::string& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// What people are told by one book.
struct Story {
    std::vector<std::string> lines;                           // steps and subjects
    std::map<std::int64_t, std::vector<Notice::Kind>> kinds;  // by incident
    std::vector<Incident> open;                               // in the end
    int notices = 0;
};

struct Teller {
    IncidentBook book = IncidentBook(AgentSettings(), {}, 0);
    Story story;

    void note(const IncidentBook::Effect& effect) {
        for (const Notice& notice : effect.notices) {
            story.lines.push_back("  " + std::to_string(notice.incident.id) + " " +
                                  noticeWord(notice.kind) + ": " + notice.subject);
            story.kinds[notice.incident.id].push_back(notice.kind);
            ++story.notices;
        }
    }
};

// Two books hear the same: one with the state after each poll; one with the state before it, as
// happens when events are taken while the poll still runs.
class Player {
public:
    Player(Replayer& replayerIN, bool hasMembersIN)
        : replayer(replayerIN), hasMembers(hasMembersIN) {}

    void play() {
        while (replayer.next()) step();
        const std::int64_t later = Clock::current().now() + 2 * 3600;
        for (Teller* teller : {&punctual, &late}) {
            teller->story.lines.push_back("(later)");
            teller->note(teller->book.tick({}, later));
            teller->story.open = teller->book.open();
        }
    }

    Teller punctual;
    Teller late;

private:
    void step() {
        const std::int64_t now = Clock::current().now();
        MachineState after = simple::stateOf(*replayer.library().getSystem(), now);
        if (hasMembers) simple::giveMembers(after);
        for (Teller* teller : {&punctual, &late}) {
            const MachineState& seen = teller == &late ? before : after;
            teller->story.lines.push_back(replayer.step());
            teller->note(teller->book.tick({}, now));
            for (const QELEvent& event : replayer.events()) {
                teller->note(teller->book.apply(simple::recordOf(event, 1), seen, {}, now));
            }
            teller->note(teller->book.reconcile(after, {}, now));
        }
        before = after;
    }

    Replayer& replayer;
    bool hasMembers;
    MachineState before;
};

constexpr const char* kRecordings[] = {"raid1-spare", "raid5-pull", "sas-raid10"};

// The kernel tells which drives an array has, the simulated controllers do not.
Player played(const std::string& name) {
    if (std::find(std::begin(kRecordings), std::end(kRecordings), name) != std::end(kRecordings)) {
        const Recording recording(source("tests/recordings/" + name));
        Replayer replayer(recording.path());
        Player player(replayer, true);
        player.play();
        return player;
    }
    std::string error;
    auto scenario =
        ScenarioSource::open(source("storlib/sources/scenarios/" + name + ".json"), error);
    EXPECT_NE(nullptr, scenario) << error;
    Replayer replayer(std::move(scenario));
    Player player(replayer, false);
    player.play();
    return player;
}

struct Expected {
    const char* name;
    int notices;  // that people get
    int open;     // incidents that are left in the end
};

// clang-format off
constexpr Expected kStories[] = {
    {"raid1-spare", 3, 1},
    {"raid5-pull", 4, 1},
    {"sas-raid10", 8, 0},
    {"arrays-are-made-and-lost", 7, 1},
    {"bad-block-is-found-and-repaired", 2, 0},
    {"bad-stripes-are-found", 1, 1},
    {"cache-battery-ages", 6, 0},
    {"controller-disappears-and-returns", 2, 0},
    {"controller-fails-and-is-replaced", 7, 5},
    {"controller-is-removed-while-nobody-watches", 3, 1},
    {"controller-stops-answering", 2, 1},
    {"controller-with-wrong-versions-is-added", 5, 5},
    {"drive-fails-hot-spare-takes-over", 2, 0},
    {"drives-come-and-go", 4, 1},
    {"drives-foretell-their-failure", 11, 1},
    {"drives-in-every-kind-of-place", 6, 6},
    {"enclosure-loses-its-cable", 9, 1},
    {"fan-fails-and-is-replaced", 8, 0},
    {"host-is-flooded", 0, 0},
    {"no-controller-then-one-is-plugged-in", 0, 0},
    {"tasks-run-on-while-nobody-watches", 0, 0},
    {"tasks-succeed-fail-and-are-aborted", 6, 0},
    {"whole-story", 13, 0},
};
// clang-format on

class IncidentStorm : public testing::TestWithParam<Expected> {};

TEST_P(IncidentStorm, GivenTheStoryThenPeopleAreToldExactlyThis) {
    const Expected& expected = GetParam();
    const Player player = played(expected.name);
    const Story& story = player.punctual.story;
    EXPECT_EQ(expected.notices, story.notices);
    EXPECT_EQ(expected.open, static_cast<int>(story.open.size()));

    std::ostringstream told;
    for (const std::string& line : story.lines) told << line << "\n";
    for (const Incident& incident : story.open) {
        told << "still open: " << incident.id << " " << NoticeText::subjectOf(incident) << ", "
             << incident.condition << " " << incident.value << "\n";
    }
    const std::string path =
        source(std::string("tests/golden/incidents/") + expected.name + ".txt");
    if (std::getenv("QEL_APPROVE") != nullptr) std::ofstream(path) << told.str();
    EXPECT_EQ(contents(path), told.str());

    // However late the state is, all that ends otherwise ends too, and each is opened once.
    const Story& late = player.late.story;
    for (const auto& [id, kinds] : late.kinds) {
        const auto count = [&list = kinds](Notice::Kind kind) {
            return std::count(list.begin(), list.end(), kind);
        };
        EXPECT_EQ(Notice::Kind::kOpened, kinds.front()) << id;
        EXPECT_EQ(1, count(Notice::Kind::kOpened)) << id;
        EXPECT_LE(count(Notice::Kind::kResolved), 1) << id;
    }
    for (const Incident& incident : late.open) {
        const bool isOpenToo =
            std::any_of(story.open.begin(), story.open.end(), [&incident](const Incident& other) {
                return other.object == incident.object && other.condition == incident.condition;
            });
        EXPECT_TRUE(isOpenToo) << incident.object << " " << incident.condition;
    }
}

INSTANTIATE_TEST_SUITE_P(All, IncidentStorm, testing::ValuesIn(kStories), [](const auto& row) {
    std::string name = row.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

}  // namespace
