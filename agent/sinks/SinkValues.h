// SinkValues: what every kind of sink does with its settings: take a value, and name file, line
// and cure when it cannot be. Keys, types and limits were checked when the file was read; what is
// checked here is what only the sink knows.
//
//   const SinkValues values(settings);
//   path = values.require("path");
//   if (...) throw values.wrong("path", "is no whole path from / on");
//
// Borrows the settings. Any thread. Errors: Failure (bad use).
#ifndef AGENT_SINKS_SINKVALUES_H
#define AGENT_SINKS_SINKVALUES_H

#include <cstdint>
#include <initializer_list>
#include <string>

#include "agent/Failure.h"
#include "agent/settings/AgentSettings.h"

class SinkValues {
public:
    explicit SinkValues(const SinkSettings& settingsIN) : settings(settingsIN) {}

    std::string text(const char* key, const char* otherwise) const;
    // Throws unless `key` is a text that is not empty.
    const std::string& require(const char* key) const;
    // The text, or `otherwise` when it is not set; throws when it is none of `words`.
    std::string oneOf(const char* key, const char* otherwise,
                      std::initializer_list<const char*> words) const;
    // Throws when it is outside of the limits.
    std::int64_t number(const char* key, std::int64_t otherwise, std::int64_t least,
                        std::int64_t most) const;

    // "/etc/raidwatch/raidwatch.toml:12: sink "x": keep: must be from 1 to 999"
    Failure wrong(const std::string& key, const std::string& what) const;

private:
    const SinkSettings& settings;
};

#endif  // AGENT_SINKS_SINKVALUES_H
