#include "agent/daemon/ServiceManager.h"

#include <time.h>

#include <cstdint>

#include <systemd/sd-daemon.h>

#include "agent/SafeText.h"

ServiceManager::ServiceManager() {
    std::uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) > 0) {
        interval = std::chrono::microseconds(microseconds);
    }
}

void ServiceManager::ready(const std::string& status) {
    shown = safeText(status);
    send("READY=1\nSTATUS=" + shown);
    lastFed = std::chrono::steady_clock::now();  // READY starts the watchdog
}

void ServiceManager::status(const std::string& line) {
    const std::string safe = safeText(line);
    if (safe == shown) return;
    shown = safe;
    send("STATUS=" + shown);
}

void ServiceManager::reloading() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t microseconds =
        static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
    send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

void ServiceManager::stopping() { send("STOPPING=1"); }

void ServiceManager::polled() {
    if (!hasWatchdog()) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastFed < interval / 4) return;
    lastFed = now;
    send("WATCHDOG=1");
}

void ServiceManager::send(const std::string& text) const { (void)sd_notify(0, text.c_str()); }
