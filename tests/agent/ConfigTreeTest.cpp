// The two forms of `raidwatch list`, over one tree.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include <nlohmann/json.hpp>

#include "agent/ConfigJson.h"
#include "agent/ConfigText.h"
#include "agent/SafeText.h"
#include "storlib/Attributes.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/RefSystem.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/ZorAdapter.h"

namespace {

class ConfigTree : public testing::Test {
protected:
    void SetUp() override {
        system.Set(new System);
        adapter = new VantAdapter;
        adapter->addr.controllerID = 1;
        adapter->pciDevice = 4;
        setText(adapter->deviceName, "ahci");
        setText(adapter->firmwareVersion, "1.2");
        channel = new Channel(adapter);
        channel->addr.channelID = 2;
        channel->channelType = kChannelSata;
        drive = new HardDrive(adapter, channel);
        drive->addr.deviceID = 3;
        setText(drive->vendor, "ATA");
        setText(drive->model, "KOVA-LMN HD1280");
        setText(drive->serialNumber, "KL7A200");
        drive->size = 128;
        drive->state = kDriveMember;
        channel->addChild(drive);
        adapter->addChild(channel);
        array = new LogicalDrive(adapter);
        array->addr.logicalDriveID = 127;
        array->state = kLogicalDegraded;
        array->raidLevel = kRaid5;
        array->dataSpace = 2048;
        array->logicalName = "vault";
        adapter->addChild(array);
        system->addChild(adapter);
    }

    RefSystem system;
    VantAdapter* adapter = nullptr;
    Channel* channel = nullptr;
    HardDrive* drive = nullptr;
    LogicalDrive* array = nullptr;
};

TEST_F(ConfigTree, AsTextShowsAdapterDriveAndArray) {
    EXPECT_EQ(
        "adapter 1  ahci                                      PCI 0-4-0  normal\n"
        "  drive 1:2:3   port 3   ATA KOVA-LMN HD1280  KL7A200         128 MB  member\n"
        "  array 127     RAID 5   vault                -               2.0 GB  DEGRADED\n",
        configText(*system.get()));
}

TEST_F(ConfigTree, AsTextFitsEightyColumns) {
    setText(drive->model, std::string(60, 'M').c_str());
    setText(drive->serialNumber, std::string(60, 'S').c_str());
    setText(adapter->deviceName, std::string(60, 'N').c_str());
    drive->state = kDriveRebuilding;
    array->logicalName = std::string(200, 'L');
    std::istringstream lines(configText(*system.get()));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(textWidth(line), 80u) << line;
}

TEST_F(ConfigTree, AsTextMakesDeviceTextsSafe) {
    setText(drive->model, "a\x1b[2J");
    array->logicalName = "b\nc";
    const std::string text = configText(*system.get());
    EXPECT_EQ(std::string::npos, text.find('\x1b'));
    EXPECT_NE(std::string::npos, text.find("ATA a\\x1b[2J"));
    EXPECT_NE(std::string::npos, text.find("b\\nc"));
}

TEST_F(ConfigTree, GivenAZorAdapterThenItsArraysCountBlocks) {
    auto* zor = new ZorAdapter;
    zor->addr.controllerID = 2;
    auto* other = new LogicalDrive(zor);
    other->addr.logicalDriveID = 0;
    other->dataSpace = 2048 * 100;
    zor->addChild(other);
    system->addChild(zor);
    EXPECT_NE(std::string::npos, configText(*system.get()).find("100 MB"));
}

TEST_F(ConfigTree, GivenASesEnclosureThenCountsItsUnits) {
    auto* shelf = new SES2EnclosureDevice(adapter, channel);
    shelf->addr.deviceID = 9;
    shelf->sesDataValid = true;
    setText(shelf->vendor, "LABENCL");
    auto* fan = new SESElement;
    fan->elementType = kSesCooling;
    fan->status = kSesOk;
    shelf->addChild(fan);
    channel->addChild(shelf);
    EXPECT_NE(
        std::string::npos,
        configText(*system.get())
            .find("encl. 1:2:9   -        LABENCL              1 fans, 0 supplies, temp. normal"))
        << configText(*system.get());
    shelf->sesDataValid = false;
    EXPECT_NE(std::string::npos, configText(*system.get()).find("state not known"));
}

TEST_F(ConfigTree, GivenAnEmptyMachineThenSaysSo) {
    const RefSystem empty(new System);
    EXPECT_EQ("no storage controllers\n", configText(*empty.get()));
    EXPECT_EQ("{\n  \"adapters\": []\n}", configJson(*empty.get()));
}

TEST_F(ConfigTree, AsJsonHasAllFieldsAndNullForNotSet) {
    const auto json = nlohmann::json::parse(configJson(*system.get()));
    const auto& first = json["adapters"][0];
    EXPECT_EQ("VantAdapter", first["type"]);
    EXPECT_EQ(1, first["controllerID"]);
    EXPECT_TRUE(first["physicalSlot"].is_null());
    EXPECT_EQ("1.2", first["firmwareVersion"]);
    EXPECT_EQ(4, first["pciDevice"]);
    const auto& disk = first["children"][0]["children"][0];
    EXPECT_EQ("HardDrive", disk["type"]);
    EXPECT_EQ("KL7A200", disk["serialNumber"]);
    EXPECT_EQ(3, disk["deviceID"]);
    EXPECT_TRUE(disk["sataPort"].is_null());
    const auto& logical = first["children"][1];
    EXPECT_EQ("vault", logical["logicalName"]);
    EXPECT_EQ(2048, logical["dataSpace"]);
    EXPECT_TRUE(logical["created"].is_null());
    EXPECT_EQ(0u, logical.count("children"));
}

TEST_F(ConfigTree, GivenACreationTimeThenAsJsonShowsIt) {
    array->createYear = 2026;
    array->createMonth = 11;
    array->createDay = 21;
    array->createHour = 3;
    const auto json = nlohmann::json::parse(configJson(*system.get()));
    EXPECT_EQ("2026-11-21T03:00:00", json["adapters"][0]["children"][1]["created"]);
}

TEST_F(ConfigTree, GivenInvalidUtf8ThenAsJsonStaysValid) {
    array->logicalName = "x\xff";
    const auto json = nlohmann::json::parse(configJson(*system.get()));
    EXPECT_EQ("x\xef\xbf\xbd", json["adapters"][0]["children"][1]["logicalName"]);
}

TEST(ConfigText, SizesHaveAFittingUnit) {
    EXPECT_EQ("-", sizeText(0));
    EXPECT_EQ("1023 MB", sizeText(1023));
    EXPECT_EQ("1.0 GB", sizeText(1024));
    EXPECT_EQ("16.0 TB", sizeText(16ull * 1024 * 1024));
}

}  // namespace
