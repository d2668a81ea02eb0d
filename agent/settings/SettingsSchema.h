// SettingsSchema: every key of raidwatch.toml, for people and for editors. Made from the rows that
// the reader checks against, so it cannot lag behind.
//
// Pure functions; any thread.
#ifndef AGENT_SETTINGS_SETTINGSSCHEMA_H
#define AGENT_SETTINGS_SETTINGSSCHEMA_H

#include <cstddef>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace SettingsSchema {

std::string text(std::size_t columns);  // for a terminal; 0 columns is no limit
std::string markdown();                 // docs/formats/raidwatch-toml.md
nlohmann::ordered_json json();          // a JSON Schema of the file as JSON

}  // namespace SettingsSchema

#endif  // AGENT_SETTINGS_SETTINGSSCHEMA_H
