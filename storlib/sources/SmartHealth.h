// SmartHealth: what the drives themselves predict, and how warm they are, asked of smartctl at a
// long interval.
//
//   SmartHealth health("/usr/sbin/smartctl", 1800);
//   health.step(drives);                    // at every poll; never waits
//   if (health.of(drive) == SmartHealth::kFailing) ...
//
// One program at a time asks one drive, and step() only looks whether it has ended, so that a
// drive that does not answer holds up nothing; after kPatienceSeconds the program is ended. Drives
// in standby are left asleep (-n standby) and keep what they said last.
//
// Threads  One at a time. Owns the program that it started. Errors: the health stays unknown, and
//          so does the temperature.
#ifndef STORLIB_SOURCES_SMARTHEALTH_H
#define STORLIB_SOURCES_SMARTHEALTH_H

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "storlib/sources/BlockDrives.h"

class SmartHealth {
public:
    enum Health { kUnknown, kGood, kFailing };

    static constexpr int kNoTemperature = 0x7fffffff;

    // What one answer says.
    struct Answer {
        Health health = kUnknown;
        int temperature = kNoTemperature;  // degrees Celsius
    };

    static constexpr std::int64_t kIntervalSeconds = 1800;
    static constexpr std::int64_t kPatienceSeconds = 30;

    SmartHealth(const std::string& program, std::int64_t secondsBetween);
    ~SmartHealth();
    SmartHealth(const SmartHealth&) = delete;
    SmartHealth& operator=(const SmartHealth&) = delete;

    // Where smartctl is; "" when it is not installed.
    static std::string findProgram();

    // Collects an answer that has come and starts the next question that is due.
    void step(const std::vector<LinuxDrive>& drives);
    Health of(const LinuxDrive& drive) const;
    // As of the last answer, which a drive in standby does not renew.
    int temperatureOf(const LinuxDrive& drive) const;
    bool asks() const { return child > 0; }

    // What `smartctl --json -H -A` printed; one that is cut short says nothing.
    static Answer parse(const std::string& text);

private:
    struct Entry {
        std::int64_t asked = 0;  // monotonic seconds
        Answer last;
    };

    void collect();
    void finish();
    void reap();
    void ask(const LinuxDrive& drive);

    std::string program;
    std::int64_t interval;
    std::map<std::string, Entry> entries;  // by place and serial number
    pid_t child = 0;
    std::vector<pid_t> ended;  // told to end, not yet gone
    int output = -1;
    std::string answer;
    std::string question;  // key of the drive that is being asked
    std::int64_t started = 0;
};

#endif  // STORLIB_SOURCES_SMARTHEALTH_H
