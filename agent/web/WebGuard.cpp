#include "agent/web/WebGuard.h"

#include <arpa/inet.h>

#include <algorithm>
#include <exception>

#include "agent/web/WebProblem.h"

namespace {

// Of every answer. The page has no inline style or script, and nothing of others.
constexpr std::pair<const char*, const char*> kHeaders[] = {
    {"Content-Security-Policy",
     "default-src 'none'; style-src 'self'; script-src 'self'; connect-src 'self'; "
     "img-src 'self' data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

std::string small(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

// "Host.example:8627" is "host.example", "[::1]:8627" is "[::1]"; "" when it is no host.
std::string nameIn(const std::string& host) {
    std::string name = small(host);
    const std::size_t bracket = name.rfind(']');
    const std::size_t colon = name.rfind(':');
    if (colon != std::string::npos && (bracket == std::string::npos || colon > bracket)) {
        const std::string port = name.substr(colon + 1);
        if (!std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            return "";
        }
        name.resize(colon);
    }
    if (!name.empty() && name.back() == '.') name.pop_back();
    return name;
}

bool isAddress(const std::string& name) {
    in_addr v4{};
    in6_addr v6{};
    if (inet_pton(AF_INET, name.c_str(), &v4) == 1) return true;
    return name.size() > 2 && name.front() == '[' && name.back() == ']' &&
           inet_pton(AF_INET6, name.substr(1, name.size() - 2).c_str(), &v6) == 1;
}

}  // namespace

void WebGuard::harden(WebAnswer& answer) {
    for (const auto& [name, value] : kHeaders) answer.headers.emplace_back(name, value);
}

bool WebGuard::admits(const WebRequest& request, WebAnswer& refusal) {
    if (request.method != "GET" && request.method != "HEAD") {
        refusal = webProblem(405, "this only answers GET and HEAD; nothing is changed here");
        refusal.headers.emplace_back("Allow", "GET, HEAD");
        return false;
    }
    if (request.count("host") != 1) {
        refusal = webProblem(400, "a request names one host");
        return false;
    }
    if (!isOurName(request.header("host"))) {
        refusal = webProblem(421, "this machine is not called \"" + request.header("host") +
                                      "\"; add the name to hosts in [http] of raidwatch.toml");
        return false;
    }
    if (!isOwnSite(request)) {
        refusal = webProblem(403, "pages of other sites get nothing here");
        return false;
    }
    return request.isLocal || !token.isAsked() || hasToken(request, refusal);
}

bool WebGuard::isOurName(const std::string& host) const {
    const std::string name = nameIn(host);
    if (name.empty()) return false;
    if (isAddress(name) || name == "localhost" || name == small(rules.hostName)) return true;
    return std::any_of(rules.hosts.begin(), rules.hosts.end(),
                       [&name](const std::string& one) { return small(one) == name; });
}

bool WebGuard::isOwnSite(const WebRequest& request) {
    const std::string site = request.header("sec-fetch-site");
    // A link or a bookmark: a whole page that is shown by itself, which others cannot read.
    const bool isVisit = request.header("sec-fetch-mode") == "navigate" &&
                         request.header("sec-fetch-dest") == "document";
    if (!site.empty() && site != "same-origin" && site != "none" && !isVisit) return false;
    if (!request.has("origin")) return true;
    const std::string host = small(request.header("host"));
    const std::string origin = small(request.header("origin"));
    return request.count("origin") == 1 &&
           (origin == "http://" + host || origin == "https://" + host);
}

bool WebGuard::hasToken(const WebRequest& request, WebAnswer& refusal) {
    const std::string given =
        request.count("authorization") == 1 ? tokenOf(request.header("authorization")) : "";
    try {
        switch (given.empty() ? WebToken::Answer::kWrong : token.check(given)) {
            case WebToken::Answer::kRight:
                return true;
            case WebToken::Answer::kTooMany:
                refusal = webProblem(429, "too many wrong tokens; try again in a second");
                refusal.headers.emplace_back("Retry-After", "1");
                return false;
            case WebToken::Answer::kWrong:
                break;
        }
    } catch (const std::exception& e) {
        refusal = webProblem(500, e.what());
        return false;
    }
    refusal = webProblem(401,
                         "give the token as \"Authorization: Bearer TOKEN\", or as the "
                         "password of any user; raidwatch config token makes one");
    refusal.headers.emplace_back("WWW-Authenticate",
                                 "Basic realm=\"raidwatch\", charset=\"UTF-8\"");
    return false;
}
