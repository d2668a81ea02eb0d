// What the doctor does by himself.
#include "agent/doctor/Doctor.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "agent/Failure.h"
#include "agent/daemon/MachineLock.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned kClosedMode = 0750;  // what lies in it is for the group at most
constexpr unsigned kOpenMode = 0755;

class OpenLock {
public:
    explicit OpenLock(const std::string& file)
        : fd(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {}
    ~OpenLock() {
        if (fd >= 0) (void)close(fd);
    }
    OpenLock(const OpenLock&) = delete;
    OpenLock& operator=(const OpenLock&) = delete;

    const int fd;
};

bool isSocket(const std::string& name) {
    struct stat info {};
    return lstat(name.c_str(), &info) == 0 && S_ISSOCK(info.st_mode);
}

}  // namespace

std::vector<std::string> Doctor::repair() {
    if (!configuration.problems.empty()) {
        return {"nothing is repaired while the configuration is not in order"};
    }
    std::vector<std::string> done;
    (void)makeFolder(settings.stateFolder, kClosedMode, done);
    if (!settings.engineFolder.empty()) (void)makeFolder(settings.engineFolder, kClosedMode, done);
    if (!makeFolder(settings.runFolder, kOpenMode, done)) return done;

    const OpenLock lock(places.lockFile());
    if (lock.fd < 0) {
        done.push_back("cannot open " + places.lockFile() + " (" + std::strerror(errno) +
                       "), so lock and sockets are left alone; run as root");
        return done;
    }
    if (flock(lock.fd, LOCK_EX | LOCK_NB) != 0) {
        if (MachineLock::look().state == MachineLock::State::kStuck) {
            done.push_back("a daemon runs, so the machine-wide lock is left alone; stop it first");
        }
        return done;
    }
    clearAway(lock.fd, done);
    return done;
}

// True when the folder is there in the end.
bool Doctor::makeFolder(const std::string& name, unsigned mode,
                        std::vector<std::string>& done) const {
    std::error_code error;
    if (fs::is_directory(name, error)) return true;
    fs::create_directories(name, error);
    if (error) {
        done.push_back("cannot make the folder " + name + " (" + error.message() +
                       "); run as root, or name another one in [paths]");
        return false;
    }
    (void)chmod(name.c_str(), mode);
    const struct group* const group = getgrnam(settings.controlGroup.c_str());
    if (group != nullptr && geteuid() == 0) (void)!chown(name.c_str(), 0, group->gr_gid);
    done.push_back("made the folder " + name);
    return true;
}

// With the daemon's lock in our hand: no daemon runs, and none starts meanwhile.
void Doctor::clearAway(int lockFile, std::vector<std::string>& done) const {
    for (const std::string& socket : {places.controlSocket(), places.readSocket()}) {
        if (isSocket(socket) && unlink(socket.c_str()) == 0) {
            done.push_back("removed the socket " + socket + " of a daemon that is gone");
        }
    }
    // The file itself stays: two processes could lock two files of one name.
    struct stat info {};
    if (fstat(lockFile, &info) == 0 && info.st_size > 0 && ftruncate(lockFile, 0) == 0) {
        done.push_back("emptied " + places.lockFile() + ", which named a daemon that is gone");
    }
    try {
        const std::string line = MachineLock::repair(lockFile);
        if (!line.empty()) done.push_back(line);
    } catch (const Failure& e) {
        done.emplace_back(e.what());
    }
}
