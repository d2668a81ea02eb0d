#include "agent/EventReference.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <tuple>

#include <nlohmann/json.hpp>

#include "agent/EventNames.h"
#include "agent/Failure.h"
#include "agent/Meanings.h"
#include "monitor/EventRows.h"
#include "nls/NLSParser.h"

namespace {

using Entry = EventReference::Entry;

struct Group {
    int first;  // code of the first event
    int last;
    const char* title;
};

constexpr Group kGroups[] = {
    {200, 299, "The monitor and controllers"},
    {300, 399, "Logical drives and their tasks"},
    {400, 499, "Physical drives"},
    {500, 599, "Enclosures"},
};

// The notice of a full queue has a text of its own, which no catalogue can change.
constexpr char kOverloadText[] = "QEL Event queue overload. Discarding events.";

bool comesBefore(const Entry& a, const Entry& b) {
    return std::tie(a.code, a.key, a.eventId, a.severity) <
           std::tie(b.code, b.key, b.eventId, b.severity);
}

bool isSame(const Entry& a, const Entry& b) { return !comesBefore(a, b) && !comesBefore(b, a); }

std::string lowered(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

void explain(Entry& entry, const nlohmann::json& meanings) {
    for (const nlohmann::json& meaning : meanings) {
        if (meaning.at("key") != entry.key || meaning.at("code") != entry.code ||
            meaning.at("eventId") != entry.eventId) {
            continue;
        }
        entry.when = meaning.at("when");
        entry.meaning = meaning.at("meaning");
        entry.cause = meaning.at("cause");
        entry.risk = meaning.at("risk");
        entry.action = meaning.at("action");
        return;
    }
}

std::string cell(const std::string& text) { return text.empty() ? "(none)" : "`" + text + "`"; }

std::string section(const Entry& entry) {
    std::string text = "### " + std::to_string(entry.code) + " " +
                       (entry.eventId.empty() ? entry.key : entry.eventId) + "\n\n";
    text += "| code | severity | identifier | catalogue key |\n|---|---|---|---|\n";
    text += "| " + std::to_string(entry.code) + " | " + std::to_string(entry.severity) + " (" +
            lowered(severityWord(entry.severity)) + ") | " + cell(entry.eventId) + " | " +
            cell(entry.key) + " |\n\n";
    text += "Text: " + cell(entry.text) + "\n\n";
    text += "- **When:** " + entry.when + "\n- **Meaning:** " + entry.meaning +
            "\n- **Likely cause:** " + entry.cause + "\n- **Risk:** " + entry.risk +
            "\n- **What to do:** " + entry.action + "\n\n";
    return text;
}

}  // namespace

EventReference::EventReference(const std::string& catalogue) {
    NLSParser texts(catalogue);
    try {
        const nlohmann::json meanings = nlohmann::json::parse(kMeanings);
        for (const EventRow* row : rows::kAllEventRows) {
            Entry entry;
            entry.key = row->key;
            entry.code = row->code;
            entry.severity = row->severity;
            entry.eventId = row->eventId;
            entry.text = entry.key.empty() ? kOverloadText : texts.get(entry.key);
            explain(entry, meanings);
            entries.push_back(entry);
        }
    } catch (const nlohmann::json::exception& e) {
        throw Failure(Failure::kFailed, std::string("the built-in explanations are damaged: ") +
                                            e.what() + "; install the program again");
    }
    std::sort(entries.begin(), entries.end(), comesBefore);
    entries.erase(std::unique(entries.begin(), entries.end(), isSame), entries.end());
}

std::vector<const Entry*> EventReference::find(const std::string& wanted) const {
    const std::string asked = lowered(wanted);
    std::vector<const Entry*> found;
    for (const Entry& entry : entries) {
        if (asked.empty()) continue;
        if (asked == std::to_string(entry.code) || asked == lowered(entry.eventId) ||
            asked == lowered(entry.key)) {
            found.push_back(&entry);
        }
    }
    return found;
}

std::string EventReference::json(const Entry& entry) {
    const nlohmann::ordered_json object = {
        {"key", entry.key},         {"code", entry.code},   {"severity", entry.severity},
        {"eventId", entry.eventId}, {"text", entry.text},   {"when", entry.when},
        {"meaning", entry.meaning}, {"cause", entry.cause}, {"risk", entry.risk},
        {"action", entry.action},
    };
    return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string EventReference::markdown() const {
    std::string text =
        "# Events\n\n"
        "Every event that the monitor can raise. Made from `monitor/EventRows.h`, the English\n"
        "catalogue and `catalogue/meanings.json`; `./test --approve` makes it anew, and a test\n"
        "compares it.\n\n"
        "Severity: 1 error, 2 warning, 3 informational, 4 a task, 5 percent of a task. In the "
        "texts\n`{0}`, `{1}` ... stand for the objects that an event names. Codes 299, 399 and 499 "
        "are the\ngeneric companions of another event about the same condition.\n\n";
    for (const Group& group : kGroups) {
        text += std::string("## ") + group.title + "\n\n";
        for (const Entry& entry : entries) {
            if (entry.code >= group.first && entry.code <= group.last) text += section(entry);
        }
    }
    while (text.size() > 1 && text[text.size() - 2] == '\n') text.pop_back();
    return text;
}
