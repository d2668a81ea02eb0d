// A host in forty lines: one controller with one drive, which has failed; the monitor tells. A
// second run tells nothing new, because the monitor keeps what it saw in a file beside its library.
//
// A real host opens a source by name instead, VantLib::open("linux:/", error), and lets the
// monitor run for as long as it runs itself.
#include <chrono>
#include <iostream>
#include <memory>
#include <thread>

#include "monitor/VantRaidMonitor.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/VantLib.h"
#include "storlib/sources/MemorySource.h"

int main() {
    auto source = std::make_unique<MemorySource>([](System& system) {
        auto* adapter = new VantAdapter;  // every tree owns its objects
        adapter->addr.controllerID = 0;
        system.addChild(adapter);
        auto* channel = new Channel(adapter);
        channel->addr.channelID = 0;
        adapter->addChild(channel);
        auto* drive = new HardDrive(adapter, channel);
        drive->addr.deviceID = 3;
        drive->state = kDriveFailed;
        channel->addChild(drive);
    });
    VantLib library(std::move(source));
    VantRaidMonitor monitor(&library);
    std::cout << "controllers: " << monitor.getControllerCount() << '\n';

    // start() returns after stop(), so it has a thread of its own. Its first poll is immediate.
    std::thread loop([&monitor] { monitor.start(); });
    for (int tries = 0; tries < 20 && monitor.getNumberOfEvents() == 0; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    monitor.stop();
    loop.join();
    for (const QELEvent& event : monitor.getEvents(0)) std::cout << event.toString() << '\n';
}
