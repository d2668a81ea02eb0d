#include "snapshot/QELSafteConfig.h"

#include "gtest/gtest.h"
#include "storlib/SafteConfig.h"
#include "tests/support/SnapshotText.h"

namespace {

constexpr char const* kConfig =
    R"(<SafteConfig fanCount="2" powerSupplyCount="65535" slotCount="12"/>)";

TEST(QELSafteConfig, ReadElementWritesTheSameElement) {
    QELSafteConfig config;
    parseInto(config, kConfig);
    EXPECT_EQ(kConfig, elementOf(config));
    parseInto(config, "<SafteConfig slotCount=\"1\"/>");
    EXPECT_EQ(0, config.fanCount);
    EXPECT_EQ(1, config.slotCount);
}

TEST(QELSafteConfig, CopiesFromTheLibraryAndFromItsOwnKind) {
    SafteConfig live;
    live.fanCount = 2;
    live.powerSupplyCount = 65535;
    live.slotCount = 12;
    live.addr.controllerID = 3;
    QELSafteConfig first;
    first.build(&live);
    EXPECT_EQ(kConfig, elementOf(first));  // no address is written
    EXPECT_EQ(3U, first.addr.controllerID);
    QELSafteConfig second;
    second.build(&first);
    EXPECT_EQ(kConfig, elementOf(second));
    const QELSafteConfig third(second);
    EXPECT_EQ(kConfig, elementOf(third));
    second.build(static_cast<SafteConfig*>(nullptr));
    EXPECT_EQ(kConfig, elementOf(second));
}

TEST(QELSafteConfig, AnswersToItsOwnNameOnly) {
    const QELSafteConfig config;
    EXPECT_TRUE(config.isInstanceOf("QELSafteConfig"));
    for (char const* name : {"SafteConfig", "RaidObject", ""}) {
        EXPECT_FALSE(config.isInstanceOf(name)) << name;
    }
    EXPECT_STREQ("SafteConfig", config.typeName());
    EXPECT_STREQ("SafteConfig", config.serializedName());
}

}  // namespace
