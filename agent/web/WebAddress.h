// WebAddress: where the daemon listens for web clients, as [http] listen names it:
//
//   unix                   http.sock in the run folder
//   unix:/path/of/socket
//   127.0.0.1:8627         an address and a port; [::1]:8627 of IPv6; port 0: any that is free
//
// A plain value; any thread.
#ifndef AGENT_WEB_WEBADDRESS_H
#define AGENT_WEB_WEBADDRESS_H

#include <cstdint>
#include <string>

struct WebAddress {
    std::string written;  // as it stands in the configuration
    std::string socket;   // path of a Unix socket; "" for a port
    std::string host;     // "127.0.0.1", "::1"
    bool isV6 = false;
    std::uint16_t port = 0;

    bool isUnix() const { return socket.size() > 0; }
    // Only this machine can get there.
    bool isLocal() const;
    // For people: "http://127.0.0.1:8627/", or the path of the socket.
    std::string text() const;

    // "" and `result`, or what is wrong and what to write instead; `runFolder` for "unix".
    static std::string parse(const std::string& written, const std::string& runFolder,
                             WebAddress& result);
};

#endif  // AGENT_WEB_WEBADDRESS_H
