#include "snapshot/QELProgressCollection.h"

#include <string>

#include "gtest/gtest.h"
#include "snapshot/QELProgress.h"
#include "tests/support/SnapshotText.h"

namespace {

std::string idsOf(const QELProgressCollection& collection) {
    std::string ids;
    for (const RaidObject* child : collection.getChildren()) {
        ids += std::to_string(static_cast<const QELProgress*>(child)->taskID) + " ";
    }
    return ids;
}

constexpr char const* kTwoTasks =
    R"(<ProgressCollection><Progress taskID="1"/><Other/><Progress taskID="2"/>)"
    R"(</ProgressCollection>)";

TEST(QELProgressCollection, ReadsItsTasksAndWritesThemBelowAnElementWithoutAttributes) {
    QELProgressCollection tasks;
    parseInto(tasks, kTwoTasks);
    EXPECT_EQ("1 2 ", idsOf(tasks));
    EXPECT_EQ("<ProgressCollection/>", elementOf(tasks));
    EXPECT_EQ("<ProgressCollection/>\n", treeOf(QELProgressCollection()));
}

// Intended: none of the copies clears first, hosts copy into empty collections.
TEST(QELProgressCollection, CopiesAccumulate) {
    QELProgressCollection tasks;
    parseInto(tasks, kTwoTasks);
    QELProgressCollection copy(tasks);
    EXPECT_EQ("1 2 ", idsOf(copy));
    copy = tasks;
    EXPECT_EQ("1 2 1 2 ", idsOf(copy));
    copy.build(&tasks);
    EXPECT_EQ("1 2 1 2 1 2 ", idsOf(copy));
    copy.build(static_cast<QELProgressCollection*>(nullptr));
    EXPECT_EQ(6U, copy.getChildCount());
}

TEST(QELProgressCollection, GivenItselfAsTheSourceThenItEnds) {
    QELProgressCollection tasks;
    parseInto(tasks, kTwoTasks);
    tasks.build(&tasks);
    EXPECT_EQ("1 2 1 2 ", idsOf(tasks));
}

TEST(QELProgressCollection, AnswersToProgressCollectionOnly) {
    const QELProgressCollection tasks;
    EXPECT_TRUE(tasks.isInstanceOf("ProgressCollection"));
    EXPECT_FALSE(tasks.isInstanceOf("QELProgressCollection"));
    EXPECT_FALSE(tasks.isInstanceOf("RaidObject"));
    EXPECT_STREQ("ProgressCollection", tasks.typeName());
    EXPECT_STREQ("ProgressCollection", tasks.serializedName());
}

}  // namespace
