// TreeBuilder: storage trees by hand, one line per object.
//
//   auto adapter = tree::adapter(0);                        // a VantAdapter with number 0
//   Channel* bus = tree::channel(*adapter, 1, kChannelSas);
//   HardDrive* drive = tree::drive(*bus, 5, kDriveMember);  // channel 1, device 5
//   tree::phy(*drive, 2, "A", 7, "B");                      // phy 2 of it, cabled to phy 7
//   tree::logicalDrive(*adapter, 0, kLogicalDegraded);
//   tree::hole(*adapter);                                   // an empty place in the child list
//
// Everything but the adapter belongs to its parent; the adapter to the caller.
#ifndef TESTS_SUPPORT_TREEBUILDER_H
#define TESTS_SUPPORT_TREEBUILDER_H

#include <memory>
#include <string>
#include <utility>

#include "storlib/Attributes.h"
#include "storlib/Channel.h"
#include "storlib/Enclosure.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/SASPhy.h"
#include "storlib/SATAChannel.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/SafteConfig.h"
#include "storlib/SafteStatus.h"
#include "storlib/VantAdapter.h"
#include "storlib/ZorAdapter.h"
#include "storlib/ZorBasicLogicalDrive.h"

namespace tree {

template <class Kind = VantAdapter>
std::unique_ptr<Kind> adapter(unsigned int number, const char* serial = "") {
    auto made = std::make_unique<Kind>();
    made->addr.controllerID = number;
    setText(made->controllerSerial, serial);
    return made;
}

inline Channel* channel(Adapter& adapter, unsigned int number, int type = kChannelScsi) {
    auto* made = new Channel(&adapter);
    made->addr.channelID = number;
    made->channelType = type;
    adapter.addChild(made);
    return made;
}

inline SATAChannel* sataChannel(Adapter& adapter, unsigned int number, int ports) {
    auto* made = new SATAChannel(&adapter);
    made->addr.channelID = number;
    made->portCount = ports;
    adapter.addChild(made);
    return made;
}

// Of a vendor that is supported, so that no test hears about that by accident.
inline HardDrive* prepare(HardDrive* drive, unsigned int device, int state) {
    drive->addr.deviceID = device;
    drive->state = state;
    setText(drive->vendor, "KOVA-PQ");
    return drive;
}

inline HardDrive* drive(Channel& channel, unsigned int device, int state = kDriveReady) {
    HardDrive* made = prepare(new HardDrive(channel.getAdapter(), &channel), device, state);
    channel.addChild(made);
    return made;
}

inline HardDrive* driveWithoutChannel(Adapter& adapter, unsigned int device,
                                      int state = kDriveReady) {
    HardDrive* made = prepare(new HardDrive(&adapter, nullptr), device, state);
    adapter.addChild(made);
    return made;
}

inline LogicalDrive* logicalDrive(Adapter& adapter, unsigned int number,
                                  int state = kLogicalOptimal) {
    auto* made = new LogicalDrive(&adapter);
    made->addr.logicalDriveID = number;
    made->state = state;
    adapter.addChild(made);
    return made;
}

inline SASPhy* phy(RaidObject& parent, unsigned int number, const char* address,
                   unsigned int attachedNumber, const char* attachedAddress,
                   int attachedDeviceType = 1) {
    auto* made = new SASPhy;
    made->addr = parent.addr;
    made->addr.phyID = number;
    setText(made->SASaddress, address);
    made->attachedPhyID = attachedNumber;
    setText(made->attachedSASaddress, attachedAddress);
    made->attachedDeviceType = attachedDeviceType;
    parent.addChild(made);
    return made;
}

// A SAF-TE enclosure that has not answered; see answer().
inline Enclosure* enclosure(Channel& channel, unsigned int device) {
    auto* made = new Enclosure(channel.getAdapter(), &channel);
    made->addr.deviceID = device;
    channel.addChild(made);
    return made;
}

// Lets the enclosure answer, with all its units operational and its slots empty; the status bytes
// are the caller's to change.
inline SafteStatus* answer(Enclosure& enclosure, unsigned short fans = 0,
                           unsigned short supplies = 0) {
    auto config = std::make_unique<SafteConfig>();
    config->fanCount = fans;
    config->powerSupplyCount = supplies;
    auto status = std::make_unique<SafteStatus>();
    for (unsigned short i = 0; i < fans && i < SafteStatus::kUnits; ++i) status->fanStatus[i] = 0;
    for (unsigned short i = 0; i < supplies && i < SafteStatus::kUnits; ++i) {
        status->powerSupplyStatus[i] = 0;
    }
    SafteStatus* borrowed = status.get();
    enclosure.setSafteData(std::move(config), std::move(status));
    return borrowed;
}

inline SES2EnclosureDevice* ses2Enclosure(Channel& channel, unsigned int device,
                                          bool valid = true) {
    auto* made = new SES2EnclosureDevice(channel.getAdapter(), &channel);
    made->addr.deviceID = device;
    made->sesDataValid = valid;
    channel.addChild(made);
    return made;
}

inline SESElement* element(SES2EnclosureDevice& enclosure, unsigned int item, int type,
                           const std::string& descriptor, unsigned int status = kSesOk) {
    auto* made = new SESElement;
    made->addr = enclosure.addr;
    made->addr.itemID = item;
    made->elementType = type;
    made->descriptor = descriptor;
    made->status = status;
    enclosure.addChild(made);
    return made;
}

inline void hole(RaidObject& parent) { parent.addChild(nullptr); }

}  // namespace tree

#endif  // TESTS_SUPPORT_TREEBUILDER_H
