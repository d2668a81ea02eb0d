#include "storlib/sources/MemorySource.h"

#include "storlib/ProgressCollection.h"
#include "storlib/System.h"

Ret MemorySource::fail(char const* what) {
    error = std::string("the program that owns this source made ") + what + " fail";
    return Ret{Ret::kFailed, 0};
}

Ret MemorySource::fill(System& system) {
    ++fills;
    if (fillFails) return fail("reading");
    if (builder) builder(system);
    return Ret{};
}

Ret MemorySource::tasks(const Addr& address, ProgressCollection& found) {
    if (tasksFail) return fail("task queries");
    for (const auto& [place, tasksThere] : running) {
        if (!place.IsEqual(address)) continue;
        for (const Progress& task : tasksThere) found.addProgress(task);
    }
    return Ret{};
}

Ret MemorySource::events(unsigned int controllerID, long first, std::string& listing) {
    lastFirst = first;
    if (failingEvents.count(controllerID) != 0) return fail("event listings");
    log.list(controllerID, first, listing);
    return Ret{};
}

void MemorySource::setTasks(const Addr& address, std::vector<Progress> tasksThere) {
    for (auto entry = running.begin(); entry != running.end(); ++entry) {
        if (!entry->first.IsEqual(address)) continue;
        running.erase(entry);
        break;
    }
    if (!tasksThere.empty()) running.emplace_back(address, std::move(tasksThere));
}

void MemorySource::failEvents(unsigned int controllerID, bool fails) {
    if (fails) {
        failingEvents.insert(controllerID);
    } else {
        failingEvents.erase(controllerID);
    }
}
