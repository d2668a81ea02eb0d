// StateFile: a small file that is always whole: whoever opens it reads the old text or the new one.
//
//   StateFile("/run/raidwatch/state.json").write(text);     // 0644
//
// Written beside the file and renamed. It is not forced to the disk: after a power cut the next
// poll makes it anew.
//
// Threads  Any; one at a time per file. Errors: Failure, the old text stays.
#ifndef AGENT_DAEMON_STATEFILE_H
#define AGENT_DAEMON_STATEFILE_H

#include <chrono>
#include <string>
#include <utility>

class StateFile {
public:
    explicit StateFile(std::string nameIN) : name(std::move(nameIN)) {}

    void write(const std::string& text) const;
    // Does nothing when the file was written less than `interval` ago.
    void writeAtMost(const std::string& text, std::chrono::seconds interval) const;
    std::string read() const;  // "" when there is none

private:
    std::string name;
};

#endif  // AGENT_DAEMON_STATEFILE_H
