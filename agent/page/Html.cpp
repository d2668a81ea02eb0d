#include "agent/page/Html.h"

#include <stdexcept>

#include "agent/SafeText.h"

namespace {

bool isPlain(std::string_view text) {
    for (const char c : text) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                            (c >= '0' && c <= '9') || c == ' ' || (c >= '(' && c <= '/') ||
                            c == ':' || c == '_' || c == '#';
        if (!letter) return false;
    }
    return true;
}

}  // namespace

std::string Html::escaped(std::string_view raw) {
    if (isPlain(raw)) return std::string(raw);
    std::string text;
    for (const char c : safeText(std::string(raw))) {
        switch (c) {
            case '&':
                text += "&amp;";
                break;
            case '<':
                text += "&lt;";
                break;
            case '>':
                text += "&gt;";
                break;
            case '"':
                text += "&quot;";
                break;
            case '\'':
                text += "&#39;";
                break;
            default:
                text += c;
        }
    }
    return text;
}

void Html::begin(const char* tag, Attributes attributes) {
    out += '<';
    out += tag;
    for (const auto& [name, value] : attributes) {
        if (value.empty()) continue;
        out += ' ';
        out += name;
        out += "=\"";
        out += escaped(value);
        out += '"';
    }
}

Html& Html::open(const char* tag, Attributes attributes) {
    begin(tag, attributes);
    out += '>';
    tags.push_back(tag);
    return *this;
}

Html& Html::close() {
    if (tags.empty()) throw std::logic_error("nothing is open");
    out += "</";
    out += tags.back();
    out += '>';
    tags.pop_back();
    return *this;
}

Html& Html::empty(const char* tag, Attributes attributes) {
    begin(tag, attributes);
    out += "/>";
    return *this;
}

Html& Html::text(std::string_view raw) {
    out += escaped(raw);
    return *this;
}

Html& Html::element(const char* tag, Attributes attributes, std::string_view raw) {
    return open(tag, attributes).text(raw).close();
}

Html& Html::doctype() {
    out += "<!DOCTYPE html>\n";
    return *this;
}

Html& Html::append(const Html& part) {
    if (part.depth() != 0) throw std::logic_error("an element is still open");
    out += part.out;
    return *this;
}
