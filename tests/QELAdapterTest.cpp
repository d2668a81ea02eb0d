#include "snapshot/QELAdapter.h"

#include <string>

#include "gtest/gtest.h"
#include "tests/support/SnapshotText.h"
#include "tests/support/TreeBuilder.h"

namespace {

constexpr char const* kController =
    R"(<Controller controllerID="1" controllerType="2" physicalSlot="3" controllerStatus="1")"
    R"( deviceVendor="V" deviceName="N" maxLogicalDrives="64" maxArrays="65")"
    R"( maxSpannedArrays="66" maxChannels="67" maxID="68" maxDevicesPerArray="69")"
    R"( maxControllers="70" LDPath="" controllerSerial="S" pciBus="256" pciDevice="31")"
    R"( pciFunction="7" batStatus="5" batTempWarning="1" versionMatchStatus="2"/>)";

// A library's folder of arrays, as some controllers keep one.
class Config : public RaidObject {
public:
    bool isInstanceOf(char const* name) const override { return std::string("Config") == name; }
};

TEST(QELAdapter, ReadElementWritesTheSameElement) {
    QELAdapter adapter;
    parseInto(adapter, kController);
    EXPECT_EQ(kController, elementOf(adapter));
    EXPECT_EQ(1, adapter.getAdapterStatus());
    EXPECT_EQ(kBatteryNormal, adapter.batStatus);
    EXPECT_TRUE(adapter.batTempWarning);
    for (int limit = 1; limit <= 7; ++limit) {
        EXPECT_EQ(63 + limit, adapter.getLimit(static_cast<Limit>(limit)));
    }
}

// A path belongs to the library that is running.
TEST(QELAdapter, PathIsWrittenAndNeverRead) {
    QELAdapter adapter;
    adapter.LDPath = "/c1";
    EXPECT_NE(std::string::npos, elementOf(adapter).find(R"( LDPath="/c1" controllerSerial)"));
    parseInto(adapter, R"(<Controller LDPath="/c9"/>)");
    EXPECT_EQ("/c1", adapter.LDPath);
}

TEST(QELAdapter, CopyWritesTheSameElement) {
    QELAdapter source;
    parseInto(source, kController);
    QELAdapter copy;
    copy.build(static_cast<Adapter*>(&source));
    EXPECT_EQ(kController, elementOf(copy));
}

TEST(QELAdapter, GivenNoAttributesThenEverythingIsZero) {
    QELAdapter adapter;
    parseInto(adapter, kController);
    parseInto(adapter, "<Controller/>");
    EXPECT_EQ(0, adapter.getPhysicalSlot());
    EXPECT_EQ(0, adapter.getLimit(kLimitLogicalDrives));
    EXPECT_STREQ("", adapter.controllerSerial);
    EXPECT_FALSE(adapter.batTempWarning);
    EXPECT_EQ(0, adapter.pciBus);
    EXPECT_EQ(0U, adapter.addr.controllerID);
}

TEST(QELAdapter, ReadsItselfThroughTheLibrarysKind) {
    QELAdapter adapter;
    Adapter& base = adapter;
    const ExactBuffer buffer(kController);
    SimpleXmlParser parser(buffer.data(), buffer.size());
    base.build(parser);
    EXPECT_EQ(kController, elementOf(adapter));
}

TEST(QELAdapter, CopyTakesChannelsPhysAndLogicalDrivesAlsoFromAConfig) {
    auto live = tree::adapter(3);
    tree::logicalDrive(*live, 0);
    tree::channel(*live, 1);
    auto* config = new Config;
    auto* array = new RaidObject;
    auto* drive = new LogicalDrive(live.get());
    drive->addr.logicalDriveID = 5;
    array->addChild(drive);
    config->addChild(array);
    config->addChild(nullptr);
    live->addChild(config);
    tree::phy(*live, 2, "A", 3, "B");
    tree::driveWithoutChannel(*live, 9);  // hangs outside any channel: not part of a snapshot
    tree::hole(*live);

    QELAdapter copy;
    copy.build(live.get());
    ASSERT_EQ(4U, copy.getChildCount());
    EXPECT_TRUE(copy.getChild(0)->isInstanceOf("QELLogicalDrive"));
    EXPECT_TRUE(copy.getChild(1)->isInstanceOf("QELChannel"));
    EXPECT_TRUE(copy.getChild(2)->isInstanceOf("QELLogicalDrive"));
    EXPECT_EQ(5U, copy.getChild(2)->addr.logicalDriveID);
    EXPECT_TRUE(copy.getChild(3)->isInstanceOf("QELSASPhy"));
}

TEST(QELAdapter, AttributesBehindTheChildrenStillCount) {
    QELAdapter adapter;
    parseInto(adapter, R"(<Controller controllerID="1"><Channel channelID="0"/>)"
                       R"(<Controller deviceName="late" controllerStatus="1"></Controller>)");
    EXPECT_STREQ("late", adapter.deviceName);
    EXPECT_EQ(1, adapter.getAdapterStatus());
    EXPECT_EQ(1U, adapter.getChildCount());
}

TEST(QELAdapter, GivenAChannelBeforeTheNumberThenItInheritsNone) {
    QELAdapter adapter;
    parseInto(adapter,
              R"(<Controller><Channel channelID="0"/><Controller controllerID="1">)"
              R"(<Channel channelID="1"/><LogicalDrive logicalDriveID="2"/></Controller>)");
    ASSERT_EQ(3U, adapter.getChildCount());
    EXPECT_EQ(Addr::kNotSet, adapter.getChild(0)->addr.controllerID);
    EXPECT_TRUE(adapter.getChild(1)->addr.IsEqual(Addr::ofChannel(1, 1)));
    EXPECT_TRUE(adapter.getChild(2)->addr.IsEqual(Addr::ofLogicalDrive(1, 2)));
}

TEST(QELAdapter, GivenALongVendorThenItIsCutAtTheField) {
    QELAdapter adapter;
    const std::string text(10000, 'v');
    parseInto(adapter, "<Controller deviceVendor=\"" + text + "\" deviceName=\"" + text +
                           "\" controllerSerial=\"" + text + "\"/>");
    EXPECT_EQ(std::string(31, 'v'), adapter.deviceVendor);
    EXPECT_EQ(std::string(63, 'v'), adapter.deviceName);
    EXPECT_EQ(std::string(63, 'v'), adapter.controllerSerial);
}

TEST(QELAdapter, AnswersToItsOwnNameAndItsBases) {
    const QELAdapter adapter;
    for (char const* name : {"QELAdapter", "Adapter", "RaidObject"}) {
        EXPECT_TRUE(adapter.isInstanceOf(name)) << name;
    }
    EXPECT_FALSE(adapter.isInstanceOf("VantAdapter"));
    EXPECT_STREQ("Controller", adapter.serializedName());
}

}  // namespace
