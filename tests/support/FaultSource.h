// FaultSource: a MemorySource that a test can make wait, throw or fail at any of its calls.
//
//   auto made = std::make_unique<FaultSource>(room.machine.builder());
//   FaultSource& source = *made;                      // until the library goes
//   VantLib library(std::move(made));
//   source.onTasks = [](const Addr&) { throw std::runtime_error("broken"); };
//
// The hooks run on the monitoring thread, before the call is answered; set them between polls.
#ifndef TESTS_SUPPORT_FAULTSOURCE_H
#define TESTS_SUPPORT_FAULTSOURCE_H

#include <functional>
#include <string>
#include <utility>

#include "storlib/sources/MemorySource.h"

class FaultSource : public MemorySource {
public:
    explicit FaultSource(Builder build) : MemorySource(std::move(build)) {}

    Ret fill(System& system) override {
        if (onFill) onFill();
        return MemorySource::fill(system);
    }
    Ret tasks(const Addr& address, ProgressCollection& found) override {
        if (onTasks) onTasks(address);
        return MemorySource::tasks(address, found);
    }
    Ret events(unsigned int controllerID, long first, std::string& listing) override {
        if (onEvents) onEvents(controllerID);
        return MemorySource::events(controllerID, first, listing);
    }

    std::function<void()> onFill;
    std::function<void(const Addr&)> onTasks;
    std::function<void(unsigned int)> onEvents;
};

#endif  // TESTS_SUPPORT_FAULTSOURCE_H
