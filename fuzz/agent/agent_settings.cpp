// Fuzzes raidwatch.toml and a file of conf.d beside it: the second begins behind a line of "####".
// Parsed code: agent/settings/

#include <sys/stat.h>

#include "agent/settings/SettingsReader.h"
#include "fuzz/support/Fuzz.h"

namespace {

constexpr char kBetween[] = "\n####\n";

std::string folder() {
    static const std::string made = [] {
        const std::string name = fuzz::inRoom("etc");
        (void)mkdir(name.c_str(), 0755);
        (void)mkdir((name + "/conf.d").c_str(), 0755);
        return name;
    }();
    return made;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::textOf(data, size);
    const std::size_t cut = text.find(kBetween);
    const std::string file = folder() + "/raidwatch.toml";
    const std::string second = folder() + "/conf.d/site.toml";
    fuzz::put(file, text.substr(0, cut));
    (void)unlink(second.c_str());
    if (cut != std::string::npos) fuzz::put(second, text.substr(cut + sizeof kBetween - 1));

    SettingsReader reader(file, true);
    try {
        const AgentSettings settings = reader.read();
        fuzz::must(!settings.sinks.empty(), "somebody is told");
        for (const auto& [name, value] : reader.values()) {
            fuzz::must(reader.origins().count(name) == 1, "a value comes from somewhere: " + name);
        }
    } catch (const SettingsError& e) {
        fuzz::must(!e.problems.empty(), "an error has a problem");
        for (const std::string& problem : e.problems) {
            fuzz::must(problem.compare(0, folder().size(), folder()) == 0,
                       "a problem names its file: " + problem);
            for (const char c : problem) {
                fuzz::must(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f,
                           "a problem is one line for a terminal: " + problem);
            }
        }
    }
    return 0;
}
