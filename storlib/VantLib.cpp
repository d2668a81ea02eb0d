#include "storlib/VantLib.h"

#include <cstring>

#include "storlib/ConfigSource.h"
#include "storlib/LDPathUtils.h"
#include "storlib/System.h"
#include "storlib/sources/SourceRegistry.h"

VantLib::VantLib(std::unique_ptr<ConfigSource> newSource) : source(std::move(newSource)) {}

VantLib::~VantLib() = default;

std::unique_ptr<VantLib> VantLib::open(const std::string& name, std::string& error) {
    std::unique_ptr<ConfigSource> made = SourceRegistry::make(name, error);
    return made ? std::make_unique<VantLib>(std::move(made)) : nullptr;
}

Ret VantLib::getSystemConfig() {
    RefSystem fresh(new System(kStorLibGeneric));
    const Ret result = source->fill(*fresh.get());
    if (result.status == Ret::kOk) system = fresh;
    return result;
}

Ret VantLib::getEvents(const Addr& controller, long firstSequence, char*& buffer) {
    buffer = nullptr;
    std::string listing;
    const Ret result = source->events(controller.controllerID, firstSequence, listing);
    if (result.status != Ret::kOk || listing.empty()) return result;
    buffer = new char[listing.size() + 1];
    std::memcpy(buffer, listing.c_str(), listing.size() + 1);
    return result;
}

Ret VantLib::getTasks(const Addr& address, ProgressCollection& tasks) {
    return source->tasks(address, tasks);
}

Ret VantLib::getPath(const Addr& address, _LDTree& path) {
    return LDPathUtils::makePath(address, path);
}

std::string VantLib::lastError() const { return source->lastError(); }
