// HtmlReader: what a document of ours really holds: its tags with their attributes, and its text.
// Strict: every tag is closed in its order, every attribute is quoted, nothing is left unescaped.
//
//   const HtmlReader page(html);
//   EXPECT_EQ("", page.fault());
//   EXPECT_THAT(page.text(), HasSubstr("md0"));
#ifndef TESTS_AGENT_HTMLREADER_H
#define TESTS_AGENT_HTMLREADER_H

#include <cctype>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

class HtmlReader {
public:
    struct Tag {
        std::string name;
        std::map<std::string, std::string> attributes;  // unescaped
    };

    explicit HtmlReader(const std::string& htmlIN) : html(htmlIN) {
        const std::string doctype = "<!DOCTYPE html>\n";
        if (html.compare(0, doctype.size(), doctype) == 0) at = doctype.size();
        while (problem.empty() && at < html.size()) html[at] == '<' ? readTag() : readText();
        if (problem.empty() && !open.empty()) fail("not closed: " + open.back());
    }

    const std::string& fault() const { return problem; }  // "" for none
    const std::vector<Tag>& tags() const { return found; }
    // Of all elements, with a blank where one ends, and never two.
    const std::string& text() const { return shown; }

    std::vector<std::string> all(const std::string& attribute) const {
        std::vector<std::string> values;
        for (const Tag& tag : found) {
            const auto value = tag.attributes.find(attribute);
            if (value != tag.attributes.end()) values.push_back(value->second);
        }
        return values;
    }
    // How many elements have that word in their class.
    std::size_t countClass(const std::string& word) const {
        std::size_t count = 0;
        for (const std::string& value : all("class")) {
            if ((" " + value + " ").find(" " + word + " ") != std::string::npos) ++count;
        }
        return count;
    }
    std::size_t countTags(const std::string& name) const {
        std::size_t count = 0;
        for (const Tag& tag : found) count += tag.name == name ? 1 : 0;
        return count;
    }

private:
    void fail(const std::string& what) {
        if (problem.empty())
            problem = what + " at " + std::to_string(at) + ": " + html.substr(at, 60);
    }

    static bool isNameChar(char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-';
    }

    std::string readName() {
        const std::size_t from = at;
        while (at < html.size() && isNameChar(html[at])) ++at;
        if (at == from) fail("no name");
        return html.substr(from, at - from);
    }

    std::string unescaped(const std::string& raw) {
        static const std::map<std::string, char> names = {
            {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&#39;", '\''}};
        std::string plain;
        for (std::size_t i = 0; i < raw.size(); ++i) {
            const auto c = static_cast<unsigned char>(raw[i]);
            if (c < 0x20 || c == 0x7f || raw[i] == '>' || raw[i] == '"' || raw[i] == '\'') {
                fail("not escaped: " + raw);
            }
            if (raw[i] != '&') {
                plain += raw[i];
                continue;
            }
            const std::size_t end = raw.find(';', i);
            const auto name =
                end == std::string::npos ? names.end() : names.find(raw.substr(i, end - i + 1));
            if (name == names.end()) {
                fail("bare &: " + raw);
                return plain;
            }
            plain += name->second;
            i = end;
        }
        return plain;
    }

    void show(char c) {
        if (c != ' ' || (!shown.empty() && shown.back() != ' ')) shown += c;
    }

    void readText() {
        const std::size_t end = std::min(html.find('<', at), html.size());
        for (const char c : unescaped(html.substr(at, end - at))) show(c);
        at = end;
    }

    void readTag() {
        ++at;
        if (html[at] == '/') {
            ++at;
            const std::string name = readName();
            if (open.empty() || open.back() != name) fail("closed but not open: " + name);
            if (!open.empty()) open.pop_back();
            show(' ');
            if (html[at] != '>') fail("no end of tag");
            ++at;
            return;
        }
        Tag tag;
        tag.name = readName();
        while (problem.empty() && html[at] == ' ') readAttribute(tag);
        found.push_back(tag);
        if (html.compare(at, 2, "/>") == 0) {
            at += 2;
            return;
        }
        if (html[at] != '>') fail("no end of tag");
        ++at;
        open.push_back(tag.name);
    }

    void readAttribute(Tag& tag) {
        ++at;
        const std::string name = readName();
        if (html.compare(at, 2, "=\"") != 0) return fail("not quoted: " + name);
        at += 2;
        const std::size_t end = html.find('"', at);
        if (end == std::string::npos) return fail("no end of " + name);
        if (!tag.attributes.emplace(name, unescaped(html.substr(at, end - at))).second) {
            fail("twice: " + name);
        }
        at = end + 1;
    }

    const std::string html;
    std::size_t at = 0;
    std::string problem;
    std::vector<Tag> found;
    std::vector<std::string> open;
    std::string shown;
};

#endif  // TESTS_AGENT_HTMLREADER_H
