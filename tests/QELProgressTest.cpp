#include "snapshot/QELProgress.h"

#include <string>

#include "gtest/gtest.h"
#include "storlib/Progress.h"
#include "tests/support/SnapshotText.h"

namespace {

constexpr char const* kTask =
    R"(<Progress taskID="1" taskType="6" taskState="1" percentageComplete="40" controllerID="2")"
    R"( arrayID="3" logicalDriveID="4" channelID="5" deviceID="6" chunkID="7")"
    R"( adapterSerial="SN" LDUniqueID="4294967295"/>)";

TEST(QELProgress, ReadElementWritesTheSameElement) {
    QELProgress task;
    parseInto(task, kTask);
    EXPECT_EQ(kTask, elementOf(task));
    EXPECT_EQ(6U, task.taskType);
    EXPECT_EQ(40U, task.percentageComplete);
    EXPECT_TRUE(task.addr.IsEqual(Addr(2, 3, 4, 5, 6, 7, Addr::kNotSet, Addr::kNotSet)));
}

// What was not set is absent from the element and reads as 0: tasks are told apart by controller
// and logical drive, which are always there.
TEST(QELProgress, IdentifiersThatWereNotSetComeBackAsZero) {
    QELProgress task;
    static_cast<Addr&>(task.addr) = Addr::ofLogicalDrive(0, 1);
    EXPECT_EQ(R"(<Progress taskID="0" taskType="0" taskState="0" percentageComplete="0")"
              R"( controllerID="0" logicalDriveID="1" adapterSerial="" LDUniqueID="0"/>)",
              elementOf(task));
    QELProgress read;
    parseInto(read, elementOf(task));
    EXPECT_TRUE(read.addr.IsEqual(Addr(0, 0, 1, 0, 0, 0, Addr::kNotSet, Addr::kNotSet)));
}

TEST(QELProgress, ItemAndPhyAreWrittenAndNotRead) {
    QELProgress task;
    task.addr.itemID = 8;
    task.addr.phyID = 9;
    EXPECT_NE(std::string::npos, elementOf(task).find(R"( itemID="8" phyID="9")"));
    QELProgress read;
    parseInto(read, elementOf(task));
    EXPECT_EQ(Addr::kNotSet, read.addr.itemID);
    EXPECT_EQ(Addr::kNotSet, read.addr.phyID);
}

TEST(QELProgress, CopiesEveryField) {
    QELProgress task;
    parseInto(task, kTask);
    const QELProgress constructed(task);
    QELProgress assigned;
    assigned = task;
    QELProgress built;
    built.build(&task);
    EXPECT_EQ(kTask, elementOf(constructed));
    EXPECT_EQ(kTask, elementOf(assigned));
    EXPECT_EQ(kTask, elementOf(built));
}

TEST(QELProgress, BuildsFromTheLibrarysTask) {
    const Progress live(kTaskRebuild, 55, kTaskPaused, Addr::ofLogicalDrive(1, 2));
    QELProgress task;
    task.build(&live);
    EXPECT_EQ(6U, task.taskType);
    EXPECT_EQ(55U, task.percentageComplete);
    EXPECT_EQ(1U, task.taskState);
    EXPECT_TRUE(task.addr.IsEqual(Addr::ofLogicalDrive(1, 2)));
}

TEST(QELProgress, AnswersToProgressAndNotToItsClassName) {
    const QELProgress task;
    EXPECT_TRUE(task.isInstanceOf("Progress"));
    EXPECT_FALSE(task.isInstanceOf("QELProgress"));
    EXPECT_FALSE(task.isInstanceOf("RaidObject"));
    EXPECT_STREQ("Progress", task.typeName());
    EXPECT_STREQ("Progress", task.serializedName());
}

}  // namespace
