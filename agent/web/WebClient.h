// WebClient: one connection: what has come of its next request, what it has yet to read, and until
// when it may take its time. It asks, reads the answer, asks again; or it reads a stream; at the
// end it is waited for to hang up.
//
//   WebClient client(fd, "127.0.0.1", false, limits);
//   client.receive();                                  // when poll() says so
//   if (client.asks()) client.say(answerTo(client.takeHead()));
//   client.send();
//   if (client.isOver(now)) ...                        // done, or out of time
//
// Nothing waits: what does not come or go at once is tried again when poll() says so.
//
// Threads  One at a time. Ownership: the descriptor, which is closed with it; `limits` outlives it.
// Errors   A connection that breaks is done.
#ifndef AGENT_WEB_WEBCLIENT_H
#define AGENT_WEB_WEBCLIENT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/web/WebLimits.h"

class WebClient {
public:
    using Time = std::chrono::steady_clock::time_point;
    enum class Phase { kAsking, kReading, kStream, kLeaving };

    WebClient(int fdIN, std::string peerIN, bool isLocalIN, const WebLimits& limitsIN);
    ~WebClient();
    WebClient(const WebClient&) = delete;
    WebClient& operator=(const WebClient&) = delete;

    short events() const;  // that poll() is to wait for
    void receive();
    void send();

    // A whole head of a request is there, and the answer before it has been read.
    bool asks() const { return phase == Phase::kAsking && !isWriting() && headSize() > 0; }
    bool isTooLong() const;  // what came so far is no request, and too much
    std::string takeHead();
    void say(const std::string& bytes);
    void sayLast(const std::string& bytes);  // then the connection ends
    // What was said last begins a stream.
    void beginStream(std::int64_t afterIN);
    void end();  // now; what it has not read is dropped

    bool isStream() const { return phase == Phase::kStream; }
    bool isWriting() const { return sent < out.size(); }
    std::size_t unread() const { return out.size() - sent; }
    bool isOver(Time now) const;
    Time due() const { return deadline; }  // of the phase, or of the next progress of a stream
    Time waitsSince() const { return since; }

    const int fd;
    const std::string peer;
    const bool isLocal;
    bool done = false;

    // A stream's, kept by who feeds it.
    std::int64_t after = 0;
    std::string standing;  // that it was told last
    Time quietSince;
    bool hungry = true;  // there may be more for it

private:
    void begin(Phase next, Time now, std::chrono::milliseconds patience);
    std::size_t headSize() const;  // 0: it has not come whole

    const WebLimits& limits;
    Phase phase = Phase::kAsking;
    Time since;  // when the phase began
    Time deadline;
    std::string in;
    std::string out;
    std::size_t sent = 0;
    bool closing = false;  // after `out`
};

#endif  // AGENT_WEB_WEBCLIENT_H
