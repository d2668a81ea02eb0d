#include "storlib/sources/JsonNode.h"

#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>
#include <set>

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::json;

// Where the parser is. A number ends at the character after it, so a line end that was just taken
// does not count yet.
struct Position {
    int line = 1;
    bool atLineEnd = false;

    int current() const { return atLineEnd ? line - 1 : line; }
};

class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* start, Position* counter) : at(start), position(counter) {}

    reference operator*() const { return *at; }
    CountingIterator& operator++() {
        position->atLineEnd = *at == '\n';
        if (position->atLineEnd) ++position->line;
        ++at;
        return *this;
    }
    bool operator==(const CountingIterator& other) const { return at == other.at; }
    bool operator!=(const CountingIterator& other) const { return at != other.at; }

private:
    const char* at;
    Position* position;
};

class TreeMaker : public nlohmann::json_sax<Json> {
public:
    explicit TreeMaker(const Position& counter) : position(counter) {}

    bool null() override {
        (void)add(JsonNode::Type::kNull);
        return true;
    }
    bool boolean(bool value) override {
        add(JsonNode::Type::kBool)->flag = value;
        return true;
    }
    bool number_integer(number_integer_t value) override { return addInteger(value); }
    bool number_unsigned(number_unsigned_t value) override {
        constexpr auto kMost =
            static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max());
        if (value > kMost) return number_float(static_cast<number_float_t>(value), {});
        return addInteger(static_cast<std::int64_t>(value));
    }
    bool number_float(number_float_t value, const string_t&) override {
        add(JsonNode::Type::kFloat)->number = value;
        return true;
    }
    bool string(string_t& value) override {
        add(JsonNode::Type::kText)->text = value;
        return true;
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(JsonNode::Type::kObject); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(JsonNode::Type::kList); }
    bool end_array() override { return close(); }
    bool key(string_t& value) override {
        if (!keys.back().insert(value).second) {
            error = at() + "\"" + value + "\" stands twice in one object; keep one of them";
            return false;
        }
        pendingKey = value;
        return true;
    }
    bool parse_error(std::size_t, const std::string&,
                     const nlohmann::detail::exception& e) override {
        // "[json.exception...] parse error at line 1, column 2: what is wrong"
        std::string what = e.what();
        for (char const* end : {"] ", "column "}) {
            const std::string::size_type place = what.find(end);
            if (place != std::string::npos) what = what.substr(place + std::strlen(end));
        }
        const std::string::size_type digits = what.find_first_not_of("0123456789");
        if (digits != 0 && what.compare(digits, 2, ": ") == 0) what = what.substr(digits + 2);
        // What was read last may be any bytes, and the line says where it is.
        error = at() + "is no valid JSON: " + what.substr(0, what.find("; last read"));
        return false;
    }

    std::unique_ptr<JsonNode> root;
    std::string error;

private:
    static constexpr std::size_t kDeepest = 64;

    std::string at() const { return "line " + std::to_string(position.current()) + ": "; }

    JsonNode* add(JsonNode::Type type) {
        auto node = std::make_unique<JsonNode>();
        JsonNode* made = node.get();
        made->type = type;
        made->line = position.current();
        if (stack.empty()) {
            root = std::move(node);
        } else if (stack.back()->is(JsonNode::Type::kObject)) {
            stack.back()->members.emplace_back(pendingKey, std::move(node));
        } else {
            stack.back()->items.push_back(std::move(node));
        }
        return made;
    }
    bool addInteger(std::int64_t value) {
        add(JsonNode::Type::kInteger)->integer = value;
        return true;
    }
    bool open(JsonNode::Type type) {
        if (stack.size() >= kDeepest) {
            error = at() + "is nested more than " + std::to_string(kDeepest) +
                    " levels deep; look for a bracket that is not closed";
            return false;
        }
        stack.push_back(add(type));
        keys.emplace_back();
        return true;
    }
    bool close() {
        stack.pop_back();
        keys.pop_back();
        return true;
    }

    const Position& position;
    std::vector<JsonNode*> stack;
    std::vector<std::set<std::string>> keys;  // of each object on the stack
    std::string pendingKey;
};

}  // namespace

std::unique_ptr<JsonNode> JsonNode::parse(const std::string& text, std::string& error) {
    Position position;
    TreeMaker maker(position);
    const char* begin = text.data();
    const bool parsed = Json::sax_parse(CountingIterator(begin, &position),
                                        CountingIterator(begin + text.size(), &position), &maker);
    if (parsed) return std::move(maker.root);
    error = maker.error;
    return nullptr;
}

const JsonNode* JsonNode::member(const std::string& name) const {
    for (const auto& [key, value] : members) {
        if (key == name) return value.get();
    }
    return nullptr;
}

char const* JsonNode::typeName(Type type) {
    switch (type) {
        case Type::kNull:
            return "null";
        case Type::kBool:
            return "true or false";
        case Type::kInteger:
            return "a whole number";
        case Type::kFloat:
            return "a number with a fraction or too many digits";
        case Type::kText:
            return "a text";
        case Type::kList:
            return "a list";
        case Type::kObject:
            return "an object";
    }
    return "";
}
