#include "storlib/sources/JsonNode.h"

#include <gtest/gtest.h>

namespace {

using Type = JsonNode::Type;

std::unique_ptr<JsonNode> parsed(const std::string& text) {
    std::string error;
    auto node = JsonNode::parse(text, error);
    EXPECT_NE(nullptr, node) << error;
    return node;
}

TEST(JsonNode, GivenEachTypeThenKeepsItsValue) {
    const auto root = parsed(
        R"([null, true, -5, 9223372036854775807, 9223372036854775808, 1.5, "a\u00e9\n", [], {"k": 1}])");
    ASSERT_EQ(9u, root->items.size());
    EXPECT_TRUE(root->items[0]->is(Type::kNull));
    EXPECT_TRUE(root->items[1]->is(Type::kBool));
    EXPECT_TRUE(root->items[1]->flag);
    EXPECT_TRUE(root->items[2]->is(Type::kInteger));
    EXPECT_EQ(-5, root->items[2]->integer);
    EXPECT_TRUE(root->items[3]->is(Type::kInteger));
    EXPECT_EQ(INT64_MAX, root->items[3]->integer);
    // One more has no place in 64 bits with a sign and must not become another whole number.
    EXPECT_TRUE(root->items[4]->is(Type::kFloat));
    EXPECT_TRUE(root->items[5]->is(Type::kFloat));
    EXPECT_EQ(1.5, root->items[5]->number);
    EXPECT_TRUE(root->items[6]->is(Type::kText));
    EXPECT_EQ("a\xc3\xa9\n", root->items[6]->text);
    EXPECT_TRUE(root->items[7]->is(Type::kList));
    EXPECT_TRUE(root->items[8]->is(Type::kObject));
    EXPECT_EQ(1, root->items[8]->member("k")->integer);
    EXPECT_EQ(nullptr, root->items[8]->member("K"));
}

TEST(JsonNode, GivenValuesOnSeveralLinesThenEachKnowsItsOwn) {
    const auto root =
        parsed("{\n\"a\": 1,\n\"b\":\n2, \"c\": \"x\\ny\",\n\n\"d\": [\n3\n],\r\n\"e\":4}");
    EXPECT_EQ(1, root->line);
    EXPECT_EQ(2, root->member("a")->line);
    EXPECT_EQ(4, root->member("b")->line);
    EXPECT_EQ(4, root->member("c")->line);
    EXPECT_EQ(6, root->member("d")->line);
    EXPECT_EQ(7, root->member("d")->items[0]->line);
    EXPECT_EQ(9, root->member("e")->line);
}

TEST(JsonNode, GivenMembersThenKeepsTheirOrder) {
    const auto root = parsed(R"({"b": 1, "a": 2, "": 3})");
    ASSERT_EQ(3u, root->members.size());
    EXPECT_EQ("b", root->members[0].first);
    EXPECT_EQ("a", root->members[1].first);
    EXPECT_EQ("", root->members[2].first);
}

TEST(JsonNode, GivenOneKeyInTwoObjectsThenAccepts) {
    EXPECT_NE(nullptr, parsed(R"({"a": {"k": 1}, "b": {"k": 2}, "k": [{"k": 3}, {"k": 4}]})"));
}

TEST(JsonNode, GivenSixtyFourLevelsThenAcceptsAndWithOneMoreRefuses) {
    EXPECT_NE(nullptr, parsed(std::string(64, '[') + std::string(64, ']')));
    std::string error;
    EXPECT_EQ(nullptr, JsonNode::parse(std::string(65, '[') + std::string(65, ']'), error));
    EXPECT_EQ("line 1: is nested more than 64 levels deep; look for a bracket that is not closed",
              error);
}

struct Reject {
    const char* text;
    const char* beginning;
};

TEST(JsonNode, GivenNoJsonThenNamesTheLineWithoutWhatWasRead) {
    const Reject rejects[] = {
        {"", "line 1: is no valid JSON: syntax error"},
        {"[1,\n2,\n}", "line 3: is no valid JSON: syntax error"},
        {"[1]\n\n x", "line 3: is no valid JSON: syntax error"},
        {"{\"a\": 1,\n \"b\": 2,\n \"a\": 3}",
         "line 3: \"a\" stands twice in one object; keep one"},
        {"[\"\x01\"]", "line 1: is no valid JSON: syntax error"},
        {"[\"unclosed]", "line 1: is no valid JSON: syntax error"},
        {"\n\n[-]", "line 3: is no valid JSON: syntax error"},
        {"[1e400]", "line 1: is no valid JSON: number overflow"},
    };
    for (const Reject& c : rejects) {
        std::string error;
        EXPECT_EQ(nullptr, JsonNode::parse(c.text, error)) << c.text;
        EXPECT_EQ(0u, error.find(c.beginning)) << error;
        EXPECT_EQ(std::string::npos, error.find('\n')) << error;
        EXPECT_EQ(std::string::npos, error.find("last read")) << error;
    }
}

TEST(JsonNode, GivenATypeThenItHasANameForPeople) {
    EXPECT_STREQ("null", JsonNode::typeName(Type::kNull));
    EXPECT_STREQ("true or false", JsonNode::typeName(Type::kBool));
    EXPECT_STREQ("a whole number", JsonNode::typeName(Type::kInteger));
    EXPECT_STREQ("a number with a fraction or too many digits", JsonNode::typeName(Type::kFloat));
    EXPECT_STREQ("a text", JsonNode::typeName(Type::kText));
    EXPECT_STREQ("a list", JsonNode::typeName(Type::kList));
    EXPECT_STREQ("an object", JsonNode::typeName(Type::kObject));
}

}  // namespace
