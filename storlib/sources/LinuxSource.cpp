#include "storlib/sources/LinuxSource.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "storlib/ProgressCollection.h"
#include "storlib/System.h"
#include "storlib/sources/LinuxChanges.h"

LinuxSource::LinuxSource(const std::string& root, const std::string& smartctl)
    : reader(root),
      enclosures(reader),
      tree(reader),
      health(smartctl, SmartHealth::kIntervalSeconds) {}

std::unique_ptr<ConfigSource> LinuxSource::open(const std::string& root, std::string& error) {
    struct stat folder = {};
    if (::stat(root.c_str(), &folder) != 0) {
        error = "cannot read " + root + ": " + std::strerror(errno) +
                "; name a folder that you may read and that holds sys and proc";
        return nullptr;
    }
    if (!S_ISDIR(folder.st_mode)) {
        error = root + " is no folder; name the folder that holds sys and proc";
        return nullptr;
    }
    const bool live = root.find_first_not_of('/') == std::string::npos;
    return std::make_unique<LinuxSource>(root, live ? SmartHealth::findProgram() : std::string());
}

void LinuxSource::setRoot(const std::string& root) {
    reader.setRoot(root);
    asked.clear();
}

Ret LinuxSource::fill(System& system) {
    LinuxLook now = LinuxLook::take(reader, enclosures, MdArrays::Depth::kTree, last);
    if (reader.ranShort()) return failedForWant();
    if (!now.readable) {
        error = "neither /sys nor /proc/mdstat can be read below " + reader.getRoot();
        return Ret{Ret::kFailed, ENOENT};
    }
    record(now);
    for (MdArray& array : now.arrays) {
        const MdArray* before = last.findArray(array.name);
        if (before != nullptr) MdArrays::remember(*before, array);
    }
    std::vector<LinuxDrive> found = BlockDrives::read(reader, now.blocks);
    LinuxPlaces foundPlaces;
    health.step(found);
    if (!tree.build(system, now, found, &health, foundPlaces)) {
        last = std::move(now);  // that was whole, and what it showed is recorded
        looked = true;
        return failedForWant();
    }
    drives = std::move(found);
    places = std::move(foundPlaces);
    shown = now.conditions(places);
    last = std::move(now);
    looked = true;
    asked.clear();
    error.clear();
    return Ret{};
}

Ret LinuxSource::failedForWant() {
    error = "the machine cannot be read whole: no descriptors or no memory left";
    return Ret{Ret::kFailed, EMFILE};
}

void LinuxSource::record(const LinuxLook& now) {
    if (!looked) return;
    for (const auto& [controllerID, event] : LinuxChanges::between(last, now, places, reader)) {
        log.append(controllerID, event);
    }
}

void LinuxSource::recordConfigurationChange(unsigned int controllerID) {
    ControllerEvent event;
    event.description = "configuration changed";
    log.append(controllerID, event);
}

void LinuxSource::recordChangedControllers(const LinuxLook& now) {
    const auto after = now.conditions(places);
    static const std::string kNothing;
    const auto textOf = [](const std::map<unsigned int, std::string>& texts,
                           unsigned int number) -> const std::string& {
        const auto found = texts.find(number);
        return found == texts.end() ? kNothing : found->second;
    };
    for (unsigned int number = 0; number < places.controllers; ++number) {
        if (announced || textOf(shown, number) != textOf(after, number)) {
            recordConfigurationChange(number);
        }
    }
    announced = false;
}

void LinuxSource::look() {
    health.step(drives);
    LinuxLook now = LinuxLook::take(reader, enclosures, MdArrays::Depth::kLook, last);
    if (reader.ranShort() || !now.readable) return;
    record(now);
    for (MdArray& array : now.arrays) {
        const MdArray* before = last.findArray(array.name);
        if (before != nullptr) MdArrays::remember(*before, array);
    }
    recordChangedControllers(now);
    last = std::move(now);
    looked = true;
}

Ret LinuxSource::tasks(const Addr& address, ProgressCollection& found) {
    if (address.controllerID != 0 || address.logicalDriveID == Addr::kNotSet) return Ret{};
    for (const MdArray& array : last.arrays) {
        if (array.minor != address.logicalDriveID || MdArrays::isContainer(array)) continue;
        const MdTask task = MdArrays::task(reader, array);
        if (reader.ranShort()) return failedForWant();
        if (task.type == kTaskNone) return Ret{};
        found.addProgress(
            Progress(task.type, task.percent, task.status, Addr::ofLogicalDrive(0, array.minor)));
        return Ret{};
    }
    return Ret{};
}

Ret LinuxSource::events(unsigned int controllerID, long first, std::string& listing) {
    if (asked.empty() || asked.count(controllerID) != 0) {
        asked.clear();
        look();
    }
    asked.insert(controllerID);
    log.list(controllerID, first, listing);
    return Ret{};
}
