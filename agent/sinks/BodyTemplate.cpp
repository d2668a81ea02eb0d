#include "agent/sinks/BodyTemplate.h"

#include <algorithm>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/EventNames.h"
#include "agent/sinks/CurlLibrary.h"
#include "agent/sinks/HostName.h"
#include "agent/spool/RecordJson.h"

namespace {

bool isNotice(const Record& record) { return record.kind == Record::Kind::kNotice; }

std::string numberText(std::int64_t number) {
    return number == QELEvent::kNotSet ? std::string() : std::to_string(number);
}

// Rows by name.
struct Field {
    const char* name;
    std::string (*of)(const Record& record, const std::string& id);
};
using Id = std::string;
constexpr Field kFields[] = {
    {"body", [](const Record& r, const Id&) { return isNotice(r) ? r.notice.body : r.event.text; }},
    {"code",
     [](const Record& r, const Id&) {
         return numberText(isNotice(r) ? r.notice.incident.code : r.event.eventCode);
     }},
    {"condition",
     [](const Record& r, const Id&) { return isNotice(r) ? r.notice.incident.condition : ""; }},
    {"eventId", [](const Record& r, const Id&) { return isNotice(r) ? "" : r.event.eventId; }},
    {"host", [](const Record&, const Id&) { return hostName(); }},
    {"id", [](const Record&, const Id& id) { return id; }},
    {"incident", [](const Record& r, const Id&) { return std::to_string(r.incident); }},
    {"json", [](const Record& r, const Id& id) { return recordJson(r, id); }},
    {"kind", [](const Record& r, const Id&) { return Id(isNotice(r) ? "notice" : "event"); }},
    {"notice",
     [](const Record& r, const Id&) { return Id(isNotice(r) ? noticeWord(r.notice.kind) : ""); }},
    {"object", [](const Record& r, const Id&) { return r.object; }},
    {"objectName", [](const Record& r, const Id&) { return r.objectName; }},
    {"origin", [](const Record& r, const Id&) { return Id(originWord(r.origin)); }},
    {"sequence", [](const Record& r, const Id&) { return std::to_string(r.sequence); }},
    {"severity", [](const Record& r, const Id&) { return severityWord(r.severity()); }},
    {"severityNumber", [](const Record& r, const Id&) { return std::to_string(r.severity()); }},
    {"subject",
     [](const Record& r, const Id&) { return isNotice(r) ? r.notice.subject : r.event.text; }},
    {"time", [](const Record& r, const Id&) { return rfc3339(r.at / 1000); }},
    {"value",
     [](const Record& r, const Id&) { return isNotice(r) ? r.notice.incident.value : ""; }},
};

int rowOf(const std::string& name) {
    const auto* const row = std::find_if(std::begin(kFields), std::end(kFields),
                                         [&](const Field& field) { return name == field.name; });
    return row == std::end(kFields) ? -1 : static_cast<int>(row - std::begin(kFields));
}

std::string listOfFields() {
    std::string all;
    for (const Field& field : kFields) all += (all.empty() ? "" : ", ") + std::string(field.name);
    return all;
}

std::string jsonEscaped(const std::string& text) {
    const std::string quoted =
        nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    return quoted.substr(1, quoted.size() - 2);
}

std::string percentEncoded(const std::string& text) {
    const CurlLibrary& library = CurlLibrary::get();
    char* const encoded = library.easyEscape(nullptr, text.data(), static_cast<int>(text.size()));
    if (encoded == nullptr) return std::string();
    std::string kept = encoded;
    library.release(encoded);
    return kept;
}

std::string onOneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, ' ');
    return text;
}

std::string escaped(const std::string& text, BodyTemplate::Escape escape) {
    switch (escape) {
        case BodyTemplate::Escape::kJson:
            return jsonEscaped(text);
        case BodyTemplate::Escape::kForm:
            return percentEncoded(text);
        case BodyTemplate::Escape::kHeader:
            return onOneLine(text);
        case BodyTemplate::Escape::kNone:
            break;
    }
    return text;
}

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) return std::string();
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

}  // namespace

BodyTemplate::BodyTemplate(const std::string& text, Escape escapeIN) : escape(escapeIN) {
    std::size_t at = 0;
    for (std::size_t open = text.find("{{"); open != std::string::npos;
         open = text.find("{{", at)) {
        const std::size_t close = text.find("}}", open);
        if (close == std::string::npos) {
            throw std::invalid_argument("\"{{\" without \"}}\" behind it; write {{subject}}");
        }
        pieces.push_back({text.substr(at, open - at), -1});
        const std::string name = trimmed(text.substr(open + 2, close - open - 2));
        const int row = rowOf(name);
        if (row < 0) {
            throw std::invalid_argument("there is no {{" + name + "}}; there are " +
                                        listOfFields());
        }
        pieces.push_back({name, row});
        at = close + 2;
    }
    pieces.push_back({text.substr(at), -1});
}

std::string BodyTemplate::fill(const Record& record, const std::string& id) const {
    std::string filled;
    for (const Piece& piece : pieces) {
        if (piece.field < 0) {
            filled += piece.text;
            continue;
        }
        const std::string value = kFields[piece.field].of(record, id);
        const bool whole = piece.text == "json" && escape == Escape::kJson;  // an object by itself
        filled += whole ? value : escaped(value, escape);
    }
    return filled;
}

std::vector<std::string> BodyTemplate::fields() {
    std::vector<std::string> names;
    for (const Field& field : kFields) names.emplace_back(field.name);
    return names;
}
