// What the daemon needs and does: spool, run folder, polls.
#include "agent/doctor/Doctor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <exception>

#include <nlohmann/json.hpp>

#include "agent/Duration.h"
#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "agent/daemon/Agent.h"
#include "agent/daemon/StateFile.h"
#include "agent/settings/Quantity.h"
#include "agent/spool/Spool.h"
#include "agent/spool/SqliteFile.h"
#include "agent/state/StateJson.h"
#include "util/Clock.h"

namespace {

constexpr char kStart[] = "systemctl start raidwatch; systemctl enable raidwatch keeps it so";

bool isThere(const std::string& name) {
    struct stat info {};
    return lstat(name.c_str(), &info) == 0;
}

// Whether a process has the daemon's lock. Only asked when no daemon answers: for a moment this
// would keep one that is just starting from having it.
bool isLocked(const std::string& file) {
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return false;
    const bool locked = flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    (void)close(fd);
    return locked;
}

}  // namespace

bool Doctor::daemonRuns() const {
    return Agent(settings).isRunning() || isLocked(places.lockFile());
}

void Doctor::lookAtDaemon() {
    if (!Agent(settings).isRunning()) {
        if (isLocked(places.lockFile())) {
            problem("daemon", "it has its lock, but does not answer",
                    "wait a moment if it is starting; otherwise systemctl restart raidwatch");
        } else {
            problem("daemon", "it does not run: nobody watches", kStart);
        }
        return;
    }
    std::int64_t polledAt = 0;
    try {
        const std::string text = StateFile(places.stateFile()).read();
        if (!text.empty()) {
            polledAt = stateFromJson(nlohmann::ordered_json::parse(text)).polledAt;
        }
    } catch (const std::exception& e) {
        problem("daemon", places.stateFile() + " cannot be read: " + e.what(),
                "systemctl restart raidwatch");
        return;
    }
    if (polledAt == 0) {
        advice("daemon", "it runs, but has not completed a look at the storage yet",
               "ask again in a minute");
        return;
    }
    const std::int64_t age = Clock::current().now() - polledAt;
    if (age > settings.staleAfter) {
        problem("daemon", "it runs, but its last completed look is " + durationText(age) + " old",
                "see journalctl -u raidwatch; systemctl restart raidwatch");
    } else {
        ok("daemon", "it runs; its last completed look is " + durationText(age) + " old");
    }
}

// Where it is, as the daemon says; without one there is none.
void Doctor::lookAtPage() {
    if (settings.httpListen.empty()) {
        ok("page", "switched off, listen in [http]");
        return;
    }
    if (!Agent(settings).isRunning()) return;
    const auto state =
        nlohmann::ordered_json::parse(StateFile(places.stateFile()).read(), nullptr, false);
    const auto daemon = state.is_object() ? state.value("daemon", nlohmann::ordered_json::object())
                                          : nlohmann::ordered_json::object();
    if (!daemon.is_object()) return;
    const auto problems = daemon.value("problems", nlohmann::ordered_json::object());
    const std::string trouble = textOf(problems, "http");
    if (!trouble.empty()) {
        problem("page", trouble, "see listen in [http] of raidwatch.toml; it is tried again");
    }
    std::string where;
    const auto pages = daemon.value("pages", nlohmann::ordered_json::array());
    for (const auto& page : pages) {
        if (page.is_string()) where += (where.empty() ? "" : ", ") + page.get<std::string>();
    }
    if (!where.empty()) ok("page", where);
}

void Doctor::lookAtSpool() {
    const std::string file = RunFolder::spoolFile(settings);
    if (access(settings.stateFolder.c_str(), F_OK) != 0) {
        problem("spool", "the folder " + settings.stateFolder + " is missing",
                "raidwatch doctor --fix makes it");
        return;
    }
    if (access(settings.stateFolder.c_str(), R_OK | W_OK | X_OK) != 0) {
        denied("spool", "cannot write to " + settings.stateFolder,
               "give it to root, or name another one, state in [paths]");
        return;
    }
    if (!isThere(file)) {
        ok("spool", "none yet; the daemon makes it");
        return;
    }
    try {
        const Spool spool(file, Spool::Access::kReadOnly);
        const std::string check =
            SqliteFile(file, SqliteFile::Mode::kRead).text("PRAGMA quick_check(1)");
        if (check != "ok") {
            problem("spool", file + " is damaged: " + check,
                    "restart the daemon: it sets the file aside and begins a new one");
            return;
        }
        ok("spool", file + " is sound; records " + std::to_string(spool.firstSequence()) + " to " +
                        std::to_string(spool.lastSequence()));
    } catch (const std::exception& e) {
        denied("spool", e.what(), "restart the daemon: it sets a damaged file aside");
    }
}

void Doctor::lookAtRunFolder() {
    if (access(settings.runFolder.c_str(), F_OK) != 0) {
        problem("run folder", settings.runFolder + " is missing",
                "raidwatch doctor --fix makes it; the service makes it by itself");
        return;
    }
    if (access(settings.runFolder.c_str(), W_OK | X_OK) != 0 && geteuid() == 0) {
        problem("run folder", "cannot write to " + settings.runFolder,
                "name another one, run in [paths]");
        return;
    }
    if (!daemonRuns()) {
        for (const std::string& socket : {places.controlSocket(), places.readSocket()}) {
            if (!isThere(socket)) continue;
            advice("run folder", socket + " is left over from a daemon that is gone",
                   "none needed; raidwatch doctor --fix removes it");
        }
        ok("run folder", settings.runFolder);
        return;
    }
    for (const std::string& socket : {places.controlSocket(), places.readSocket()}) {
        if (isThere(socket)) continue;
        problem("run folder", socket + " is missing although the daemon runs",
                "systemctl restart raidwatch");
        return;
    }
    ok("run folder", settings.runFolder + " with both sockets");
}
