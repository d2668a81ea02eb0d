#include "snapshot/QELSESElement.h"

#include "gtest/gtest.h"
#include "snapshot/QELSASPhy.h"
#include "tests/support/SnapshotText.h"
#include "tests/support/TreeBuilder.h"

namespace {

constexpr char const* kElement =
    R"(<SESElement controllerID="1" channelID="2" deviceID="3" itemID="4" status="5")"
    R"( descriptor="SLOT 4" elementType="23"/>)";

TEST(QELSESElement, ReadElementWritesTheSameElement) {
    QELSESElement element;
    parseInto(element, kElement);
    EXPECT_EQ(kElement, elementOf(element));
    EXPECT_EQ(5, element.getStatus());
    EXPECT_EQ("SLOT 4", element.getDescriptor());
    EXPECT_EQ(23, element.getType());
}

TEST(QELSESElement, GivenPhysInTheElementThenTheyCarryItsItem) {
    QELSESElement element;
    parseInto(element, R"(<SESElement itemID="4"><SASPhy phyID="1" itemID="9"/><SASPhy phyID="2"/>)"
                       R"(</SESElement>)");
    ASSERT_EQ(2U, element.getChildCount());
    EXPECT_EQ(4U, element.getChild(0)->addr.itemID);
    EXPECT_EQ(4U, element.getChild(1)->addr.itemID);
    EXPECT_EQ(2U, element.getChild(1)->addr.phyID);
}

TEST(QELSESElement, CopyKeepsFieldsPhysAndItem) {
    auto adapter = tree::adapter(0);
    SES2EnclosureDevice* shelf = tree::ses2Enclosure(*tree::channel(*adapter, 1), 6);
    SESElement* live = tree::element(*shelf, 7, kSesArrayDevice, "SLOT 7", kSesCritical);
    tree::phy(*live, 1, "A", 2, "B");
    QELSESElement copy;
    copy.build(live);
    EXPECT_EQ(treeOf(*live), treeOf(copy));
    EXPECT_TRUE(copy.getChild(0)->isInstanceOf("QELSASPhy"));
    EXPECT_EQ(7U, copy.getChild(0)->addr.itemID);
}

TEST(QELSESElement, GivenNoAttributesThenEverythingIsZeroAndNoIdentifierIsSet) {
    QELSESElement element;
    parseInto(element, "<SESElement/>");
    EXPECT_EQ(R"(<SESElement status="0" descriptor="" elementType="0"/>)", elementOf(element));
}

TEST(QELSESElement, NumbersBeyond32BitsSaturate) {
    QELSESElement element;
    parseInto(element, R"(<SESElement status="4294967295" elementType="4294967296"/>)");
    EXPECT_EQ(2147483647, element.getStatus());
    EXPECT_EQ(-1, element.getType());
}

// A reader stops at 0xff; all other bytes pass.
TEST(QELSESElement, DescriptorIsWrittenWithoutTheByteThatEndsAFile) {
    QELSESElement element;
    element.descriptor = "\xe9\xff\xfe";
    EXPECT_EQ("<SESElement status=\"0\" descriptor=\"\xe9\x7f\xfe\" elementType=\"0\"/>",
              elementOf(element));
    EXPECT_EQ("\xe9\xff\xfe", element.getDescriptor());
}

// The text that the element was read from is gone by then.
TEST(QELSESElement, GivenAnElementReadBeforeThenBuildKeepsItsFields) {
    QELSESElement element;
    parseInto(element, kElement);
    element.build();
    EXPECT_EQ(kElement, elementOf(element));
}

TEST(QELSESElement, BuildWithoutAttributesLeavesTheFields) {
    QELSESElement element;
    element.status = 3;
    element.descriptor = "kept";
    element.elementType = 2;
    element.build();
    EXPECT_EQ(3, element.getStatus());
    EXPECT_EQ("kept", element.getDescriptor());
    EXPECT_EQ(2, element.getType());
}

TEST(QELSESElement, AnswersToTwoNamesAndTheLibrarysElementToOne) {
    const QELSESElement element;
    EXPECT_TRUE(element.isInstanceOf("QELSESElement"));
    EXPECT_TRUE(element.isInstanceOf("SESElement"));
    EXPECT_FALSE(element.isInstanceOf("RaidObject"));
    EXPECT_STREQ("SESElement", element.typeName());
    const SESElement base;
    EXPECT_TRUE(base.isInstanceOf("SESElement"));
    EXPECT_FALSE(base.isInstanceOf("QELSESElement"));
    EXPECT_FALSE(base.isInstanceOf("RaidObject"));
}

}  // namespace
