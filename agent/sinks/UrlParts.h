// UrlParts: the pieces of an address that a sink was configured with. libcurl takes it apart, so
// that we see what it would connect to.
//
//   const UrlParts url("https://key@hooks.example.com/services/T0/B0/secret");
//   url.ok, url.scheme "https", url.place() "https://hooks.example.com"
//
// An address may carry a secret in its path (chat services do that): messages show place() only.
// Threads: any. Errors: `ok` is false for what is no address; LateLibrary::Missing where there is
// no libcurl.
#ifndef AGENT_SINKS_URLPARTS_H
#define AGENT_SINKS_URLPARTS_H

#include <string>

struct UrlParts {
    explicit UrlParts(const std::string& url);

    std::string place() const;  // scheme, host and port; "" when not ok
    bool loopback() const;      // this machine itself

    bool ok = false;
    std::string scheme;  // small letters
    std::string user;
    std::string password;
    std::string host;
    std::string port;  // "" when the address names none
};

#endif  // AGENT_SINKS_URLPARTS_H
