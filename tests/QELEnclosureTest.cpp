#include "snapshot/QELEnclosure.h"

#include <memory>
#include <string>

#include "gtest/gtest.h"
#include "tests/support/SnapshotText.h"
#include "tests/support/TreeBuilder.h"

namespace {

constexpr char const* kOpen =
    R"(<Enclosure deviceID="6" deviceType="13" vendor="V" model="M" serialNumber="S")"
    R"( firmwareLevel="F" fruNumber="P" wwn="W" state="1" interfaceType="4" wwn0="1" wwn1="2")"
    R"( sataPort="3" qelSafteDataValid=")";

std::string readAndWrite(const std::string& text) {
    QELEnclosure enclosure(nullptr, nullptr);
    parseInto(enclosure, text);
    return treeOf(enclosure);
}

TEST(QELEnclosure, ReadElementWritesTheSameElement) {
    const std::string text = std::string(kOpen) + "false\"/>\n";
    EXPECT_EQ(text, readAndWrite(text));
}

TEST(QELEnclosure, EveryKindOfCopyWritesTheSameElement) {
    QELEnclosure source(nullptr, nullptr);
    parseInto(source, std::string(kOpen) + "false\"/>");
    QELEnclosure copy(nullptr, nullptr);
    copy.build(static_cast<Enclosure*>(&source));
    EXPECT_EQ(std::string(kOpen) + "false\"/>", elementOf(copy));
    const QELEnclosure constructed(source);
    EXPECT_EQ(std::string(kOpen) + "false\"/>", elementOf(constructed));
}

TEST(QELEnclosure, ReadsItselfThroughTheLibrarysKind) {
    QELEnclosure enclosure(nullptr, nullptr);
    Enclosure& base = enclosure;
    const ExactBuffer buffer(std::string(kOpen) + "false\"/>");
    SimpleXmlParser parser(buffer.data(), buffer.size());
    base.build(parser);
    EXPECT_EQ(std::string(kOpen) + "false\"/>", elementOf(enclosure));
}

TEST(QELEnclosure, ValidityFollowsFromBothChildrenAndNeverFromTheAttribute) {
    struct Case {
        char const* children;
        bool valid;
    };
    const Case cases[] = {
        {"", false},
        {"<SafteConfig/>", false},
        {"<SafteStatus/>", false},
        {"<SafteConfig/><SafteStatus/>", true},
        {"<SafteStatus/><SafteConfig/>", true},
        {"</SafteConfig></SafteStatus>", false},
    };
    for (const Case& c : cases) {
        for (char const* written : {"true", "false"}) {
            QELEnclosure enclosure(nullptr, nullptr);
            parseInto(enclosure, std::string("<Enclosure qelSafteDataValid=\"") + written + "\">" +
                                     c.children + "</Enclosure>");
            EXPECT_EQ(c.valid, enclosure.isSafteDataValid()) << c.children << written;
            EXPECT_EQ(c.valid, enclosure.safteDataValid);
        }
    }
}

TEST(QELEnclosure, GivenAnsweringEnclosureWhenCopiedThenItsQueriesReadTheCopy) {
    auto adapter = tree::adapter(0);
    Channel* bus = tree::channel(*adapter, 1);
    Enclosure* live = tree::enclosure(*bus, 6);
    SafteStatus* state = tree::answer(*live, 2, 1);
    state->fanStatus[1] = 1;
    state->powerSupplyStatus[0] = 0x10;
    state->slotDeviceID[4] = 5;
    state->tempFlags1 = 1;

    QELEnclosure copy(adapter.get(), bus);
    copy.build(live);
    state->tempFlags1 = 0;  // the live enclosure goes on
    state->fanStatus[1] = 0;

    const Enclosure& stored = copy;
    EXPECT_TRUE(stored.isSafteDataValid());
    EXPECT_TRUE(stored.safteDataValid);
    EXPECT_EQ(2, stored.getFanCount());
    EXPECT_EQ(1, stored.getPowerSupplyCount());
    EXPECT_EQ(1, stored.getFanStatus(1));
    EXPECT_EQ(128, stored.getFanStatus(32));
    EXPECT_EQ(0x10, stored.getPowerSupplyStatus(0));
    EXPECT_TRUE(stored.isTempOutOfRange());
    EXPECT_EQ(4, stored.getSlotNumberFromDeviceID(5));
    EXPECT_EQ(5, stored.getDeviceIDFromSlotNumber(4));
    EXPECT_EQ(0x7fffffff, stored.getDeviceIDFromSlotNumber(64));
    ASSERT_EQ(2U, stored.getChildCount());
    EXPECT_TRUE(stored.getChild(0)->isInstanceOf("QELSafteConfig"));
    EXPECT_TRUE(stored.getChild(1)->isInstanceOf("QELSafteStatus"));

    const std::string text = treeOf(copy);
    QELEnclosure again(adapter.get(), bus);
    parseInto(again, text);
    EXPECT_EQ(text, treeOf(again));
    EXPECT_TRUE(again.isTempOutOfRange());
    const QELEnclosure third(again);
    EXPECT_EQ(text, treeOf(third));
    EXPECT_EQ(bus, third.getChannel());
    EXPECT_TRUE(third.safteDataValid);
}

TEST(QELEnclosure, GivenSilentEnclosureThenQueriesSayNothing) {
    auto adapter = tree::adapter(0);
    Enclosure* live = tree::enclosure(*tree::channel(*adapter, 1), 6);
    tree::answer(*live, 2, 1)->tempFlags1 = 1;
    live->safteDataValid = false;  // stale data behind it
    QELEnclosure copy(nullptr, nullptr);
    copy.build(live);
    EXPECT_FALSE(copy.isSafteDataValid());
    EXPECT_EQ(0U, copy.getChildCount());
    EXPECT_EQ(0, copy.getFanCount());
    EXPECT_EQ(0, copy.getPowerSupplyCount());
    EXPECT_EQ(128, copy.getFanStatus(0));
    EXPECT_EQ(128, copy.getPowerSupplyStatus(0));
    EXPECT_FALSE(copy.isTempOutOfRange());
    EXPECT_EQ(0x7fffffff, copy.getSlotNumberFromDeviceID(255));
    EXPECT_EQ(0x7fffffff, copy.getDeviceIDFromSlotNumber(0));
}

TEST(QELEnclosure, GivenTwoConfigurationsThenTheLastOneIsHeld) {
    QELEnclosure enclosure(nullptr, nullptr);
    parseInto(enclosure, R"(<Enclosure><SafteConfig fanCount="1"/><SafteStatus/>)"
                         R"(<SafteConfig fanCount="2"/></Enclosure>)");
    EXPECT_EQ(2, enclosure.getFanCount());
    EXPECT_EQ(3U, enclosure.getChildCount());
}

TEST(QELEnclosure, AnswersToItsOwnNameAndItsBases) {
    const QELEnclosure enclosure(nullptr, nullptr);
    for (char const* name : {"QELEnclosure", "Enclosure", "PhysicalDevice", "RaidObject"}) {
        EXPECT_TRUE(enclosure.isInstanceOf(name)) << name;
    }
    EXPECT_FALSE(enclosure.isInstanceOf("SES2EnclosureDevice"));
    EXPECT_FALSE(enclosure.isInstanceOf("HardDrive"));
    EXPECT_STREQ("Enclosure", enclosure.serializedName());
}

}  // namespace
