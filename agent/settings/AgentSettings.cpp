#include "agent/settings/AgentSettings.h"

const std::string& SinkSettings::text(const std::string& key) const {
    static const std::string none;
    const auto found = texts.find(key);
    return found == texts.end() ? none : found->second;
}

std::int64_t SinkSettings::number(const std::string& key, std::int64_t otherwise) const {
    const auto found = numbers.find(key);
    return found == numbers.end() ? otherwise : found->second;
}
