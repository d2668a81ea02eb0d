#include "agent/web/WebToken.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <thread>

namespace {

using Answer = WebToken::Answer;

TEST(WebToken, MakesADifferentTokenEachTimeThatNeedsNoQuotes) {
    std::set<std::string> made;
    for (int i = 0; i < 100; ++i) {
        const std::string token = WebToken::make();
        EXPECT_EQ(42u, token.size());
        EXPECT_EQ(std::string::npos,
                  token.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                          "0123456789-_"))
            << token;
        made.insert(token);
    }
    EXPECT_EQ(100u, made.size());
}

TEST(WebToken, TheSameTokenHasADifferentHashEachTimeAndBothFit) {
    const std::string token = WebToken::make();
    const std::string one = WebToken::hash(token);
    const std::string two = WebToken::hash(token);
    EXPECT_NE(one, two);
    EXPECT_EQ("", WebToken::problemOf(one));
    EXPECT_EQ(Answer::kRight, WebToken(one).check(token));
    EXPECT_EQ(Answer::kRight, WebToken(two).check(token));
}

TEST(WebToken, RefusesWhatIsNotTheToken) {
    const std::string token = WebToken::make();
    WebToken guard(WebToken::hash(token));
    for (const std::string& wrong : {std::string(), token + "x", token.substr(1), std::string("x"),
                                     token + std::string(1, 0), std::string(100000, 'x')}) {
        EXPECT_EQ(Answer::kWrong, guard.check(wrong)) << wrong.substr(0, 60);
    }
    EXPECT_EQ(Answer::kRight, guard.check(token));
    EXPECT_EQ(Answer::kWrong, guard.check(token + "x")) << "also when the right one is known";
}

TEST(WebToken, GivenManyWrongOnesThenLooksAtNoMoreButKnowsTheRightOne) {
    const std::string token = WebToken::make();
    WebToken guard(WebToken::hash(token));
    EXPECT_EQ(Answer::kRight, guard.check(token));
    Answer last = Answer::kWrong;
    for (int i = 0; i < 1000 && last != Answer::kTooMany; ++i) last = guard.check("guess");
    EXPECT_EQ(Answer::kTooMany, last);
    EXPECT_EQ(Answer::kRight, guard.check(token));
}

TEST(WebToken, TakesTheHashesOfOtherMethodsToo) {
    // mkpasswd -m sha512crypt and -m yescrypt of "secret".
    const char* const sha512 =
        "$6$abcdefgh$/8EizoWYUFSUnQAk9z6Zuq06kgrBtpDtdKzFyBN69UnZXjqwcQcEkIdqTxJCwDjBZ7w.MQdRqWcXeP"
        "whxFVRz0";
    EXPECT_EQ("", WebToken::problemOf(sha512));
    EXPECT_EQ(Answer::kWrong, WebToken(sha512).check("other"));
}

TEST(WebToken, NamesWhatIsNoHash) {
    const char* const kBad[] = {
        "",    "secret",        "$1$abc$xyz",
        "$5$", "$5$salt$short", "$5$salt$with blank in it, and it is quite long, too, so there"};
    for (const char* hash : kBad) {
        EXPECT_EQ("is no hash of a token; raidwatch config token makes one",
                  WebToken::problemOf(hash))
            << hash;
    }
}

struct HeaderCase {
    const char* header;
    const char* token;
};

constexpr HeaderCase kHeaders[] = {
    {"Bearer abc", "abc"},
    {"bearer  abc", "abc"},
    {"BEARER abc", "abc"},
    {"Basic dXNlcjphYmM=", "abc"},  // user:abc
    {"basic OmFiYw==", "abc"},      // :abc
    {"Basic dTphOmI=", "a:b"},      // u:a:b
    {"Basic dXNlcg==", ""},         // user
    {"Basic ????", ""},
    {"Basic ", ""},
    {"Bearer", ""},
    {"Bearer ", ""},
    {"Digest abc", ""},
    {"abc", ""},
    {"", ""},
};

TEST(WebToken, FindsTheTokenInAHeader) {
    for (const HeaderCase& c : kHeaders) EXPECT_EQ(c.token, tokenOf(c.header)) << c.header;
}

}  // namespace
