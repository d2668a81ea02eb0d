// HttpExchange: the protocol itself: takes a request's head apart, has it answered, and writes the
// answer as HTTP/1.1. It knows no sockets: bytes in, bytes out.
//
// It is implemented on cpp-httplib, in a module of its own (agent/web/module), because that library
// brings along more than an idle daemon needs. Who wants one asks for it when the first client
// comes:
//
//   const std::unique_ptr<HttpExchange> http = loadHttpExchange();
//   const HttpExchange::Result result = http->exchange(head, handler, false);
//
// Threads  One at a time. Errors: a head that makes no sense is answered with 400. What the handler
//          throws becomes 500.
#ifndef AGENT_WEB_HTTPEXCHANGE_H
#define AGENT_WEB_HTTPEXCHANGE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "agent/web/WebAnswer.h"
#include "agent/web/WebRequest.h"

class HttpExchange {
public:
    using Handler = std::function<WebAnswer(const WebRequest&)>;

    struct Result {
        std::string bytes;
        bool keepOpen = false;  // for another request
        std::int64_t streamAfter = WebAnswer::kNoStream;
    };

    virtual ~HttpExchange() = default;

    // `head` is everything up to the empty line, that one included. A request that has a body gets
    // no further than the handler, and the connection ends with the answer.
    virtual Result exchange(const std::string& head, const Handler& handler, bool closing) = 0;
};

// Failure, which names the package to install, when the module cannot be loaded.
std::unique_ptr<HttpExchange> loadHttpExchange();

#endif  // AGENT_WEB_HTTPEXCHANGE_H
