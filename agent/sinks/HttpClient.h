// HttpClient: sends one HTTP request and says what came of it.
//
//   HttpClient client({.caFile = "/etc/ssl/our-ca.pem"});
//   HttpClient::Request request;
//   request.url = "https://hooks.example.com/raid";
//   request.body = recordJson(record, id);
//   const HttpClient::Reply reply = client.send(request);
//   if (reply.status / 100 == 2) ...
//
// Certificates are always verified, http and https are the only protocols, and a redirect is not
// followed: whoever answers does not decide where an alert and its key go.
//
// Threads  Any number at once; send() shares nothing.
// Errors   A Reply with status 0 and the reason. Nothing is thrown.
// Secrets  Neither the address beyond host and port nor any of `secrets` appears in a Reply.
#ifndef AGENT_SINKS_HTTPCLIENT_H
#define AGENT_SINKS_HTTPCLIENT_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "agent/sinks/Sink.h"

class HttpClient {
public:
    struct Access {
        std::string caFile;  // issuers to trust instead of the system's; "" for those
        std::string certFile;
        std::string keyFile;     // "" when it is in certFile
        std::string unixSocket;  // connect to this and not to the host of the address
    };

    struct Request {
        std::string method = "POST";
        std::string url;
        std::vector<std::string> headers;  // "Name: value", free of line ends
        std::string body;                  // not sent with GET
        std::chrono::milliseconds timeout{30000};
        std::vector<std::string> secrets;           // masked wherever the other side repeats them
        const std::atomic<bool>* cancel = nullptr;  // true: give up; borrowed for the call
    };

    struct Reply {
        long status = 0;              // 0: no answer
        std::string line;             // first line of the answer, or why there is none; safe
        std::int64_t retryAfter = 0;  // seconds that the other side asks us to wait; 0 not said
    };

    explicit HttpClient(Access accessIN) : access(std::move(accessIN)) {}

    Reply send(const Request& request) const;

    // Connects, with TLS where the address says so, and sends nothing: "" or what is wrong.
    std::string reach(const std::string& url, std::chrono::milliseconds timeout) const;

    // What a sink answers its worker. 2xx is delivered. What a later try may cure is tried again:
    // no answer, 408, 425, 429, 5xx, and what speaks of our address or key and not of the record:
    // 3xx, 401, 403, 404, 407. Anything else is refused.
    static Answer verdict(const std::string& url, const Reply& reply);

private:
    Access access;
};

#endif  // AGENT_SINKS_HTTPCLIENT_H
