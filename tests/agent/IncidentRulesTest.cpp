// The tables of incidents against the table of events: no event may be left without a rule, and no
// warning without an effect.
#include "agent/incidents/IncidentRules.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "agent/EventNames.h"
#include "monitor/EventRows.h"

namespace {

using Kind = EventRule::Kind;

TEST(IncidentRules, GivenAnyEventThenThereIsARule) {
    for (const EventRow* row : rows::kAllEventRows) {
        EXPECT_FALSE(rulesOf(row->code).empty()) << row->code << " " << row->key;
    }
}

TEST(IncidentRules, GivenAnyRuleThenItsEventExists) {
    std::set<int> codes;
    for (const EventRow* row : rows::kAllEventRows) codes.insert(row->code);
    for (const EventRule& rule : kEventRules) EXPECT_EQ(1u, codes.count(rule.code)) << rule.code;
}

TEST(IncidentRules, GivenAnErrorOrAWarningThenSomebodyIsTold) {
    for (const EventRow* row : rows::kAllEventRows) {
        if (row->severity > kEventWarning || isCompanion(row->code)) continue;
        if (row->code == rows::kCriticalReminder.code) continue;  // we remind by ourselves
        const std::vector<const EventRule*> rules = rulesOf(row->code);
        ASSERT_FALSE(rules.empty());
        const Kind last = rules.back()->kind;
        EXPECT_TRUE(last == Kind::kOpens || last == Kind::kToldOnce) << row->code;
    }
}

TEST(IncidentRules, GivenANoteThenItOpensNothingButAMissingDrive) {
    for (const EventRow* row : rows::kAllEventRows) {
        if (row->severity <= kEventWarning) continue;
        for (const EventRule* rule : rulesOf(row->code)) {
            if (rule->kind != Kind::kOpens && rule->kind != Kind::kToldOnce) continue;
            // A controller's new battery and a removed drive have companions that are errors.
            EXPECT_EQ(rows::kDriveRemoved.specific.code, row->code);
        }
    }
}

TEST(IncidentRules, GivenACompanionThenItIsFolded) {
    for (const int code : {299, 399, 499}) {
        ASSERT_EQ(1u, rulesOf(code).size());
        EXPECT_EQ(Kind::kCompanion, rulesOf(code)[0]->kind);
    }
}

TEST(IncidentRules, GivenAPercentageThenItIsProgressOnly) {
    for (const EventRow* row : rows::kAllEventRows) {
        if (row->severity != kEventProgress) continue;
        ASSERT_EQ(1u, rulesOf(row->code).size());
        EXPECT_EQ(Kind::kProgress, rulesOf(row->code)[0]->kind) << row->code;
    }
}

TEST(IncidentRules, GivenAnEffectThenItsStandingIsKnown) {
    for (const EventRule& rule : kEventRules) {
        const bool isTrouble = rule.kind == Kind::kOpens || rule.kind == Kind::kUpdates ||
                               rule.kind == Kind::kToldOnce;
        const Standing* standing = findStanding(rule.condition, rule.value);
        EXPECT_EQ(isTrouble, standing != nullptr) << rule.code;
        if (standing != nullptr) {
            EXPECT_EQ(rule.kind == Kind::kToldOnce, standing->toldOnce) << rule.code;
        }
    }
}

TEST(IncidentRules, GivenOneConditionThenNoTwoValuesAreEquallyBad) {
    std::set<std::pair<std::string, int>> ranks;
    for (const Standing& standing : kStandings) {
        EXPECT_GT(standing.rank, 0);
        EXPECT_TRUE(ranks.insert({standing.condition, standing.rank}).second)
            << standing.condition << " " << standing.value;
    }
}

TEST(IncidentRules, GivenAConditionThatCanEndThenAnEventEndsIt) {
    for (const Standing& standing : kStandings) {
        if (standing.toldOnce) continue;
        if (std::string(standing.condition) == "storage") continue;  // IncidentBook::follow()
        bool ends = false;
        for (const EventRule& rule : kEventRules) {
            ends = ends || (rule.kind == Kind::kResolves &&
                            std::string(standing.condition) == rule.condition);
        }
        EXPECT_TRUE(ends) << standing.condition;
    }
}

TEST(IncidentRules, GivenTheNumberOfAUnitThenTheStandingIsFoundAllTheSame) {
    ASSERT_NE(nullptr, findStanding("fan 2", "failed"));
    EXPECT_EQ(2, findStanding("fan 12", "failed")->rank);
    EXPECT_EQ(nullptr, findStanding("fan 2", "normal"));
    EXPECT_EQ(nullptr, findStanding("", ""));
    EXPECT_EQ(nullptr, findStanding("2", "failed"));
    EXPECT_EQ(nullptr, findStanding("battery heat", "low"));
}

TEST(IncidentRules, GivenAnOpenIncidentWithoutTroubleThenItIsWellAgain) {
    Incident incident;
    incident.condition = "redundancy";
    incident.value = "degraded";
    EXPECT_FALSE(isWellAgain(incident));
    incident.value = "normal";
    EXPECT_TRUE(isWellAgain(incident));
    incident.open = false;
    EXPECT_FALSE(isWellAgain(incident)) << "it has ended";
}

}  // namespace
