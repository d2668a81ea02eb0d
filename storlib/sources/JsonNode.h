// JsonNode: a JSON value that knows the line it stands on, so that a complaint about it can say
// where it is.
//
//   std::string error;
//   std::unique_ptr<JsonNode> root = JsonNode::parse(text, error);
//   if (!root) ...                                  // error: "line 12: ..."
//   if (const JsonNode* name = root->member("name")) ... name->text
#ifndef STORLIB_SOURCES_JSONNODE_H
#define STORLIB_SOURCES_JSONNODE_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct JsonNode {
    // A whole number that does not fit into 64 bits with a sign is kFloat.
    enum class Type { kNull, kBool, kInteger, kFloat, kText, kList, kObject };

    // Null with `error` set when the text is no JSON, when an object has a key twice, or when it is
    // nested deeper than 64 levels.
    static std::unique_ptr<JsonNode> parse(const std::string& text, std::string& error);

    bool is(Type wanted) const { return type == wanted; }
    const JsonNode* member(const std::string& name) const;  // of an object; null when absent
    static char const* typeName(Type type);                 // for people: "a list"

    Type type = Type::kNull;
    int line = 0;  // counted from 1
    bool flag = false;
    std::int64_t integer = 0;
    double number = 0;
    std::string text;
    std::vector<std::unique_ptr<JsonNode>> items;                            // of a list
    std::vector<std::pair<std::string, std::unique_ptr<JsonNode>>> members;  // of an object
};

#endif  // STORLIB_SOURCES_JSONNODE_H
