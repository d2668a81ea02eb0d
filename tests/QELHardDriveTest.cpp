#include "snapshot/QELHardDrive.h"

#include <string>

#include "gtest/gtest.h"
#include "snapshot/QELChannel.h"
#include "tests/support/SnapshotText.h"
#include "tests/support/TreeBuilder.h"

namespace {

constexpr char const* kDrive =
    R"(<HardDrive deviceID="5" deviceType="14" vendor="KOVA-PQ" model="K 42" serialNumber="S1")"
    R"( firmwareLevel="F2" fruNumber="P3" wwn="W4" state="1" interfaceType="4" wwn0="-272734232")"
    R"( wwn1="-7" sataPort="3" size="953869" pfaError="true")"
    R"( pfaSupported="true" OSPartition="false" taskInProgress="true" LDPath="/c0/b1/d5"/>)";

TEST(QELHardDrive, ReadElementWritesTheSameElement) {
    QELHardDrive drive(nullptr, nullptr);
    parseInto(drive, kDrive);
    EXPECT_EQ(kDrive, elementOf(drive));
    EXPECT_EQ(4022233064U, drive.wwn0);  // written as a signed number, so no bit is lost
    EXPECT_EQ(953869, drive.size);
    EXPECT_TRUE(drive.getPfaError());
}

TEST(QELHardDrive, EachFlagIsReadIntoItsOwnField) {
    for (char const* flag : {"pfaError", "pfaSupported", "OSPartition", "taskInProgress"}) {
        const std::string attribute = std::string(flag) + "=\"true\"";
        QELHardDrive drive(nullptr, nullptr);
        parseInto(drive, "<HardDrive " + attribute + "/>");
        const std::string text = elementOf(drive);
        EXPECT_NE(std::string::npos, text.find(" " + attribute)) << text;
        EXPECT_EQ(text.find("true"), text.rfind("true")) << text;
    }
}

TEST(QELHardDrive, CopyKeepsEveryFieldButThePath) {
    QELHardDrive source(nullptr, nullptr);
    parseInto(source, kDrive);
    QELHardDrive copy(nullptr, nullptr);
    copy.build(static_cast<HardDrive*>(&source));
    EXPECT_EQ("", copy.LDPath);  // whoever copied it stores the path
    copy.LDPath = "/c0/b1/d5";
    EXPECT_EQ(kDrive, elementOf(copy));
    source.OSPartition = true;
    copy.build(static_cast<HardDrive*>(&source));
    EXPECT_TRUE(copy.OSPartition);
}

TEST(QELHardDrive, CopyKeepsItsPhysAndReadsBack) {
    auto adapter = tree::adapter(2);
    Channel* bus = tree::channel(*adapter, 1, kChannelSas);
    HardDrive* live = tree::drive(*bus, 5, kDriveMember);
    setText(live->firmwareLevel, "F2");
    setText(live->serialNumber, "S1");
    live->wwn0 = 4022250974U;
    live->size = 99;
    live->pfaSupported = true;
    tree::phy(*live, 3, "A", 7, "B");
    tree::hole(*live);

    QELHardDrive copy(nullptr, nullptr);
    copy.build(live);
    EXPECT_TRUE(copy.addr.IsEqual(Addr::ofDevice(2, 1, 5)));
    ASSERT_EQ(1U, copy.getChildCount());
    EXPECT_TRUE(copy.getChild(0)->isInstanceOf("QELSASPhy"));
    EXPECT_EQ(3U, copy.getChild(0)->addr.phyID);

    const std::string text = treeOf(copy);
    QELHardDrive again(adapter.get(), bus);
    parseInto(again, text);
    EXPECT_EQ(text, treeOf(again));
    EXPECT_EQ(4022250974U, again.wwn0);
}

TEST(QELHardDrive, NumbersBeyond32BitsSaturate) {
    QELHardDrive drive(nullptr, nullptr);
    parseInto(drive, R"(<HardDrive size="5000000000" state="4294967295" deviceID="4294967296"/>)");
    EXPECT_EQ(2147483647, drive.size);
    EXPECT_EQ(2147483647, drive.state);
    EXPECT_EQ(0xffffffffU, drive.addr.deviceID);
}

TEST(QELHardDrive, TextsAreCutAtTheirFieldsAndEntitiesStay) {
    QELHardDrive drive(nullptr, nullptr);
    const std::string longText(10000, 'v');
    parseInto(drive, "<HardDrive vendor=\"" + longText + "\" model=\"" + longText +
                         "\" wwn=\"A&amp;B\" LDPath=\"" + longText + "\"/>");
    EXPECT_EQ(std::string(31, 'v'), drive.vendor);
    EXPECT_EQ(std::string(63, 'v'), drive.model);
    EXPECT_STREQ("A&amp;B", drive.wwn);
    EXPECT_EQ(longText, drive.LDPath);
}

TEST(QELHardDrive, FirstOfTwoAttributesWithOneNameCounts) {
    QELHardDrive drive(nullptr, nullptr);
    parseInto(
        drive,
        R"(<HardDrive state="1" deviceID="7" vendor="a" state="2" deviceID="8" vendor="b"/>)");
    EXPECT_EQ(1, drive.state);
    EXPECT_EQ(7U, drive.addr.deviceID);
    EXPECT_STREQ("a", drive.vendor);
}

TEST(QELHardDrive, UnknownAttributesAndElementsArePassedOver) {
    QELHardDrive drive(nullptr, nullptr);
    parseInto(
        drive,
        R"(<HardDrive colour="red" state="1"><Fan speed="3"><Blade/></Fan><SASPhy phyID="2"/>)"
        R"(</HardDrive>)");
    EXPECT_EQ(1, drive.state);
    ASSERT_EQ(1U, drive.getChildCount());
    EXPECT_EQ(2U, drive.getChild(0)->addr.phyID);
}

TEST(QELHardDrive, GivenReadTwiceThenNothingOfTheFirstTextIsLeft) {
    QELHardDrive drive(nullptr, nullptr);
    parseInto(drive, R"(<HardDrive state="1" vendor="first"/>)");
    parseInto(drive, R"(<HardDrive model="second"/>)");
    EXPECT_EQ(0, drive.state);
    EXPECT_STREQ("", drive.vendor);
    EXPECT_STREQ("second", drive.model);
}

TEST(QELHardDrive, DeviceBytesAbove7fAreWrittenAsAscii) {
    QELHardDrive drive(nullptr, nullptr);
    setText(drive.vendor, "V\xff\xe1");
    drive.LDPath = "\xff";
    const std::string text = elementOf(drive);
    EXPECT_EQ(std::string::npos, text.find('\xff'));
    EXPECT_NE(std::string::npos, text.find("vendor=\"V\x7f"
                                           "a\""));
    EXPECT_STREQ("V\xff\xe1", drive.vendor);
    EXPECT_EQ("\xff", drive.LDPath);
}

TEST(QELHardDrive, AnswersToItsOwnNameAndItsBases) {
    const QELHardDrive drive(nullptr, nullptr);
    for (char const* name : {"QELHardDrive", "HardDrive", "PhysicalDevice", "RaidObject"}) {
        EXPECT_TRUE(drive.isInstanceOf(name)) << name;
    }
    EXPECT_FALSE(drive.isInstanceOf("Enclosure"));
    EXPECT_STREQ("HardDrive", drive.serializedName());
}

TEST(QELHardDrive, ReadsItselfThroughTheLibrarysKind) {
    QELHardDrive drive(nullptr, nullptr);
    HardDrive& base = drive;
    const ExactBuffer buffer(R"(<HardDrive state="2"/>)");
    SimpleXmlParser parser(buffer.data(), buffer.size());
    base.build(parser);
    EXPECT_EQ(2, drive.state);
}

}  // namespace
