#include "benchmarks/GeneratedMachine.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "snapshot/QELSystem.h"
#include "storlib/Attributes.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SASPhy.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "xml/XMLWriter.h"

namespace {

constexpr int kDrivesPerAdapter = 1000;
constexpr int kDrivesPerChannel = 100;
constexpr int kDrivesPerArray = 10;
constexpr int kPhysPerDrive = 2;

template <std::size_t N>
void print(char (&field)[N], const char* format, unsigned number) {
    (void)std::snprintf(field, N, format, number);
}

void addPhy(HardDrive& drive, int number, unsigned serial) {
    auto* phy = new SASPhy;
    phy->addr = drive.addr;
    phy->addr.phyID = static_cast<unsigned>(number);
    print(phy->SASaddress, "5000C500%08X", serial * 2 + static_cast<unsigned>(number));
    print(phy->attachedSASaddress, "500304801%07X", serial);
    phy->attachedPhyID = number;
    phy->attachedDeviceType = 2;
    phy->targetProtocols = 8;
    phy->attachedInitiatorProtocols = 14;
    phy->negPhyLinkRate = 10;
    phy->progMinPhyLinkRate = 8;
    phy->progMaxPhyLinkRate = 11;
    phy->hwMinPhyLinkRate = 8;
    phy->hwMaxPhyLinkRate = 11;
    phy->phyChangeCount = static_cast<int>(serial % 7);
    drive.addChild(phy);
}

void addDrive(Channel& channel, int device, unsigned serial) {
    auto* drive = new HardDrive(channel.getAdapter(), &channel);
    drive->addr.deviceID = static_cast<unsigned>(device);
    setText(drive->vendor, "KOVA-PQ");
    print(drive->model, "ST1200MM%04u", serial % 64);
    print(drive->serialNumber, "S3L%08X", serial * 2654435761U);
    setText(drive->firmwareLevel, "B56B");
    print(drive->fruNumber, "42D%04u", serial % 16);
    print(drive->wwn, "5000C500%08X", serial);
    drive->state = kDriveMember;
    drive->interfaceType = kChannelSas;
    drive->wwn0 = 0xc50050;
    drive->wwn1 = serial;
    drive->size = 1144641;
    drive->pfaSupported = true;
    channel.addChild(drive);
    for (int phy = 0; phy < kPhysPerDrive; ++phy) addPhy(*drive, phy, serial);
}

void addArray(Adapter& adapter, int number) {
    auto* array = new LogicalDrive(&adapter);
    array->addr.logicalDriveID = static_cast<unsigned>(number);
    array->raidLevel = kRaid5;
    array->dataSpace = 1144641ULL * (kDrivesPerArray - 1);
    array->logicalName = "data" + std::to_string(number);
    array->uniqueID = 0x1234U + static_cast<unsigned>(number);
    adapter.addChild(array);
}

void fillFrom(Adapter& adapter, int drives, unsigned firstSerial) {
    for (int begin = 0; begin < drives; begin += kDrivesPerChannel) {
        auto* channel = new Channel(&adapter);
        channel->addr.channelID = static_cast<unsigned>(begin / kDrivesPerChannel);
        channel->channelType = kChannelSas;
        adapter.addChild(channel);
        const int here = std::min(kDrivesPerChannel, drives - begin);
        for (int i = 0; i < here; ++i) {
            addDrive(*channel, i, firstSerial + static_cast<unsigned>(begin + i));
        }
    }
    for (int array = 0; array < drives / kDrivesPerArray; ++array) addArray(adapter, array);
}

}  // namespace

namespace GeneratedMachine {

void fillAdapter(Adapter& adapter, int drives) { fillFrom(adapter, drives, 1); }

void fill(System& system, int drives) {
    for (int begin = 0; begin < drives; begin += kDrivesPerAdapter) {
        const int number = begin / kDrivesPerAdapter;
        auto* adapter = new VantAdapter;
        adapter->addr.controllerID = static_cast<unsigned>(number);
        adapter->pciBus = number + 1;
        setText(adapter->deviceVendor, "KOVA");
        setText(adapter->deviceName, "SAS controller");
        print(adapter->controllerSerial, "C%07u", static_cast<unsigned>(number));
        system.addChild(adapter);
        fillFrom(*adapter, std::min(kDrivesPerAdapter, drives - begin),
                 1 + static_cast<unsigned>(begin));
    }
}

std::string snapshot(int drives) {
    System system(kStorLibGeneric);
    fill(system, drives);
    QELSystem copy(kStorLibGeneric);
    copy.build(&system);
    char* text = nullptr;
    XMLWriter writer(&text);
    writer.writeTree(copy);
    const std::unique_ptr<char[]> owned(text);
    return std::string(text, writer.getStrSize());
}

}  // namespace GeneratedMachine
