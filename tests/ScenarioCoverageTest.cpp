// The shipped scenarios provoke every event that the monitor can raise, and nothing unknown.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>

#include "tests/support/ScenarioPlay.h"

namespace {

// Key, code, severity, identifier: what makes a row one of its own.
using Row = std::tuple<std::string, int, int, std::string>;

constexpr int kOverloadCode = 200;

Row rowOf(const EventRow& row) { return {row.key, row.code, row.severity, row.eventId}; }

// With a catalogue of keys the text begins with the row's key.
Row rowOf(const QELEvent& event) {
    const std::string key =
        event.eventCode == kOverloadCode ? "" : event.text.substr(0, event.text.find('('));
    return {key, event.eventCode, event.severity, event.eventId};
}

std::string describeRow(const Row& row) {
    return std::get<0>(row) + " " + std::to_string(std::get<1>(row)) + "/" +
           std::to_string(std::get<2>(row)) + " " + std::get<3>(row);
}

// A language whose translator has left the part numbers out: drives with one then have an empty
// replacement phrase.
std::string catalogueWithoutPartNumbers() {
    const std::string all = MonitorRoom::catalogueOfKeys();
    const std::string::size_type begin = all.find(phrases::kPartNumber.key);
    return all.substr(0, begin) + all.substr(all.find('\n', begin) + 1);
}

std::set<Row> knownRows() {
    std::set<Row> rows;
    for (const EventRow* row : rows::kAllEventRows) rows.insert(rowOf(*row));
    return rows;
}

std::set<Row> rowsRaisedBy(const std::string& scenario, const std::string& catalogue) {
    std::set<Row> raised;
    const ScenarioPlay play(shippedScenario(scenario), catalogue);
    for (const ScenarioPlay::Moment& moment : play.moments()) {
        for (const QELEvent& event : moment.events) raised.insert(rowOf(event));
    }
    return raised;
}

TEST(ScenarioCoverage, GivenTheShippedScenariosThenEveryRowIsRaisedAndOnlyKnownOnesAre) {
    const std::set<Row> known = knownRows();
    std::set<Row> raised;
    for (const std::string& scenario : shippedScenarios()) {
        for (const std::string& catalogue :
             {MonitorRoom::catalogueOfKeys(), catalogueWithoutPartNumbers()}) {
            for (const Row& row : rowsRaisedBy(scenario, catalogue)) {
                EXPECT_EQ(1u, known.count(row)) << scenario << " raises " << describeRow(row);
                raised.insert(row);
            }
        }
    }
    for (const Row& row : known) {
        EXPECT_EQ(1u, raised.count(row)) << "no scenario raises " << describeRow(row);
    }
}

// Each file is there for a reason: without it a row would be missing, or it tells another story.
TEST(ScenarioCoverage, GivenTheWholeStoryThenItShowsTheEventsThatANewcomerShouldSee) {
    const std::set<Row> raised = rowsRaisedBy("whole-story", MonitorRoom::catalogueOfKeys());
    for (const EventRow* row :
         {&rows::kDrivePfa[1][1].specific, &rows::kDriveFailed[1][1].specific,
          &rows::kRebuildDetected, &rows::kRebuildRunning, &rows::kRebuildComplete,
          &rows::kLogicalCritical, &rows::kLogicalNormal, &rows::kFailedDriveReplaced,
          &rows::kFanFailed, &rows::kFanOperational, &rows::kTempOutOfRange, &rows::kTempNormal,
          &rows::kBatteryLow.specific, &rows::kBatteryNormalAgain.specific, &rows::kBadBlockFound,
          &rows::kBadBlockRepaired, &rows::kControllerFailed, &rows::kControllerAdded}) {
        EXPECT_EQ(1u, raised.count(rowOf(*row))) << describeRow(rowOf(*row));
    }
}

}  // namespace
