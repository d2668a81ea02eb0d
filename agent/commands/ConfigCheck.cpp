#include "agent/commands/ConfigCheck.h"

#include <exception>

#include "agent/Failure.h"
#include "agent/Languages.h"
#include "agent/sinks/SinkFactory.h"

std::string ConfigCheck::verdict() const {
    if (files.empty()) return "in order: there is no configuration file, the defaults hold";
    std::string text;
    for (const std::string& file : files) text += (text.empty() ? "in order: " : ", ") + file;
    return text;
}

ConfigCheck checkConfig(SettingsReader reader) {
    ConfigCheck result;
    try {
        result.settings = reader.read();
    } catch (const SettingsError& e) {
        result.problems = e.problems;
    }
    result.files = reader.files();
    if (!result.problems.empty()) return result;
    try {
        (void)Languages::catalogue(result.settings.language);
    } catch (const Failure& e) {
        result.problems.push_back(reader.origins().at("monitor.language") + ": " + e.what());
    }
    for (const auto& [name, sink] : result.settings.sinks) {
        try {
            (void)makeSink(sink);
        } catch (const std::exception& e) {
            result.problems.emplace_back(e.what());
        }
    }
    return result;
}
