#include "snapshot/QELChannel.h"

#include <string>

#include "gtest/gtest.h"
#include "snapshot/QELHardDrive.h"
#include "tests/support/SnapshotText.h"
#include "tests/support/TreeBuilder.h"
#include "xml/SimpleXmlException.h"

namespace {

TEST(QELChannel, ReadElementWritesTheSameTree) {
    auto adapter = tree::adapter(1);
    QELChannel bus(adapter.get());
    parseInto(bus, R"(<Channel channelID="2" channelType="4"><HardDrive deviceID="3"/>)"
                   R"(<Enclosure deviceID="4"/><SESEnclosureDevice deviceID="5"/></Channel>)");
    ASSERT_EQ(3U, bus.getChildCount());
    EXPECT_EQ(4, bus.getChannelType());
    EXPECT_TRUE(bus.getChild(0)->isInstanceOf("QELHardDrive"));
    EXPECT_TRUE(bus.getChild(1)->isInstanceOf("QELEnclosure"));
    EXPECT_TRUE(bus.getChild(2)->isInstanceOf("QELSES2Enclosure"));
    for (unsigned int i = 0; i < 3; ++i) {
        EXPECT_TRUE(bus.getChild(i)->addr.IsEqual(Addr::ofDevice(1, 2, 3 + i))) << i;
        EXPECT_EQ(&bus, static_cast<PhysicalDevice*>(bus.getChild(i))->getChannel());
    }
    const std::string text = treeOf(bus);
    QELChannel again(adapter.get());
    parseInto(again, text);
    EXPECT_EQ(text, treeOf(again));
}

TEST(QELChannel, GivenTheIdentityAfterADriveThenOnlyLaterDrivesInheritIt) {
    QELChannel bus(nullptr);
    // A nested start tag of the same name brings attributes of this element once more.
    parseInto(bus, R"(<Channel><HardDrive deviceID="3"/><Channel channelID="2">)"
                   R"(<HardDrive deviceID="4"/></Channel>)");
    ASSERT_EQ(2U, bus.getChildCount());
    EXPECT_EQ(Addr::kNotSet, bus.getChild(0)->addr.channelID);
    EXPECT_EQ(2U, bus.getChild(1)->addr.channelID);
    EXPECT_EQ(2U, bus.addr.channelID);
}

TEST(QELChannel, GivenNoAttributesThenEveryNumberOfItsOwnIsZero) {
    QELChannel bus(nullptr);
    parseInto(bus, "<Channel><HardDrive/><Enclosure/><SESEnclosureDevice/></Channel>");
    EXPECT_TRUE(bus.addr.IsEqual(Addr::ofChannel(Addr::kNotSet, 0)));
    EXPECT_EQ(0, bus.getChannelType());
    ASSERT_EQ(3U, bus.getChildCount());
    for (const RaidObject* device : bus.getChildren()) EXPECT_EQ(0U, device->addr.deviceID);
}

TEST(QELChannel, CopyTakesTheThreeKindsAndNothingElse) {
    auto adapter = tree::adapter(0);
    Channel* live = tree::channel(*adapter, 1, kChannelSas);
    tree::drive(*live, 3);
    tree::enclosure(*live, 4);
    tree::ses2Enclosure(*live, 5);
    tree::phy(*live, 1, "A", 2, "B");
    tree::hole(*live);
    QELChannel copy(adapter.get());
    copy.build(live);
    ASSERT_EQ(3U, copy.getChildCount());
    EXPECT_EQ(kChannelSas, copy.getChannelType());
    EXPECT_TRUE(copy.addr.IsEqual(Addr::ofChannel(0, 1)));
    EXPECT_TRUE(copy.getChild(0)->isInstanceOf("QELHardDrive"));
    EXPECT_TRUE(copy.getChild(1)->isInstanceOf("QELEnclosure"));
    EXPECT_TRUE(copy.getChild(2)->isInstanceOf("QELSES2Enclosure"));
    EXPECT_EQ(adapter.get(), static_cast<QELHardDrive*>(copy.getChild(0))->getAdapter());
}

TEST(QELChannel, GivenAMalformedDriveThenTheOnesBeforeItStay) {
    QELChannel bus(nullptr);
    EXPECT_THROW(parseInto(bus, R"(<Channel><HardDrive deviceID="1"/><HardDrive x=2/></Channel>)"),
                 SimpleXmlException);
    EXPECT_EQ(1U, bus.getChildCount());
}

TEST(QELChannel, AnswersToItsOwnNameAndItsBases) {
    const QELChannel bus(nullptr);
    for (char const* name : {"QELChannel", "Channel", "RaidObject"}) {
        EXPECT_TRUE(bus.isInstanceOf(name)) << name;
    }
    EXPECT_FALSE(bus.isInstanceOf("SATAChannel"));
    EXPECT_STREQ("Channel", bus.serializedName());
}

}  // namespace
