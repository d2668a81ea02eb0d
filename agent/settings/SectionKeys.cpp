#include "agent/settings/SectionKeys.h"

#include "agent/settings/Quantity.h"

namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kYear = 366 * kDay;

SettingValue textValue(const std::string& text) {
    SettingValue value;
    value.kind = SettingValue::Kind::kText;
    value.text = text;
    return value;
}

}  // namespace

const std::vector<SectionKey>& sectionKeys() {
    // clang-format off
    static const std::vector<SectionKey> rows = {
        {{"monitor", "source", SettingKey::kText, false, "where the storage is read from: linux, linux:ROOT, replay:PATH or scenario:FILE", "", 0, 0, ""}, &AgentSettings::source},
        {{"monitor", "language", SettingKey::kText, false, "of the message texts, as de or zh_CN; \"\" as installed", "", 0, 0, ""}, &AgentSettings::language},
        {{"paths", "state", SettingKey::kPath, false, "the folder of the spool", "", 0, 0, ""}, &AgentSettings::stateFolder},
        {{"paths", "run", SettingKey::kPath, false, "the folder of the sockets and of state.json", "", 0, 0, ""}, &AgentSettings::runFolder},
        {{"paths", "engine", SettingKey::kPath, false, "the folder of the engine's files; \"\" beside its library", "", 0, 0, ""}, &AgentSettings::engineFolder},
        {{"access", "control_group", SettingKey::kText, false, "the group whose members may acknowledge and silence", "", 0, 0, ""}, &AgentSettings::controlGroup},
        {{"spool", "keep", SettingKey::kSeconds, false, "how long delivered records are kept", "", 3600, 100 * kYear, ""}, &AgentSettings::keep},
        {{"incidents", "flap_window", SettingKey::kSeconds, false, "a value that changes too often within this time is flapping", "", kMinute, 7 * kDay, ""}, &AgentSettings::flapWindow},
        {{"incidents", "flap_changes", SettingKey::kNumber, false, "how many changes within the window are too many", "", 2, 1000, ""}, &AgentSettings::flapChanges},
        {{"incidents", "reminders", SettingKey::kSecondsList, false, "the waits between two reminders of an open incident; the last one goes on; [] for none", "", kMinute, kYear, ""}, &AgentSettings::reminders},
        {{"incidents", "stale_after", SettingKey::kSeconds, false, "a poll that is older says nothing about now", "", 10, kDay, ""}, &AgentSettings::staleAfter},
        {{"http", "listen", SettingKey::kList, false, "where the page is served: unix (http.sock in the run folder), unix:/PATH, ADDRESS:PORT; [] for nowhere; see http.md", "", 0, 0, ""}, &AgentSettings::httpListen},
        {{"http", "token_hash", SettingKey::kText, false, "the hash of the token that must be shown on every port, made by raidwatch config token; no port beyond this machine is opened without one", "", 0, 0, ""}, &AgentSettings::httpTokenHash},
        {{"http", "hosts", SettingKey::kList, false, "names of this machine that a browser may call it by, besides its host name, localhost and addresses", "", 0, 0, ""}, &AgentSettings::httpHosts},
    };
    // clang-format on
    return rows;
}

const std::vector<Section>& sections() {
    static const std::vector<Section> names = {
        {"monitor", "what is watched"},
        {"paths", "where files lie"},
        {"access", "who may change something"},
        {"spool", "what is kept"},
        {"incidents", "when people are told, and how often"},
        {"http", "the page, its API and the metrics; they change nothing"},
    };
    return names;
}

SettingValue memberValue(const SectionKey& key, const AgentSettings& settings) {
    if (const auto* text = std::get_if<std::string AgentSettings::*>(&key.member)) {
        return textValue(settings.**text);
    }
    if (const auto* seconds = std::get_if<std::int64_t AgentSettings::*>(&key.member)) {
        return textValue(writtenDuration(settings.**seconds));
    }
    SettingValue value;
    if (const auto* number = std::get_if<int AgentSettings::*>(&key.member)) {
        value.kind = SettingValue::Kind::kNumber;
        value.number = settings.**number;
        return value;
    }
    value.kind = SettingValue::Kind::kList;
    if (const auto* words = std::get_if<std::vector<std::string> AgentSettings::*>(&key.member)) {
        for (const std::string& word : settings.**words) value.items.push_back(textValue(word));
        return value;
    }
    for (const std::int64_t seconds :
         settings.*std::get<std::vector<std::int64_t> AgentSettings::*>(key.member)) {
        value.items.push_back(textValue(writtenDuration(seconds)));
    }
    return value;
}
