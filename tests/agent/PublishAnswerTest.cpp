#include "agent/nats/PublishAnswer.h"

#include <gtest/gtest.h>

namespace {

using Kind = FleetLink::Answer::Kind;

TEST(PublishAnswer, OnlyAPlaceInTheStreamMeansThatItIsKept) {
    const struct {
        const char* body;
        Kind kind;
        std::uint64_t position;
        const char* text;
    } rows[] = {
        {"{\"stream\":\"RAIDWATCH\",\"seq\":7}", Kind::kStored, 7, "RAIDWATCH"},
        {"{\"stream\":\"R\",\"seq\":7,\"duplicate\":true}", Kind::kDuplicate, 7, "R"},
        {"{\"error\":{\"code\":400,\"err_code\":10071,\"description\":\"wrong last\"}}",
         Kind::kLater, 10071, "wrong last (10071)"},
        {"{\"error\":{\"err_code\":10054,\"description\":\"too large\"}}", Kind::kNever, 10054,
         "too large (10054)"},
        {"", Kind::kLater, 0, "the server gave an answer that is no JSON"},
        {"[7]", Kind::kLater, 0, "the server gave an answer that is no JSON"},
        {"{}", Kind::kLater, 0, "the server does not say where it was stored"},
        {"{\"seq\":0}", Kind::kLater, 0, "the server does not say where it was stored"},
    };
    for (const auto& row : rows) {
        const FleetLink::Answer answer = publishAnswer(row.body);
        EXPECT_EQ(row.kind, answer.kind) << row.body;
        EXPECT_EQ(row.position, answer.position) << row.body;
        EXPECT_EQ(row.text, answer.text);
    }
}

// A server, or whoever is in its place, may send anything; nothing of it may be thrown at the
// daemon.
TEST(PublishAnswer, GivenMembersOfOtherTypesThenItIsSentAgain) {
    for (const char* body : {"{\"error\":7}", "{\"error\":{\"err_code\":\"x\",\"description\":7}}",
                             "{\"error\":{\"err_code\":-1}}", "{\"seq\":\"7\"}", "{\"seq\":-7}",
                             "{\"seq\":1e99}", "{\"error\":null,\"seq\":7}"}) {
        EXPECT_EQ(Kind::kLater, publishAnswer(body).kind) << body;
    }
    const FleetLink::Answer odd = publishAnswer("{\"seq\":7,\"duplicate\":\"x\",\"stream\":[]}");
    EXPECT_EQ(Kind::kStored, odd.kind);
    EXPECT_EQ("", odd.text);
}

}  // namespace
