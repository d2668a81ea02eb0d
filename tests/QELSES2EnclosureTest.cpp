#include "snapshot/QELSES2Enclosure.h"

#include <string>

#include "gtest/gtest.h"
#include "tests/support/SnapshotText.h"
#include "tests/support/TreeBuilder.h"

namespace {

constexpr char const* kShelf =
    R"(<SESEnclosureDevice deviceID="6" deviceType="13" vendor="V" model="M" serialNumber="S")"
    R"( firmwareLevel="" fruNumber="P" wwn="W" state="1" interfaceType="4" wwn0="1" wwn1="-2")"
    R"( sataPort="3" sesDataValid="true"/>)";

TEST(QELSES2Enclosure, ReadElementWritesTheSameElement) {
    QELSES2Enclosure shelf(nullptr, nullptr);
    parseInto(shelf, kShelf);
    EXPECT_EQ(kShelf, elementOf(shelf));
    EXPECT_TRUE(shelf.isSESDataValid());
}

TEST(QELSES2Enclosure, CopyWritesTheSameElement) {
    QELSES2Enclosure source(nullptr, nullptr);
    parseInto(source, kShelf);
    QELSES2Enclosure copy(nullptr, nullptr);
    copy.build(static_cast<SES2EnclosureDevice*>(&source));
    EXPECT_EQ(kShelf, elementOf(copy));
    source.sesDataValid = false;
    copy.build(static_cast<SES2EnclosureDevice*>(&source));
    EXPECT_FALSE(copy.isSESDataValid());
}

TEST(QELSES2Enclosure, ReadsItselfThroughTheLibrarysKind) {
    QELSES2Enclosure shelf(nullptr, nullptr);
    SES2EnclosureDevice& base = shelf;
    const ExactBuffer buffer(kShelf);
    SimpleXmlParser parser(buffer.data(), buffer.size());
    base.build(parser);
    EXPECT_EQ(kShelf, elementOf(shelf));
}

// The expander's firmware is no part of a snapshot: neither copied nor read.
TEST(QELSES2Enclosure, FirmwareLevelIsNotKept) {
    auto adapter = tree::adapter(0);
    SES2EnclosureDevice* live = tree::ses2Enclosure(*tree::channel(*adapter, 1), 6);
    setText(live->firmwareLevel, "F2");
    QELSES2Enclosure copy(nullptr, nullptr);
    copy.build(live);
    EXPECT_STREQ("", copy.firmwareLevel);
    parseInto(copy, R"(<SESEnclosureDevice firmwareLevel="F3"/>)");
    EXPECT_STREQ("", copy.firmwareLevel);
}

TEST(QELSES2Enclosure, CopyAnswersFromItsElements) {
    auto adapter = tree::adapter(0);
    Channel* bus = tree::channel(*adapter, 1);
    SES2EnclosureDevice* live = tree::ses2Enclosure(*bus, 6);
    tree::element(*live, 0, kSesCooling, "FAN 1");
    SESElement* fan = tree::element(*live, 1, kSesCooling, "FAN 2", kSesCritical);
    tree::element(*live, 2, kSesPowerSupply, "PS 1", kSesNotInstalled);
    tree::element(*live, 3, kSesTemperature, "TEMP", kSesNonCritical);
    QELSES2Enclosure copy(adapter.get(), bus);
    copy.build(live);
    fan->status = kSesOk;  // the live enclosure goes on

    const auto check = [](const SES2EnclosureDevice& shelf) {
        EXPECT_TRUE(shelf.isSESDataValid());
        EXPECT_EQ(2, shelf.getFanCount());
        EXPECT_EQ(kSesOk, shelf.getFanStatus(0));
        EXPECT_EQ(kSesCritical, shelf.getFanStatus(1));
        EXPECT_EQ(kSesNotInstalled, shelf.getFanStatus(2));
        EXPECT_EQ(1, shelf.getPowerSupplyCount());
        EXPECT_EQ(kSesNotInstalled, shelf.getPowerSupplyStatus(0));
        EXPECT_TRUE(shelf.isTempOutOfRange());
    };
    check(copy);
    const std::string text = treeOf(copy);
    QELSES2Enclosure again(adapter.get(), bus);
    parseInto(again, text);
    check(again);
    EXPECT_EQ(text, treeOf(again));
}

TEST(QELSES2Enclosure, AnswersToItsOwnNameAndItsBases) {
    const QELSES2Enclosure shelf(nullptr, nullptr);
    for (char const* name :
         {"QELSES2Enclosure", "SES2EnclosureDevice", "PhysicalDevice", "RaidObject"}) {
        EXPECT_TRUE(shelf.isInstanceOf(name)) << name;
    }
    EXPECT_FALSE(shelf.isInstanceOf("Enclosure"));
    EXPECT_STREQ("SESEnclosureDevice", shelf.serializedName());
}

}  // namespace
