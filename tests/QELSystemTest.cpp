#include "snapshot/QELSystem.h"

#include <memory>

#include "gtest/gtest.h"
#include "snapshot/QELProgressCollection.h"
#include "storlib/Ret.h"
#include "tests/support/SnapshotText.h"
#include "tests/support/TreeBuilder.h"

namespace {

TEST(QELSystem, ReadsControllersAndTasksAndHasNoAttributes) {
    QELSystem system(kStorLibGeneric);
    parseInto(system,
              R"(<?xml version="1.0"?><System controllerID="7"><Controller controllerID="0"/>)"
              R"(<ProgressCollection/><Controller controllerID="1"/></System>)");
    ASSERT_EQ(3U, system.getChildCount());
    EXPECT_TRUE(system.getChild(0)->isInstanceOf("QELAdapter"));
    EXPECT_TRUE(system.getChild(1)->isInstanceOf("ProgressCollection"));
    EXPECT_EQ(1U, system.getChild(2)->addr.controllerID);
    EXPECT_EQ(Addr::kNotSet, system.addr.controllerID);
    EXPECT_EQ("<System/>", elementOf(system));
}

TEST(QELSystem, GivenOnlyEndTagsThenThereAreNoChildren) {
    QELSystem system(kStorLibGeneric);
    parseInto(system, "<System></Controller></ProgressCollection></System>");
    EXPECT_EQ(0U, system.getChildCount());
}

TEST(QELSystem, GivenAnElementThatNeverEndsThenItTakesTheRest) {
    QELSystem system(kStorLibGeneric);
    parseInto(system, R"(<System><Controller controllerID="0"><Controller controllerID="1"/>)"
                      R"(<ProgressCollection/></System>)");
    // The inner tag ended the controller; the rest is the system's.
    ASSERT_EQ(2U, system.getChildCount());
    EXPECT_EQ(0U, system.getChild(0)->addr.controllerID);

    QELSystem open(kStorLibGeneric);
    parseInto(open, R"(<System><ProgressCollection><Controller controllerID="1"/></System>)");
    ASSERT_EQ(1U, open.getChildCount());
    EXPECT_EQ(0U, open.getChild(0)->getChildCount());
}

// Tasks come to a snapshot apart; a live tree that has some would put them in twice.
TEST(QELSystem, CopyTakesAdaptersOnly) {
    System live(static_cast<EnumStorLibType>(3));
    live.addChild(tree::adapter(0).release());
    live.addChild(new QELProgressCollection);
    live.addChild(nullptr);
    live.addChild(tree::adapter<ZorAdapter>(1).release());
    QELSystem copy(kStorLibGeneric);
    copy.build(&live);
    EXPECT_EQ(3, copy.addr.storlibType);
    ASSERT_EQ(2U, copy.getChildCount());
    EXPECT_TRUE(copy.getChild(0)->isInstanceOf("QELAdapter"));
    EXPECT_EQ(1U, copy.getChild(1)->addr.controllerID);
}

TEST(QELSystem, NeverAsksAController) {
    QELSystem system(kStorLibGeneric);
    system.addChild(tree::adapter(0).release());
    Ret result{Ret::kFailed, 7};
    EXPECT_EQ(0, system.getControllerCount(nullptr, result));
    system.buildChildren(nullptr, result);
    EXPECT_EQ(+Ret::kFailed, result.status);  // left alone
    EXPECT_EQ(1U, system.getChildCount());
}

TEST(QELSystem, AnswersToItsOwnNameAndItsBases) {
    const QELSystem system(static_cast<EnumStorLibType>(3));
    for (char const* name : {"QELSystem", "System", "RaidObject"}) {
        EXPECT_TRUE(system.isInstanceOf(name)) << name;
    }
    EXPECT_STREQ("System", system.serializedName());
    EXPECT_EQ(3, system.addr.storlibType);
}

}  // namespace
