#include "agent/commands/ConfigCheck.h"

#include <sys/stat.h>

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

namespace {

bool isOpen(const std::string& file) {
    struct stat info {};
    return stat(file.c_str(), &info) == 0 && (info.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

// A hash gives nothing away of a token that we made, but all of a word that somebody thought up.
void adviseOnHash(const std::string& origin, ConfigCheck& result) {
    if (!isOpen(origin.substr(0, origin.rfind(':')))) return;
    result.advice = origin +
                    ": others can read token_hash, and guess from it a token that raidwatch config "
                    "token has not made";
    result.cure = "put [http] into a file of conf.d, chmod 600 it";
}

}  // namespace

ConfigCheck checkConfig(SettingsReader reader) {
    ConfigCheck result;
    try {
        result.settings = reader.read();
    } catch (const SettingsError& e) {
        result.problems = e.problems;
    }
    result.files = reader.files();
    if (!result.problems.empty()) return result;
    if (!result.settings.httpTokenHash.empty()) {
        adviseOnHash(reader.origins().at("http.token_hash"), result);
    }
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
