// SettingsOf: the configuration that a verb works with: the file named with --config, else the
// default one, which need not exist. Errors: Failure (bad use) with every problem, one per line.
#ifndef AGENT_SETTINGS_SETTINGSOF_H
#define AGENT_SETTINGS_SETTINGSOF_H

#include "agent/Context.h"
#include "agent/settings/AgentSettings.h"

AgentSettings settingsOf(const Context& context);

#endif  // AGENT_SETTINGS_SETTINGSOF_H
