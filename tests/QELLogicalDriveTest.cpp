#include "snapshot/QELLogicalDrive.h"

#include <string>

#include "gtest/gtest.h"
#include "tests/support/SnapshotText.h"
#include "tests/support/TreeBuilder.h"

namespace {

constexpr char const* kDrive =
    R"(<LogicalDrive logicalDriveID="3" state="3" raidLevel="5" blockedAccess="true")"
    R"( writeCacheMode="2" OSPartition="true" badBlockCount="4" snapshotType="1")"
    R"( snapshotPartnerID="9" uniqueID="4294967295" logicalName="data" LDPath="/c0/l3")"
    R"( secondaryLogicals="1,2" createDay="21" createMonth="11" createYear="2026")"
    R"( createHour="23" createMinute="59" createSecond="58" createMilliSec="999")"
    R"( bTaskInProgress="true"/>)";

TEST(QELLogicalDrive, ReadElementWritesTheSameElement) {
    QELLogicalDrive drive(nullptr);
    parseInto(drive, kDrive);
    EXPECT_EQ(kDrive, elementOf(drive));
    EXPECT_TRUE(drive.getBlockedAccess());
    EXPECT_EQ(4294967295U, drive.uniqueID);
}

TEST(QELLogicalDrive, EachFlagIsReadIntoItsOwnField) {
    for (char const* flag : {"blockedAccess", "OSPartition", "bTaskInProgress"}) {
        const std::string attribute = std::string(flag) + "=\"true\"";
        QELLogicalDrive drive(nullptr);
        parseInto(drive, "<LogicalDrive " + attribute + "/>");
        QELLogicalDrive copy(nullptr);
        copy.build(static_cast<LogicalDrive*>(&drive));
        for (const std::string& text : {elementOf(drive), elementOf(copy)}) {
            EXPECT_NE(std::string::npos, text.find(" " + attribute)) << text;
            EXPECT_EQ(text.find("true"), text.rfind("true")) << text;
        }
    }
}

TEST(QELLogicalDrive, CopyKeepsEveryFieldButThePath) {
    QELLogicalDrive source(nullptr);
    parseInto(source, kDrive);
    QELLogicalDrive copy(nullptr);
    copy.build(static_cast<LogicalDrive*>(&source));
    EXPECT_EQ("", copy.LDPath);  // whoever copied it stores the path
    copy.LDPath = "/c0/l3";
    EXPECT_EQ(kDrive, elementOf(copy));
}

TEST(QELLogicalDrive, InheritsTheControllerAndReadsMissingAsZero) {
    auto adapter = tree::adapter(6);
    QELLogicalDrive drive(adapter.get());
    drive.logicalName = "old";
    parseInto(drive, "<LogicalDrive logicalDriveID=\"1\"/>");
    EXPECT_TRUE(drive.addr.IsEqual(Addr::ofLogicalDrive(6, 1)));
    EXPECT_EQ(0, drive.state);
    EXPECT_EQ(0, drive.snapshotPartnerID);
    EXPECT_EQ("", drive.logicalName);
}

TEST(QELLogicalDrive, GivenNoNumberThenItIsZero) {
    QELLogicalDrive drive(nullptr);
    parseInto(drive, "<LogicalDrive/>");
    EXPECT_TRUE(drive.addr.IsEqual(Addr::ofLogicalDrive(Addr::kNotSet, 0)));
}

TEST(QELLogicalDrive, LongTextsAreWhole) {
    const std::string name(1000, 'n');
    QELLogicalDrive drive(nullptr);
    parseInto(drive, "<LogicalDrive logicalName=\"" + name + "\"/>");
    EXPECT_EQ(name, drive.logicalName);
    EXPECT_NE(std::string::npos, elementOf(drive).find(name));
}

TEST(QELLogicalDrive, AnswersToItsOwnNameAndItsBases) {
    const QELLogicalDrive drive(nullptr);
    for (char const* name : {"QELLogicalDrive", "LogicalDrive", "RaidObject"}) {
        EXPECT_TRUE(drive.isInstanceOf(name)) << name;
    }
    EXPECT_FALSE(drive.isInstanceOf("HardDrive"));
    EXPECT_STREQ("LogicalDrive", drive.serializedName());
}

}  // namespace
