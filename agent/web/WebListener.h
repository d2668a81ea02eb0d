// WebListener: one socket on which web clients come. What cannot be opened, because another program
// has the port or the address is not there yet, is tried again every few seconds: the daemon goes
// on without.
//
//   WebListener listener(address);
//   if (listener.isDue(now)) listener.open(now);
//   if (listener.fd() < 0) say(listener.problem());
//   while (auto client = listener.accept(limits)) ...      // when poll() says so
//
// A Unix socket that was left behind is replaced, one on which somebody answers is not; every user
// may connect to it. It goes with the listener.
//
// Threads  One at a time. Errors: problem().
#ifndef AGENT_WEB_WEBLISTENER_H
#define AGENT_WEB_WEBLISTENER_H

#include <chrono>
#include <memory>
#include <string>

#include "agent/web/WebAddress.h"
#include "agent/web/WebClient.h"
#include "agent/web/WebLimits.h"

class WebListener {
public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::seconds kRetry{10};

    explicit WebListener(WebAddress addressIN) : wanted(std::move(addressIN)) {}
    ~WebListener();
    WebListener(const WebListener&) = delete;
    WebListener& operator=(const WebListener&) = delete;

    bool isDue(Time now) const { return descriptor < 0 && now >= next; }
    Time due() const { return next; }
    void open(Time now);

    // Who has come next; null when there is nobody, or no descriptor for him.
    std::unique_ptr<WebClient> accept(const WebLimits& limits) const;

    int fd() const { return descriptor; }  // -1: not open
    const WebAddress& address() const { return wanted; }
    std::string text() const;  // where it really listens
    const std::string& problem() const { return trouble; }

private:
    int openUnix() const;
    int openPort() const;

    WebAddress wanted;
    int descriptor = -1;
    Time next;
    std::string trouble;
};

#endif  // AGENT_WEB_WEBLISTENER_H
