// WebLimits: what one client, one peer and all of them may take of the web server. A peer is an
// address, or a user of this machine.
//
// Plain values; any thread.
#ifndef AGENT_WEB_WEBLIMITS_H
#define AGENT_WEB_WEBLIMITS_H

#include <chrono>
#include <cstddef>

struct WebLimits {
    std::size_t clients = 64;
    std::size_t perPeer = 32;
    std::size_t streams = 16;
    std::size_t streamsPerPeer = 8;
    std::size_t head = 16 * 1024;                // bytes of a request
    std::size_t unread = 4 * 1024 * 1024;        // bytes of answers that a peer has yet to read
    std::size_t unreadOfAll = 32 * 1024 * 1024;  // of all peers together
    std::size_t streamAhead = 64 * 1024;         // bytes that a stream may be ahead of its reader
    std::chrono::milliseconds forHead{10000};
    std::chrono::milliseconds forNext{30000};    // an open connection without a request
    std::chrono::milliseconds forAnswer{60000};  // for reading it, and a stream's next part
    std::chrono::milliseconds beat{15000};       // a sign of life on a silent stream
    std::chrono::milliseconds tick{5000};        // how often a stream looks by itself
    std::chrono::milliseconds untilRest{5000};   // without a request or a stream
    std::chrono::milliseconds grace{1000};       // that everybody has before he may be sent away
    std::chrono::milliseconds farewell{2000};    // for the other side to hang up
};

#endif  // AGENT_WEB_WEBLIMITS_H
