// WebRequest: one request of a web client, taken apart: GET /api/v1/events?after=17.
//
// A plain value. Texts are the client's and therefore hostile. Names of headers are in small
// letters.
#ifndef AGENT_WEB_WEBREQUEST_H
#define AGENT_WEB_WEBREQUEST_H

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

struct WebRequest {
    using Pairs = std::vector<std::pair<std::string, std::string>>;

    std::string method;
    std::string path;  // decoded, without the question
    Pairs headers;
    Pairs parameters;  // of the question, decoded

    // By whom and where, as the server knows it.
    std::string peer;       // "127.0.0.1", or "user 1000" on a Unix socket
    bool isLocal = false;   // by a Unix socket
    bool mayStream = true;  // there is a place left for a stream

    bool has(const std::string& name) const { return count(name) > 0; }
    // "" when there is none; the first of several.
    std::string header(const std::string& name) const { return first(headers, name); }
    std::size_t count(const std::string& name) const {
        return static_cast<std::size_t>(
            std::count_if(headers.begin(), headers.end(),
                          [&name](const auto& one) { return one.first == name; }));
    }
    std::string parameter(const std::string& name) const { return first(parameters, name); }

private:
    static std::string first(const Pairs& pairs, const std::string& name) {
        for (const auto& [key, value] : pairs) {
            if (key == name) return value;
        }
        return std::string();
    }
};

#endif  // AGENT_WEB_WEBREQUEST_H
