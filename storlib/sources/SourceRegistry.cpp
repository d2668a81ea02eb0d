#include "storlib/sources/SourceRegistry.h"

#include "storlib/ConfigSource.h"
#include "storlib/sources/LinuxSource.h"
#include "storlib/sources/ReplaySource.h"
#include "storlib/sources/ScenarioSource.h"

namespace SourceRegistry {

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> rows = {
        {"linux", "ROOT (default /)", "this machine, or the tree below ROOT",
         [](const std::string& argument, std::string& error) {
             return LinuxSource::open(argument.empty() ? "/" : argument, error);
         }},
        {"replay", "PATH", "a recording: one folder per step below PATH, in name order",
         [](const std::string& argument, std::string& error) -> std::unique_ptr<ConfigSource> {
             return ReplaySource::open(argument, error);
         }},
        {"scenario", "FILE", "simulated controllers from a scenario file",
         [](const std::string& argument, std::string& error) -> std::unique_ptr<ConfigSource> {
             return ScenarioSource::open(argument, error);
         }},
    };
    return rows;
}

std::unique_ptr<ConfigSource> make(const std::string& name, std::string& error) {
    const std::string::size_type colon = name.find(':');
    const std::string kind = name.substr(0, colon);
    const std::string argument = colon == std::string::npos ? "" : name.substr(colon + 1);
    std::string known;
    for (const Kind& row : kinds()) {
        if (kind == row.name) return row.make(argument, error);
        known += std::string(known.empty() ? "" : ", ") + row.name + ":" + row.argument;
    }
    error = "unknown source \"" + kind + "\"; use one of " + known;
    return nullptr;
}

}  // namespace SourceRegistry
