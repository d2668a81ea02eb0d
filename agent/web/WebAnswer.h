// WebAnswer: what a web client is told.
//
// A plain value.
#ifndef AGENT_WEB_WEBANSWER_H
#define AGENT_WEB_WEBANSWER_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct WebAnswer {
    static constexpr std::int64_t kNoStream = -1;

    int status = 200;
    std::string type;  // "application/json"
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;  // more of them

    // From 0: after the head the connection becomes a stream of what is recorded after this
    // sequence; `body` is how it begins.
    std::int64_t streamAfter = kNoStream;

    bool isStream() const { return streamAfter != kNoStream; }
};

#endif  // AGENT_WEB_WEBANSWER_H
