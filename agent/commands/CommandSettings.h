// CommandSettings: the configuration as a verb needs it: the file that --config names, or the
// default one.
//
//   const AgentSettings settings = readSettings(context);
//
// Errors: Failure; the problems have been told, one line each.
#ifndef AGENT_COMMANDS_COMMANDSETTINGS_H
#define AGENT_COMMANDS_COMMANDSETTINGS_H

#include "agent/Context.h"
#include "agent/settings/AgentSettings.h"
#include "agent/settings/SettingsReader.h"

SettingsReader settingsReader(const Context& context);
AgentSettings readSettings(const Context& context);
AgentSettings readSettings(const Context& context, SettingsReader& reader);

#endif  // AGENT_COMMANDS_COMMANDSETTINGS_H
