#include "agent/Languages.h"

#include <algorithm>
#include <filesystem>

#include "agent/EngineFolder.h"
#include "agent/Failure.h"

namespace fs = std::filesystem;

namespace Languages {

namespace {

constexpr char kPrefix[] = "RaidNLS.";
constexpr char kSuffix[] = ".properties";

std::string nameOf(const std::string& language) { return kPrefix + language + kSuffix; }

}  // namespace

std::string catalogue(const std::string& language) {
    const std::string standard = EngineFolder::shippedCatalogue();
    if (language.empty() || standard.empty()) return standard;
    std::error_code ignored;
    const std::vector<std::string> known = installed();
    if (std::find(known.begin(), known.end(), language) == known.end()) {
        std::string names;
        for (const std::string& code : known) names += (names.empty() ? "" : ", ") + code;
        throw Failure(Failure::kBadUse, "there is no catalogue for the language " + language +
                                            "; use one of " + names);
    }
    const fs::path named = fs::path(standard).parent_path() / nameOf(language);
    // The default is English unless the site has put another language in its place.
    return fs::exists(named, ignored) ? named.string() : standard;
}

std::vector<std::string> installed() {
    std::vector<std::string> found{"en"};
    const std::string standard = EngineFolder::shippedCatalogue();
    if (standard.empty()) return found;
    std::error_code error;
    const std::string prefix = kPrefix;
    const std::string suffix = kSuffix;
    for (const auto& entry : fs::directory_iterator(fs::path(standard).parent_path(), error)) {
        const std::string name = entry.path().filename().string();
        if (name.size() <= prefix.size() + suffix.size() - 1) continue;
        if (name.compare(0, prefix.size(), prefix) != 0) continue;
        if (name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) continue;
        const std::string code =
            name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
        if (!code.empty() && code != "en") found.push_back(code);
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace Languages
