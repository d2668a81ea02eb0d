// ServiceManager: what the service manager is told (Type=notify): that we are up, that we reload,
// one line on how it goes, and that the watching goes on. Without a service manager nothing
// happens.
//
//   ServiceManager service;
//   service.ready("watching 3 arrays, 12 drives");
//   service.polled();               // after each poll or other reading that has ended
//
// The watchdog is fed by polls that have ended and by nothing else: a daemon whose monitor hangs is
// restarted, however well its other threads run. A poll that ended with an error counts: the daemon
// lives and tells that, and to start it again would not make the storage readable.
//
// Threads  One at a time. Errors: none.
#ifndef AGENT_DAEMON_SERVICEMANAGER_H
#define AGENT_DAEMON_SERVICEMANAGER_H

#include <chrono>
#include <string>

class ServiceManager {
public:
    ServiceManager();

    void ready(const std::string& status);
    void status(const std::string& line);  // sent when it has changed
    void reloading();                      // ready() ends it
    void stopping();
    void polled();  // told when a quarter of the watchdog interval has passed

    bool hasWatchdog() const { return interval.count() != 0; }

private:
    void send(const std::string& text) const;

    std::chrono::microseconds interval{0};  // WATCHDOG_USEC; 0: no watchdog
    std::chrono::steady_clock::time_point lastFed;
    std::string shown;
};

#endif  // AGENT_DAEMON_SERVICEMANAGER_H
