#include "snapshot/QELSASPhy.h"

#include <string>

#include "gtest/gtest.h"
#include "storlib/Attributes.h"
#include "tests/support/SnapshotText.h"

namespace {

constexpr char const* kPhy =
    R"(<SASPhy controllerID="1" channelID="2" deviceID="3" itemID="4" phyID="5" SASaddress="5000C5")"
    R"( initiatorProtocols="1" targetProtocols="8" attachedPhyID="7" attachedSASaddress="5001")"
    R"( attachedInitiatorProtocols="-1" attachedTargetProtocols="2" attachedDeviceType="1")"
    R"( negPhyLinkRate="10" progMinPhyLinkRate="8" progMaxPhyLinkRate="11" hwMinPhyLinkRate="8")"
    R"( hwMaxPhyLinkRate="12" phyChangeCount="99" virtualPhy="true" pathTimeout="6")"
    R"( routingType="2"/>)";

TEST(QELSASPhy, ReadElementWritesTheSameElement) {
    QELSASPhy phy;
    parseInto(phy, kPhy);
    EXPECT_EQ(kPhy, elementOf(phy));
    EXPECT_EQ(0xffffffffU, phy.attachedInitiatorProtocols);
    EXPECT_TRUE(phy.virtualPhy);
}

TEST(QELSASPhy, CopyWritesTheSameElementAsItsSource) {
    QELSASPhy source;
    parseInto(source, kPhy);
    QELSASPhy copy;
    copy.build(static_cast<SASPhy*>(&source));
    EXPECT_EQ(kPhy, elementOf(copy));
}

TEST(QELSASPhy, GivenNoAttributesThenEverythingIsZero) {
    QELSASPhy phy;
    phy.routingType = 9;
    phy.virtualPhy = true;
    setText(phy.SASaddress, "old");
    parseInto(phy, "<SASPhy/>");
    EXPECT_EQ(0U, phy.addr.phyID);
    EXPECT_EQ(Addr::kNotSet, phy.addr.controllerID);
    EXPECT_EQ(0, phy.routingType);
    EXPECT_FALSE(phy.virtualPhy);
    EXPECT_STREQ("", phy.SASaddress);
}

TEST(QELSASPhy, GivenALongAddressThenItIsCutAtTheField) {
    QELSASPhy phy;
    parseInto(phy, "<SASPhy SASaddress=\"" + std::string(10000, 'A') + "\"/>");
    EXPECT_EQ(std::string(sizeof phy.SASaddress - 1, 'A'), phy.SASaddress);
}

TEST(QELSASPhy, AnswersToItsOwnNameAndItsBases) {
    const QELSASPhy phy;
    for (char const* name : {"QELSASPhy", "SASPhy", "RaidObject"}) {
        EXPECT_TRUE(phy.isInstanceOf(name)) << name;
    }
    EXPECT_FALSE(phy.isInstanceOf("HardDrive"));
    EXPECT_FALSE(phy.isInstanceOf(nullptr));
    EXPECT_STREQ("SASPhy", phy.serializedName());
}

}  // namespace
