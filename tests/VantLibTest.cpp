#include "storlib/VantLib.h"

#include <gtest/gtest.h>

#include "storlib/LDPathUtils.h"
#include "storlib/ProgressCollection.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/sources/MemorySource.h"
#include "storlib/sources/SourceRegistry.h"

namespace {

class VantLibTest : public testing::Test {
protected:
    VantLibTest() {
        auto made = std::make_unique<MemorySource>([](System& system) {
            auto* adapter = new VantAdapter;
            adapter->addr.controllerID = 0;
            system.addChild(adapter);
        });
        source = made.get();
        library = std::make_unique<VantLib>(std::move(made));
    }

    MemorySource* source = nullptr;
    std::unique_ptr<VantLib> library;
};

TEST_F(VantLibTest, GivenNothingReadThenThereIsNoTree) { EXPECT_EQ(nullptr, library->getSystem()); }

TEST_F(VantLibTest, EveryReadingIsATreeOfItsOwn) {
    ASSERT_EQ(Ret::kOk, library->getSystemConfig().status);
    const RefSystem first(library->getSystem());
    ASSERT_NE(nullptr, first.get());
    EXPECT_EQ(1ul, first->getChildCount());
    ASSERT_EQ(Ret::kOk, library->getSystemConfig().status);
    EXPECT_NE(first.get(), library->getSystem());
    EXPECT_EQ(1ul, first->getChildCount());  // the old one lives on and is as it was
}

TEST_F(VantLibTest, GivenAFailedReadingThenTheTreeOfTheLastGoodOneStays) {
    ASSERT_EQ(Ret::kOk, library->getSystemConfig().status);
    System* before = library->getSystem();
    source->failFill(true);
    EXPECT_EQ(Ret::kFailed, library->getSystemConfig().status);
    EXPECT_EQ(before, library->getSystem());
    EXPECT_NE("", library->lastError());
}

TEST_F(VantLibTest, GivenTheFirstReadingFailsThenThereIsStillNoTree) {
    source->failFill(true);
    EXPECT_EQ(Ret::kFailed, library->getSystemConfig().status);
    EXPECT_EQ(nullptr, library->getSystem());
}

TEST_F(VantLibTest, TreeOutlivesTheLibraryWhileSomebodyHoldsIt) {
    ASSERT_EQ(Ret::kOk, library->getSystemConfig().status);
    const RefSystem kept(library->getSystem());
    library.reset();
    EXPECT_EQ(1ul, kept->getChildCount());
}

TEST_F(VantLibTest, GivenNoEventsThenTheBufferIsNull) {
    char stale = 'x';
    char* buffer = &stale;
    EXPECT_EQ(Ret::kOk, library->getEvents(Addr::ofController(0), 1, buffer).status);
    EXPECT_EQ(nullptr, buffer);
}

TEST_F(VantLibTest, EventsComeInABufferOfTheCallers) {
    source->appendEvent(0, {});
    char* buffer = nullptr;
    ASSERT_EQ(Ret::kOk, library->getEvents(Addr::ofController(0), 1, buffer).status);
    const std::unique_ptr<char[]> owned(buffer);
    ASSERT_NE(nullptr, buffer);
    EXPECT_EQ(0u, std::string(buffer).find("<Event Sequence=\"1\""));
    EXPECT_EQ(1, source->lastFirstSequence());
}

TEST_F(VantLibTest, GivenAFailedListingThenTheBufferIsNull) {
    source->appendEvent(0, {});
    source->failEvents(0, true);
    char stale = 'x';
    char* buffer = &stale;
    EXPECT_EQ(Ret::kFailed, library->getEvents(Addr::ofController(0), 1, buffer).status);
    EXPECT_EQ(nullptr, buffer);
}

TEST_F(VantLibTest, TasksComeFromTheSource) {
    const Addr address = Addr::ofLogicalDrive(0, 5);
    source->setTasks(address, {Progress(kTaskRebuild, 40, kTaskRunning, address)});
    ProgressCollection found;
    EXPECT_EQ(Ret::kOk, library->getTasks(address, found).status);
    ASSERT_EQ(1, found.getProgressCount());
    EXPECT_EQ(kTaskRebuild, found.getProgress(0)->getType());
    EXPECT_TRUE(address.IsEqual(found.getProgress(0)->getDeviceAddr()));
    source->failTasks(true);
    EXPECT_EQ(Ret::kFailed, library->getTasks(address, found).status);
}

TEST_F(VantLibTest, PathsArePrintedLikeThoseInListings) {
    _LDTree path;
    ASSERT_EQ(Ret::kOk, library->getPath(Addr::ofDevice(0, 1, 3), path).status);
    char text[48];
    LDPathUtils::sPrintPath(path, text, sizeof text);
    EXPECT_STREQ("/c0/b1/d3", text);
    EXPECT_EQ(Ret::kBadAddress, library->getPath(Addr(), path).status);
}

TEST(ProgressCollection, GivenNoSuchTaskThenNull) {
    ProgressCollection tasks;
    EXPECT_EQ(nullptr, tasks.getProgress(0));
    tasks.addProgress(Progress());
    EXPECT_NE(nullptr, tasks.getProgress(0));
    EXPECT_EQ(nullptr, tasks.getProgress(1));
    EXPECT_EQ(nullptr, tasks.getProgress(-1));
    EXPECT_EQ(kTaskNone, tasks.getProgress(0)->getType());
}

TEST(VantLibOpen, GivenAnUnknownKindThenTheErrorNamesTheKnownOnes) {
    for (const char* name : {"", "nosuch", "nosuch:x", ":/", "Linux:/"}) {
        SCOPED_TRACE(name);
        std::string error;
        EXPECT_EQ(nullptr, VantLib::open(name, error));
        for (const SourceRegistry::Kind& kind : SourceRegistry::kinds()) {
            EXPECT_NE(std::string::npos, error.find(kind.name)) << error;
        }
        EXPECT_EQ(std::string::npos, error.find('\n'));
    }
}

}  // namespace
