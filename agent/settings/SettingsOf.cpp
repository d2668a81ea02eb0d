#include "agent/settings/SettingsOf.h"

#include "agent/Failure.h"
#include "agent/settings/SettingsReader.h"

AgentSettings settingsOf(const Context& context) {
    const bool named = !context.configFile.empty();
    try {
        return SettingsReader(named ? context.configFile : SettingsReader::kDefaultFile, named)
            .read();
    } catch (const SettingsError& e) {
        throw Failure(Failure::kBadUse, e.what());
    }
}
