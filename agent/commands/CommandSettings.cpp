#include "agent/commands/CommandSettings.h"

#include "agent/Failure.h"

SettingsReader settingsReader(const Context& context) {
    return context.configFile.empty() ? SettingsReader(SettingsReader::kDefaultFile)
                                      : SettingsReader(context.configFile, true);
}

AgentSettings readSettings(const Context& context, SettingsReader& reader) {
    try {
        return reader.read();
    } catch (const SettingsError& e) {
        for (const std::string& problem : e.problems) context.note(problem);
        throw Failure(Failure::kBadUse,
                      "the configuration is not in order; correct it, then try again");
    }
}

AgentSettings readSettings(const Context& context) {
    SettingsReader reader = settingsReader(context);
    return readSettings(context, reader);
}
