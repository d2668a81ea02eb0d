#include "agent/web/WebGuard.h"

#include <gtest/gtest.h>

#include <map>

#include <nlohmann/json.hpp>

namespace {

using Pairs = WebRequest::Pairs;

WebRequest request(const std::string& method, Pairs headers) {
    WebRequest made;
    made.method = method;
    made.path = "/";
    made.headers = std::move(headers);
    return made;
}

const WebGuard::Rules kOpen{"", {"raid.example.net"}, "stor7"};

// 200 when it is admitted.
int statusOf(const WebRequest& asked, const WebGuard::Rules& rules = kOpen) {
    WebGuard guard(rules);
    WebAnswer refusal;
    return guard.admits(asked, refusal) ? 200 : refusal.status;
}

TEST(WebGuard, OnlyReads) {
    for (const char* method : {"GET", "HEAD"}) {
        EXPECT_EQ(200, statusOf(request(method, {{"host", "localhost"}}))) << method;
    }
    for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE", "get", ""}) {
        WebGuard guard(kOpen);
        WebAnswer refusal;
        EXPECT_FALSE(guard.admits(request(method, {{"host", "localhost"}}), refusal)) << method;
        EXPECT_EQ(405, refusal.status) << method;
        ASSERT_EQ(1u, refusal.headers.size());
        EXPECT_EQ("Allow", refusal.headers[0].first);
        EXPECT_EQ("GET, HEAD", refusal.headers[0].second);
    }
}

struct HostCase {
    const char* host;
    int status;
};

constexpr HostCase kHosts[] = {
    {"localhost", 200},
    {"localhost:8627", 200},
    {"LOCALHOST.", 200},
    {"127.0.0.1:8627", 200},
    {"192.0.2.7", 200},  // nobody can have an address lead elsewhere
    {"[::1]:8627", 200},
    {"[2001:db8::7]", 200},
    {"stor7", 200},
    {"Stor7:8627", 200},
    {"raid.example.net", 200},
    {"RAID.example.net:443", 200},
    {"", 421},
    {"evil.example.com", 421},
    {"localhost.evil.example.com", 421},
    {"evil.example.com:8627", 421},
    {"stor7.evil.example.com", 421},
    {"127.0.0.1.evil.example.com", 421},
    {"2130706433", 421},
    {"127.1", 421},
    {"[::1", 421},
    {"localhost:evil", 421},
    {"localhost@evil.example.com", 421},
    {"raid.example.net.evil.example.com", 421},
};

TEST(WebGuard, AnswersOnlyToNamesOfThisMachine) {
    for (const HostCase& c : kHosts) {
        EXPECT_EQ(c.status, statusOf(request("GET", {{"host", c.host}}))) << c.host;
    }
    EXPECT_EQ(400, statusOf(request("GET", {}))) << "no host";
    EXPECT_EQ(400, statusOf(request("GET", {{"host", "localhost"}, {"host", "evil"}})));
}

struct SiteCase {
    const char* when;
    Pairs headers;
    int status;
};

TEST(WebGuard, PagesOfOtherSitesGetNothing) {
    const SiteCase cases[] = {
        {"a program", {}, 200},
        {"our own page", {{"sec-fetch-site", "same-origin"}, {"sec-fetch-mode", "cors"}}, 200},
        {"typed by a person",
         {{"sec-fetch-site", "none"},
          {"sec-fetch-mode", "navigate"},
          {"sec-fetch-dest", "document"}},
         200},
        {"a link on another site",
         {{"sec-fetch-site", "cross-site"},
          {"sec-fetch-mode", "navigate"},
          {"sec-fetch-dest", "document"}},
         200},
        {"a frame in another site",
         {{"sec-fetch-site", "cross-site"},
          {"sec-fetch-mode", "navigate"},
          {"sec-fetch-dest", "iframe"}},
         403},
        {"a picture in another site",
         {{"sec-fetch-site", "cross-site"}, {"sec-fetch-mode", "no-cors"}},
         403},
        {"a script of another site",
         {{"sec-fetch-site", "cross-site"}, {"sec-fetch-mode", "cors"}},
         403},
        {"a script of a neighbour", {{"sec-fetch-site", "same-site"}}, 403},
        {"what nobody knows", {{"sec-fetch-site", "elsewhere"}}, 403},
        {"our own origin", {{"origin", "http://localhost:8627"}}, 200},
        {"our own origin behind a proxy", {{"origin", "https://localhost:8627"}}, 200},
        {"another origin", {{"origin", "http://evil.example.com"}}, 403},
        {"another port", {{"origin", "http://localhost:8080"}}, 403},
        {"no origin that can be named", {{"origin", "null"}}, 403},
        {"an empty origin", {{"origin", ""}}, 403},
        {"two origins",
         {{"origin", "http://localhost:8627"}, {"origin", "http://evil.example.com"}},
         403},
    };
    for (const SiteCase& c : cases) {
        SCOPED_TRACE(c.when);
        Pairs headers = c.headers;
        headers.emplace_back("host", "localhost:8627");
        EXPECT_EQ(c.status, statusOf(request("GET", headers)));
    }
}

TEST(WebGuard, GivenATokenThenPortsAskForItAndSocketsDoNot) {
    const std::string token = WebToken::make();
    const WebGuard::Rules rules{WebToken::hash(token), {}, "stor7"};
    EXPECT_EQ(401, statusOf(request("GET", {{"host", "localhost"}}), rules));
    EXPECT_EQ(401, statusOf(request("GET", {{"host", "localhost"}, {"authorization", "Bearer x"}}),
                            rules));
    EXPECT_EQ(
        200, statusOf(request("GET", {{"host", "localhost"}, {"authorization", "Bearer " + token}}),
                      rules));
    EXPECT_EQ(401, statusOf(request("GET", {{"host", "localhost"},
                                            {"authorization", "Bearer " + token},
                                            {"authorization", "Bearer x"}}),
                            rules));
    WebRequest local = request("GET", {{"host", "localhost"}});
    local.isLocal = true;
    EXPECT_EQ(200, statusOf(local, rules));
    local.headers = {{"host", "evil.example.com"}};
    EXPECT_EQ(421, statusOf(local, rules)) << "a tunnel may lead a browser here";
}

TEST(WebGuard, GivenNoTokenThenSaysHowToShowIt) {
    WebGuard guard({WebToken::hash("secret"), {}, "stor7"});
    WebAnswer refusal;
    ASSERT_FALSE(guard.admits(request("GET", {{"host", "localhost"}}), refusal));
    const auto problem = nlohmann::json::parse(refusal.body);
    EXPECT_EQ("Unauthorized", problem["title"]);
    ASSERT_EQ(1u, refusal.headers.size());
    EXPECT_EQ("WWW-Authenticate", refusal.headers[0].first);
    EXPECT_EQ("Basic realm=\"raidwatch\", charset=\"UTF-8\"", refusal.headers[0].second);
}

TEST(WebGuard, GivenManyWrongTokensThenSaysToComeAgain) {
    WebGuard guard({WebToken::hash("secret"), {}, "stor7"});
    WebAnswer refusal;
    for (int i = 0; i < 1000 && refusal.status != 429; ++i) {
        ASSERT_FALSE(guard.admits(
            request("GET", {{"host", "localhost"}, {"authorization", "Bearer guess"}}), refusal));
    }
    EXPECT_EQ(429, refusal.status);
}

TEST(WebGuard, HardensEveryAnswer) {
    WebAnswer answer;
    WebGuard::harden(answer);
    const std::map<std::string, std::string> headers(answer.headers.begin(), answer.headers.end());
    const std::string& policy = headers.at("Content-Security-Policy");
    EXPECT_EQ(0u, policy.find("default-src 'none'; style-src 'self'; script-src 'self'; "
                              "connect-src 'self'; "))
        << policy;
    EXPECT_NE(std::string::npos, policy.find("frame-ancestors 'none'"));
    EXPECT_EQ(std::string::npos, policy.find("unsafe"));
    EXPECT_EQ("nosniff", headers.at("X-Content-Type-Options"));
    EXPECT_EQ("no-referrer", headers.at("Referrer-Policy"));
    EXPECT_EQ("no-store", headers.at("Cache-Control"));
    EXPECT_EQ("DENY", headers.at("X-Frame-Options"));
}

}  // namespace
