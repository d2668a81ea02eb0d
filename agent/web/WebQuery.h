// WebQuery: the question of a request, "?after=17&limit=100", checked: a name that nobody knows is
// a mistake that is told, as is a value that makes no sense.
//
//   const WebQuery query(request, {"after", "limit"});
//   filter.after = query.number("after", 0, kMost);
//
// Errors   WebQuery::Bad, one line; the answer is 400. Threads: any.
#ifndef AGENT_WEB_WEBQUERY_H
#define AGENT_WEB_WEBQUERY_H

#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/web/WebRequest.h"

class WebQuery {
public:
    class Bad : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    WebQuery(const WebRequest& requestIN, std::initializer_list<const char*> known);

    bool has(const char* name) const;
    std::string text(const char* name) const;  // "" when it is not given
    std::int64_t number(const char* name, std::int64_t otherwise, std::int64_t most) const;
    bool truth(const char* name, bool otherwise) const;  // "true" or "false"
    std::int64_t milliseconds(const char* name) const;   // of an RFC 3339 time; 0: not given
    std::vector<int> numbers(const char* name, int most) const;  // "401,404"

private:
    const WebRequest& request;
};

#endif  // AGENT_WEB_WEBQUERY_H
