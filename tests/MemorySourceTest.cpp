#include "storlib/sources/MemorySource.h"

#include <gtest/gtest.h>

#include "storlib/ProgressCollection.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"

namespace {

constexpr char kFirstEvent[] =
    "<Event Sequence=\"1\" Qual=\"7\" Status=\"0\" SenseKey=\"1\" AdditionalSenseCode=\"10\" "
    "LDPath=\"/l5\" Description=\"rebuild started\"/>\n";

ControllerEvent rebuildStarted() {
    ControllerEvent event;
    event.senseKey = 1;
    event.additionalSenseCode = 16;
    event.ldPath = "/l5";
    event.description = "rebuild started";
    return event;
}

class MemorySourceTest : public testing::Test {
protected:
    std::string listing(unsigned int controllerID, long first) {
        std::string text;
        EXPECT_EQ(Ret::kOk, source.events(controllerID, first, text).status);
        return text;
    }

    int taskCount(const Addr& address) {
        ProgressCollection found;
        EXPECT_EQ(Ret::kOk, source.tasks(address, found).status);
        return found.getProgressCount();
    }

    MemorySource source;
};

TEST_F(MemorySourceTest, GivenNoBuilderThenTheMachineIsEmpty) {
    System system;
    EXPECT_EQ(Ret::kOk, source.fill(system).status);
    EXPECT_EQ(0ul, system.getChildCount());
    EXPECT_EQ("", listing(0, 1));
    EXPECT_EQ(0, taskCount(Addr::ofLogicalDrive(0, 5)));
    EXPECT_EQ("", source.lastError());
}

TEST_F(MemorySourceTest, TheBuilderFillsEveryReading) {
    source.setBuilder([](System& system) { system.addChild(new VantAdapter); });
    for (int reading = 1; reading <= 2; ++reading) {
        System system;
        EXPECT_EQ(Ret::kOk, source.fill(system).status);
        EXPECT_EQ(1ul, system.getChildCount());
        EXPECT_EQ(reading, source.fillCount());
    }
}

TEST_F(MemorySourceTest, GivenAFailingReadingThenNothingIsBuiltAndTheCauseIsNamed) {
    source.setBuilder([](System& system) { system.addChild(new VantAdapter); });
    source.failFill(true);
    System system;
    EXPECT_EQ(Ret::kFailed, source.fill(system).status);
    EXPECT_EQ(0ul, system.getChildCount());
    EXPECT_EQ(1, source.fillCount());
    EXPECT_NE("", source.lastError());
    source.failFill(false);
    EXPECT_EQ(Ret::kOk, source.fill(system).status);
    EXPECT_EQ(1ul, system.getChildCount());
}

TEST_F(MemorySourceTest, TasksStandAtTheirAddressUntilReplacedOrEnded) {
    const Addr address = Addr::ofLogicalDrive(0, 5);
    source.setTasks(address, {Progress(kTaskRebuild, 40, kTaskRunning, address),
                              Progress(kTaskVerify, 1, kTaskPaused, address)});
    EXPECT_EQ(2, taskCount(address));
    EXPECT_EQ(0, taskCount(Addr::ofLogicalDrive(0, 6)));
    EXPECT_EQ(0, taskCount(Addr::ofLogicalDrive(1, 5)));

    source.setTasks(address, {Progress(kTaskRebuild, 55, kTaskRunning, address)});
    ProgressCollection found;
    ASSERT_EQ(Ret::kOk, source.tasks(address, found).status);
    ASSERT_EQ(1, found.getProgressCount());
    EXPECT_EQ(55, found.getProgress(0)->getPercent());

    source.setTasks(address, {});
    EXPECT_EQ(0, taskCount(address));
}

TEST_F(MemorySourceTest, GivenFailingTaskQueriesThenNothingIsAdded) {
    const Addr address = Addr::ofLogicalDrive(0, 5);
    source.setTasks(address, {Progress(kTaskRebuild, 40, kTaskRunning, address)});
    source.failTasks(true);
    ProgressCollection found;
    EXPECT_EQ(Ret::kFailed, source.tasks(address, found).status);
    EXPECT_EQ(0, found.getProgressCount());
    source.failTasks(false);
    EXPECT_EQ(1, taskCount(address));
}

TEST_F(MemorySourceTest, EventsAreNumberedFromOneAndListedFromTheNumberAskedFor) {
    EXPECT_EQ(1, source.appendEvent(0, rebuildStarted()));
    EXPECT_EQ(2, source.appendEvent(0, {}));
    EXPECT_EQ(3, source.appendEvent(1, {}));  // one count for all controllers
    EXPECT_EQ(kFirstEvent, listing(0, 1).substr(0, sizeof kFirstEvent - 1));
    EXPECT_EQ(0u, listing(0, 2).find("<Event Sequence=\"2\""));
    EXPECT_EQ("", listing(0, 3));
    EXPECT_EQ(0u, listing(1, 1).find("<Event Sequence=\"3\""));
    EXPECT_EQ(1, source.lastFirstSequence());
}

TEST_F(MemorySourceTest, GivenOneControllersListingFailsThenTheOthersStillAnswer) {
    source.appendEvent(0, {});
    source.appendEvent(1, {});
    source.failEvents(0, true);
    std::string text;
    EXPECT_EQ(Ret::kFailed, source.events(0, 1, text).status);
    EXPECT_EQ("", text);
    EXPECT_NE("", listing(1, 1));
    source.failEvents(0, false);
    EXPECT_NE("", listing(0, 1));
}

TEST_F(MemorySourceTest, TextsCannotBreakTheListing) {
    ControllerEvent event = rebuildStarted();
    event.description = "a \"b\" <c> & d\n";
    source.appendEvent(0, event);
    EXPECT_NE(std::string::npos, listing(0, 1).find("Description=\"a _b_ _c_ _ d_\"/>"));
}

TEST(ControllerEventLog, GivenMoreThanItKeepsThenTheOldestGoAndNumbersGrowOn) {
    ControllerEventLog log(2);
    for (int i = 0; i < 3; ++i) log.append(0, {});
    std::string text;
    log.list(0, 1, text);
    EXPECT_EQ(std::string::npos, text.find("Sequence=\"1\""));
    EXPECT_NE(std::string::npos, text.find("Sequence=\"2\""));
    EXPECT_EQ(4, log.append(0, {}));
}

}  // namespace
