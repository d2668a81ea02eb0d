#include "agent/daemon/Door.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/support/TempDir.h"

namespace {

using Json = nlohmann::ordered_json;

// Says what it was asked for.
class Repeats : public Requests::Changes {
public:
    Json change(const Json& request) override { return request; }
};

class DoorTest : public testing::Test {
protected:
    DoorTest() { const Spool made(dir.file("spool.db")); }

    Json ask(Requests::Changes* changes, const std::string& line) {
        Door door({dir.file("spool.db"), dir.file("state.json"), changes});
        const std::string answer = door.answer(line, getuid());
        EXPECT_EQ(std::string::npos, answer.find('\n'));
        return Json::parse(answer);
    }
    static std::string me() {
        const passwd* const user = getpwuid(getuid());
        return user == nullptr ? "user " + std::to_string(getuid()) : user->pw_name;
    }

    TempDir dir;
    Repeats repeats;
};

TEST_F(DoorTest, GivenAChangeThenItIsSignedByWhoAsks) {
    EXPECT_EQ(me(), ask(&repeats, R"({"do": "ack", "id": 1})")["result"]["by"]);
    EXPECT_EQ("night shift (" + me() + ")",
              ask(&repeats, R"({"do": "ack", "id": 1, "by": "night shift"})")["result"]["by"]);
    EXPECT_EQ(me(), ask(&repeats, R"({"do": "ack", "by": ["x"]})")["result"]["by"]);
}

TEST_F(DoorTest, GivenAChangeAtTheDoorForQuestionsThenRefuses) {
    const Json answer = ask(nullptr, R"({"do": "ack", "id": 1})");
    EXPECT_EQ(false, answer["ok"]);
    EXPECT_EQ(2, answer["exit"]);
    EXPECT_NE(std::string::npos, answer["error"].get<std::string>().find("control socket"));
}

TEST_F(DoorTest, GivenNoSpoolThenSaysSoInsteadOfEnding) {
    Door door({dir.file("nowhere/spool.db"), dir.file("state.json"), nullptr});
    EXPECT_EQ(false, Json::parse(door.answer(R"({"do": "position"})", getuid()))["ok"]);
}

struct DeepCase {
    const char* when;
    std::string line;
};

std::string nested(std::size_t depth, const std::string& open, const std::string& close) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += open;
    text += "1";
    for (std::size_t i = 0; i < depth; ++i) text += close;
    return text;
}

// Writing or copying such a request would take a stack frame for each bracket.
TEST_F(DoorTest, GivenARequestNestedTooDeeplyThenRefusesIt) {
    const std::string brackets = nested(20000, "[", "]");
    const DeepCase cases[] = {
        {"lists", R"({"do": "ack", "x": )" + brackets + "}"},
        {"objects", R"({"do": "ack", "x": )" + nested(9000, R"({"a":)", "}") + "}"},
        {"just one too many", R"({"do": "ack", "x": )" + nested(16, "[", "]") + "}"},
        {"closing brackets in a text before",
         R"({"do": "ack", "a": ")" + std::string(20000, ']') + R"(", "x": )" + brackets + "}"},
        {"closing brackets in texts on the way",
         R"({"do": "ack", "x": )" + nested(9000, R"(["]",)", "]") + "}"},
        {"never closed", R"({"do": "ack", "x": )" + std::string(60000, '[')},
    };
    for (const DeepCase& c : cases) {
        SCOPED_TRACE(c.when);
        for (Requests::Changes* const changes : {static_cast<Requests::Changes*>(&repeats),
                                                 static_cast<Requests::Changes*>(nullptr)}) {
            const Json answer = ask(changes, c.line);
            EXPECT_EQ("the request is nested too deeply", answer["error"]);
            EXPECT_EQ(2, answer["exit"]);
        }
    }
}

TEST_F(DoorTest, GivenManyBracketsButNoDepthThenTakesTheRequest) {
    const Json texts =
        ask(&repeats, R"({"do": "ack", "comment": ")" + std::string(500, '[') + "\"}");
    EXPECT_EQ(true, texts["ok"]) << texts;
    std::string list = "[1";
    for (int i = 0; i < 500; ++i) list += R"(,{"location":{"channelID":1}})";
    EXPECT_EQ(
        501u,
        ask(&repeats, R"({"do": "drill", "events": )" + list + "]}")["result"]["events"].size());
    EXPECT_EQ(true, ask(&repeats, R"({"do": "ack", "x": )" + nested(15, "[", "]") + "}")["ok"]);
}

}  // namespace
