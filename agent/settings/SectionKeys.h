// SectionKeys: the keys of raidwatch.toml outside of sinks, each with the member of AgentSettings
// that it fills; the defaults are those of AgentSettings.
//
// Any thread.
#ifndef AGENT_SETTINGS_SECTIONKEYS_H
#define AGENT_SETTINGS_SECTIONKEYS_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/settings/SettingKey.h"
#include "agent/settings/SettingValue.h"

struct SectionKey {
    SettingKey row;  // row.type is the name of the table
    std::variant<std::string AgentSettings::*, std::int64_t AgentSettings::*, int AgentSettings::*,
                 std::vector<std::int64_t> AgentSettings::*,
                 std::vector<std::string> AgentSettings::*>
        member;
};

const std::vector<SectionKey>& sectionKeys();

// The names of the tables, in the order of the reference, and what each is about.
struct Section {
    const char* name;
    const char* purpose;
};
const std::vector<Section>& sections();

// What `settings` hold for the key.
SettingValue memberValue(const SectionKey& key, const AgentSettings& settings);

#endif  // AGENT_SETTINGS_SECTIONKEYS_H
