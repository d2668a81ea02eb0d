// What the engine finds in each recording, against lists that were derived by hand from the notes
// beside the recordings. QEL_APPROVE=1 writes them anew; the difference is to be reviewed.
#include "agent/Replayer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iomanip>
#include <sstream>

#include "agent/Failure.h"
#include "agent/Recording.h"
#include "tests/support/TempDir.h"

namespace {

std::string source(const std::string& path) { return std::string(QEL_SOURCE_DIR) + "/" + path; }

std::string identity(const QELEvent& event) {
    switch (event.objectType) {
        case QELEvent::kAdapter:
            return "adapter " + std::to_string(event.location.controllerID);
        case QELEvent::kLogicalDrive:
            return "array " + std::to_string(event.location.logicalDriveID);
        case QELEvent::kPhysicalDrive:
            return "drive " + event.extra1;
        case QELEvent::kEnclosure:
            return "enclosure";
        case QELEvent::kFan:
            return "fan " + std::to_string(event.value2 + 1);
        case QELEvent::kPowerSupply:
            return "power supply " + std::to_string(event.value3 + 1);
        default:
            return "object of type " + std::to_string(event.objectType);
    }
}

struct Found {
    std::string step;
    QELEvent event;
};

std::vector<Found> replay(const std::string& name) {
    const Recording recording(source("tests/recordings/" + name));
    Replayer replayer(recording.path());
    std::vector<Found> all;
    while (replayer.next()) {
        EXPECT_EQ("", replayer.problem()) << replayer.step();
        for (const QELEvent& event : replayer.events()) all.push_back({replayer.step(), event});
    }
    return all;
}

std::string table(const std::vector<Found>& all) {
    std::size_t width = 0;
    for (const Found& found : all) width = std::max(width, found.step.size());
    std::ostringstream text;
    for (const Found& found : all) {
        text << std::left << std::setw(static_cast<int>(width) + 1) << found.step
             << found.event.eventCode << " " << found.event.severity << " " << identity(found.event)
             << "\n";
    }
    return text.str();
}

std::string contents(const std::string& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class ReplayerGolden : public testing::TestWithParam<const char*> {};

TEST_P(ReplayerGolden, GivenTheRecordingThenFindsWhatHappened) {
    const std::string path = source(std::string("tests/golden/replay/") + GetParam() + ".txt");
    const std::vector<Found> all = replay(GetParam());
    for (const Found& found : all) {
        EXPECT_NE("", found.event.text) << found.step << " " << found.event.eventCode;
    }
    const std::string golden = contents(path);
    const std::string heading = golden.substr(0, golden.find('\n') + 1);
    if (std::getenv("QEL_APPROVE") != nullptr) std::ofstream(path) << heading << table(all);
    EXPECT_EQ(contents(path), heading + table(all));
}

INSTANTIATE_TEST_SUITE_P(Recordings, ReplayerGolden,
                         testing::Values("raid1-spare", "raid5-pull", "sas-raid10"),
                         [](const auto& row) {
                             std::string name = row.param;
                             name[name.find('-')] = '_';
                             return name;
                         });

TEST(Replayer, GivenARecordingThenTheStepsCountAsMoreThanAMinuteApart) {
    const std::vector<Found> all = replay("raid1-spare");
    ASSERT_FALSE(all.empty());
    EXPECT_EQ("10-new-spare", all.back().step);
    EXPECT_EQ(9 * 65, all.back().event.timeStamp - all.front().event.timeStamp);
}

TEST(Replayer, GivenItIsOverThenTheClockIsTheMachinesAgain) {
    (void)replay("raid5-pull");
    EXPECT_EQ(&Clock::system(), &Clock::current());
}

TEST(Replayer, GivenNoStepThenRefusesAsBadUse) {
    const TempDir dir;
    try {
        const Replayer replayer(dir.folder());
        ADD_FAILURE();
    } catch (const Failure& e) {
        EXPECT_EQ(Failure::kBadUse, e.exitCode);
    }
}

}  // namespace
