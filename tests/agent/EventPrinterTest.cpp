#include "agent/EventPrinter.h"

#include <gtest/gtest.h>

#include "tests/agent/AgentFixture.h"

namespace {

std::vector<QELEvent> threeEvents() {
    return {QELEvent(401, kEventError, "failed", "A"), QELEvent(406, kEventWarning, "vendor", "B"),
            QELEvent(406, kEventWarning, "vendor", "C")};
}

TEST(EventPrinter, GivenTextThenUnsupportedDrivesAreCountedOnly) {
    KeptOutput out;
    EventPrinter printer(out, EventPrinter::Form::kText, {});
    printer.print(threeEvents());
    EXPECT_NE(std::string::npos, out.kept.find("failed\n"));
    EXPECT_EQ(std::string::npos, out.kept.find("vendor"));
    EXPECT_EQ(2, printer.mutedCount());
    EXPECT_EQ("2 events 406 (drive of an unknown vendor) not shown; --all shows everything",
              printer.mutedSummary());
}

TEST(EventPrinter, GivenAllThenNothingIsLeftOut) {
    KeptOutput out;
    EventPrinter printer(out, EventPrinter::Form::kTextAll, {});
    printer.print(threeEvents());
    EXPECT_NE(std::string::npos, out.kept.find("vendor\n"));
    EXPECT_EQ("", printer.mutedSummary());
}

TEST(EventPrinter, GivenJsonThenOneLinePerEventWithNothingLeftOut) {
    KeptOutput out;
    EventPrinter printer(out, EventPrinter::Form::kJson, {});
    printer.print(threeEvents());
    EXPECT_EQ(3, std::count(out.kept.begin(), out.kept.end(), '\n'));
    EXPECT_EQ("", printer.mutedSummary());
    EXPECT_EQ(std::string::npos, out.kept.find("\"step\""));
}

TEST(EventPrinter, GivenAStepThenTextHasAHeaderAndJsonAMember) {
    KeptOutput text;
    EventPrinter(text, EventPrinter::Form::kText, {}).printStep("01-clean", {});
    EXPECT_EQ("== 01-clean\n", text.kept);

    KeptOutput json;
    EventPrinter(json, EventPrinter::Form::kJson, {}).printStep("01-clean", threeEvents());
    EXPECT_NE(std::string::npos, json.kept.find("\"step\":\"01-clean\"}\n"));
    EXPECT_EQ(std::string::npos, json.kept.find("=="));
}

}  // namespace
