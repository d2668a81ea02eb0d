// Machine: a small configuration that a test describes, changes and hands to a MemorySource.
//
//   Machine machine;
//   Machine::Controller& c = machine.addController(3);        // PCI bus 3
//   c.drives.push_back({0, 5, kDriveMember});                  // channel 0, device 5
//   c.arrays.push_back({0, kLogicalOptimal});
//   auto source = std::make_unique<MemorySource>(machine.builder());
//   c.drives[0].state = kDriveFailed;                          // seen by the next reading
//
// The machine must outlive the source.
#ifndef TESTS_SUPPORT_MACHINE_H
#define TESTS_SUPPORT_MACHINE_H

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "storlib/Attributes.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"
#include "storlib/LogicalDrive.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/ZorAdapter.h"

class Machine {
public:
    struct Drive {
        unsigned int channel;
        unsigned int device;
        int state;
        const char* vendor = "KOVA-PQ";
        const char* fru = "";
        const char* serial = "";
    };
    struct Array {
        unsigned int number;
        int state;
        int badStripes = 0;
    };
    struct Controller {
        int bus = 0;
        int status = kAdapterNormal;
        int number = -1;       // its place in the list when negative
        bool foreign = false;  // of another family
        const char* serial = "";
        std::vector<Drive> drives;
        std::vector<Array> arrays;
    };

    Controller& addController(int bus) {
        controllers.emplace_back();
        controllers.back().bus = bus;
        return controllers.back();
    }

    std::function<void(System&)> builder() {
        return [this](System& system) { fill(system); };
    }

    std::deque<Controller> controllers;  // references stay valid while more are added

private:
    void fill(System& system) const {
        unsigned int place = 0;
        for (const Controller& c : controllers) {
            Adapter* adapter = c.foreign ? static_cast<Adapter*>(new ZorAdapter) : new VantAdapter;
            adapter->addr.controllerID = c.number < 0 ? place : static_cast<unsigned int>(c.number);
            ++place;
            adapter->pciBus = c.bus;
            adapter->controllerStatus = c.status;
            setText(adapter->controllerSerial, c.serial);
            addDrives(*adapter, c);
            for (const Array& a : c.arrays) {
                auto* array = new LogicalDrive(adapter);
                array->addr.logicalDriveID = a.number;
                array->state = a.state;
                array->badBlockCount = a.badStripes;
                adapter->addChild(array);
            }
            system.addChild(adapter);
        }
    }

    static void addDrives(Adapter& adapter, const Controller& c) {
        Channel* channel = nullptr;
        for (const Drive& d : c.drives) {
            if (channel == nullptr || channel->addr.channelID != d.channel) {
                channel = new Channel(&adapter);
                channel->addr.channelID = d.channel;
                adapter.addChild(channel);
            }
            auto* drive = new HardDrive(&adapter, channel);
            drive->addr.deviceID = d.device;
            drive->state = d.state;
            setText(drive->vendor, d.vendor);
            setText(drive->fruNumber, d.fru);
            setText(drive->serialNumber, d.serial);
            channel->addChild(drive);
        }
    }
};

#endif  // TESTS_SUPPORT_MACHINE_H
