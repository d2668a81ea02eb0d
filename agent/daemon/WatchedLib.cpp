#include "agent/daemon/WatchedLib.h"

#include "storlib/ConfigSource.h"
#include "storlib/sources/SourceRegistry.h"

std::unique_ptr<WatchedLib> WatchedLib::open(const std::string& name, std::string& error) {
    std::unique_ptr<ConfigSource> made = SourceRegistry::make(name, error);
    return made ? std::make_unique<WatchedLib>(std::move(made)) : nullptr;
}

Ret WatchedLib::getSystemConfig() {
    failure = "the reading was broken off";  // unless it comes to its end
    const Ret result = VantLib::getSystemConfig();
    failure = result.status == Ret::kOk ? std::string() : lastError();
    if (result.status != Ret::kOk && failure.empty()) failure = "the storage gives no reason";
    return result;
}
