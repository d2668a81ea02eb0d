// The timeline as a monitor's polls move it.
#include "storlib/sources/ScenarioSource.h"

#include <gtest/gtest.h>

#include "storlib/Addr.h"
#include "storlib/LogicalDrive.h"
#include "storlib/ProgressCollection.h"
#include "storlib/System.h"
#include "storlib/sources/Scenario.h"
#include "tests/support/TempDir.h"

namespace {

std::unique_ptr<ScenarioSource> source(const std::string& controllers, const std::string& steps) {
    std::string error;
    auto scenario = Scenario::parse(R"({"scenario": 1, "title": "t", "controllers": )" +
                                        controllers + R"(, "steps": )" + steps + "}",
                                    "f", error);
    EXPECT_NE(nullptr, scenario) << error;
    return std::make_unique<ScenarioSource>(std::move(scenario));
}

std::string listing(ScenarioSource& asked, unsigned int controllerID, long first = 1) {
    std::string text;
    EXPECT_EQ(Ret::kOk, asked.events(controllerID, first, text).status);
    return text;
}

void construct(ScenarioSource& asked) {  // what a monitor does at construction
    System system;
    EXPECT_EQ(Ret::kOk, asked.fill(system).status);
    for (const RaidObject* o : system.getChildren()) (void)listing(asked, o->addr.controllerID);
}

const char kTwo[] = R"([{"id": "c", "logicalDrives": [{"id": "l"}]}, {"id": "c2"}])";

TEST(ScenarioSource, GivenPollsThenEachStepComesAfterItsNumberOfThem) {
    const auto played =
        source(kTwo, R"([{"name": "one"}, {"name": "two", "after": 3}, {"name": "three"}])");
    construct(*played);
    const char* const expected[] = {"one", "one", "one", "two", "three", "three"};
    for (const char* name : expected) {
        (void)listing(*played, 0);
        EXPECT_EQ(name, played->stepName());
        (void)listing(*played, 1);
        EXPECT_EQ(name, played->stepName());
    }
    EXPECT_TRUE(played->atEnd());
    EXPECT_EQ(3u, played->stepsPlayed());
}

TEST(ScenarioSource, GivenAStepThatAnnouncesThenThePollThatBringsItHearsOfIt) {
    const auto played =
        source(kTwo, R"([{"name": "one"}, {"announce": false}, {"name": "\"<three>\""}])");
    construct(*played);
    EXPECT_EQ(
        "<Event Sequence=\"1\" Qual=\"7\" Status=\"0\" SenseKey=\"0\" "
        "AdditionalSenseCode=\"0\" LDPath=\"\" Description=\"one\"/>\n",
        listing(*played, 0, 1));
    EXPECT_EQ(
        "<Event Sequence=\"2\" Qual=\"7\" Status=\"0\" SenseKey=\"0\" "
        "AdditionalSenseCode=\"0\" LDPath=\"\" Description=\"one\"/>\n",
        listing(*played, 1, 1));
    EXPECT_EQ("", listing(*played, 0, 2));
    EXPECT_EQ("", listing(*played, 1, 3));
    EXPECT_EQ(
        "<Event Sequence=\"3\" Qual=\"7\" Status=\"0\" SenseKey=\"0\" "
        "AdditionalSenseCode=\"0\" LDPath=\"\" Description=\"__three__\"/>\n",
        listing(*played, 0, 2));
}

TEST(ScenarioSource, GivenAControllerThatReturnsThenItDoesNotRepeatItsOldRecords) {
    const auto played =
        source(kTwo, R"([{"changes": [{"remove": "c"}]}, {"changes": [{"restore": "c"}]}])");
    played->setAutomatic(false);
    (void)played->advance();
    EXPECT_NE("", listing(*played, 0));
    (void)played->advance();
    EXPECT_EQ(std::string::npos, listing(*played, 0).find("Sequence=\"1\""));
}

TEST(ScenarioSource, GivenNoControllerThenReadingsMoveTheTimeline) {
    const auto played = source("[]", R"([{"changes": [{"add": {"controllers": {}}}]}])");
    System first;
    EXPECT_EQ(Ret::kOk, played->fill(first).status);
    EXPECT_EQ(0u, first.getChildCount());
    System second;
    EXPECT_EQ(Ret::kOk, played->fill(second).status);
    EXPECT_EQ(1u, second.getChildCount());
}

TEST(ScenarioSource, GivenManualThenOnlyAdvanceMovesIt) {
    const auto played =
        source(kTwo, R"([{"name": "one", "hours": 1}, {"restart": true, "after": 2}])");
    played->setAutomatic(false);
    construct(*played);
    for (int poll = 0; poll < 3; ++poll) (void)listing(*played, 0);
    EXPECT_EQ("", played->stepName());
    EXPECT_EQ(3600, played->secondsToNextStep());
    EXPECT_FALSE(played->restartsBeforeNextStep());
    EXPECT_TRUE(played->advance());
    EXPECT_EQ("one", played->stepName());
    EXPECT_EQ(10, played->secondsToNextStep());
    EXPECT_TRUE(played->restartsBeforeNextStep());
    EXPECT_FALSE(played->atEnd());
    EXPECT_TRUE(played->advance());
    EXPECT_TRUE(played->atEnd());
    EXPECT_EQ(0, played->secondsToNextStep());
    EXPECT_FALSE(played->restartsBeforeNextStep());
    EXPECT_FALSE(played->advance());
}

TEST(ScenarioSource, GivenAFailureThenTheAnswerIsFailedAndTheReasonIsTold) {
    const auto played =
        source(kTwo, R"([{"changes": [{"fail": "configuration"}, {"fail": "tasks", "of": "c"},
                                                      {"fail": "events", "of": "c2"}]}])");
    played->setAutomatic(false);
    EXPECT_EQ("", played->lastError());
    (void)played->advance();
    System system;
    ProgressCollection found;
    std::string text;
    EXPECT_EQ(Ret::kFailed, played->fill(system).status);
    EXPECT_EQ(0u, system.getChildCount());
    EXPECT_EQ("the scenario makes the configuration fail at this step", played->lastError());
    EXPECT_EQ(Ret::kFailed, played->tasks(Addr::ofLogicalDrive(0, 0), found).status);
    EXPECT_EQ("the scenario makes the tasks fail at this step", played->lastError());
    EXPECT_EQ(Ret::kOk, played->tasks(Addr::ofLogicalDrive(1, 0), found).status);
    EXPECT_EQ(Ret::kFailed, played->events(1, 1, text).status);
    EXPECT_EQ("the scenario makes the event log fail at this step", played->lastError());
    EXPECT_EQ(Ret::kOk, played->events(0, 1, text).status);
}

TEST(ScenarioSource, GivenATaskThenItIsListed) {
    const auto played = source(
        R"([{"logicalDrives": [{}], "tasks": [{"on": 0, "type": "rebuild", "percent": 7}]}])",
        "[]");
    ProgressCollection found;
    EXPECT_EQ(Ret::kOk, played->tasks(Addr::ofLogicalDrive(0, 0), found).status);
    ASSERT_EQ(1, found.getProgressCount());
    EXPECT_EQ(7, found.getProgress(0)->getPercent());
}

TEST(ScenarioSource, GivenAFileThenOpensItOrSaysWhyNot) {
    const TempDir dir;
    std::string error;
    EXPECT_EQ(nullptr, ScenarioSource::open("", error));
    EXPECT_EQ("a scenario needs a file: scenario:FILE", error);
    EXPECT_EQ(nullptr, ScenarioSource::open(dir.write("bad.json", "[]"), error));
    EXPECT_EQ(dir.file("bad.json") + ":1: $: must be an object, not a list", error);
    const auto opened = ScenarioSource::open(
        dir.write("good.json", R"({"scenario": 1, "title": "x", "controllers": [{}]})"), error);
    ASSERT_NE(nullptr, opened) << error;
    EXPECT_EQ("x", opened->getScenario().title());
}

}  // namespace
