// Doctor: is everything here that raidwatch needs to watch and to tell? One finding or more per
// topic, in the order in which somebody would look. The definitions are spread over files by topic:
// Doctor.cpp (the order, configuration, who is told), DoctorEngine.cpp, DoctorDaemon.cpp,
// DoctorMachine.cpp, DoctorRepair.cpp.
//
//   Doctor doctor(checkConfig(SettingsReader(file)));
//   for (const std::string& line : doctor.repair()) ...     // only when it was asked for
//   for (const Finding& finding : doctor.examine()) ...
//
// Looking works beside a running daemon, and as any user: what this user may not see is an advice.
// It changes nothing, but each sink is asked whether it could deliver: that may take as long as its
// time limit, and the file of a sink of type "file" is made.
//
// Threads  One at a time. Errors: none; they are findings.
#ifndef AGENT_DOCTOR_DOCTOR_H
#define AGENT_DOCTOR_DOCTOR_H

#include <string>
#include <vector>

#include "agent/commands/ConfigCheck.h"
#include "agent/daemon/RunFolder.h"
#include "agent/doctor/Finding.h"

class Doctor {
public:
    // `root` holds the /sys of the machine.
    explicit Doctor(ConfigCheck configurationIN, std::string rootIN = "/");

    std::vector<Finding> examine();

    // Does what is safe: makes folders that are missing and, while no daemon runs, frees a stuck
    // machine-wide lock and clears away sockets and the process number that were left behind.
    // Returns one line for each thing done or left alone.
    std::vector<std::string> repair();

private:
    void ok(const std::string& topic, const std::string& text);
    void advice(const std::string& topic, const std::string& text, const std::string& cure);
    void problem(const std::string& topic, const std::string& text, const std::string& cure);
    // A problem for root; others cannot judge what only the daemon may do.
    void denied(const std::string& topic, const std::string& text, const std::string& cure);

    void lookAtConfiguration();
    void lookAtPeople();
    void lookAtSinks();
    void lookAtDeliveries();

    std::string engineFolder() const;  // ends in "/"
    void lookAtCatalogue();
    void lookAtEngineFolder();
    void lookAtSnapshot();
    void lookAtEngineSettings();
    void lookAtLogs();
    void lookAtMachineLock();

    bool daemonRuns() const;
    void lookAtSpool();
    void lookAtRunFolder();
    void lookAtDaemon();
    void lookAtPage();

    void lookAtSpace();
    void lookAtClock();
    void lookAtSource();
    void lookAtTools();

    bool makeFolder(const std::string& name, unsigned mode, std::vector<std::string>& done) const;
    void clearAway(int lockFile, std::vector<std::string>& done) const;

    const ConfigCheck configuration;
    const AgentSettings& settings;  // of `configuration`
    const RunFolder places;
    const std::string root;
    std::vector<Finding> findings;
};

#endif  // AGENT_DOCTOR_DOCTOR_H
