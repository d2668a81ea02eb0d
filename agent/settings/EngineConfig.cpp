#include "agent/settings/EngineConfig.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "nls/NLSParser.h"

namespace {

constexpr int kLeastQueue = 200;  // the engine takes no smaller bound

struct Key {
    const char* key;
    const char* otherwise;
};

constexpr Key kKeys[] = {{"qel.eventQueueSize", "200"},
                         {"qel.debugMask", "0"},
                         {"agent.OSLoggingLevel", "0"},
                         {"agent.alarm", "off"}};

int queueSizeOf(const std::string& text) {
    const long long size = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long long>(size, kLeastQueue, 2147483647));
}

}  // namespace

EngineConfig EngineConfig::read(const std::string& folder) {
    EngineConfig config;
    config.file = folder + "QELConfig.conf";
    config.exists = access(config.file.c_str(), F_OK) == 0;
    if (config.exists && access(config.file.c_str(), R_OK) != 0) {
        config.problem = config.file + " cannot be read; let this user read it, or run as root";
    }
    NLSParser file(config.file);
    for (const Key& key : kKeys) {
        std::string value;
        try {
            value = file.get(key.key);
        } catch (const std::out_of_range&) {
            // The engine's parser ends there, and with it monitoring.
            config.problem = config.file + " has a line that is only \"" + key.key +
                             "\"; write it as " + key.key + "=" + key.otherwise;
        }
        const bool set = !value.empty();
        config.values.push_back({key.key, set ? value : key.otherwise, set});
    }
    config.queueSize = queueSizeOf(config.values.front().value);
    return config;
}
