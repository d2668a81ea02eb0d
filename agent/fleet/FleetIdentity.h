// FleetIdentity: who this agent is to its fleet: the machine, and this one life of the agent.
//
// The machine id tells machines apart, until somebody copies a disk image: then two machines have
// one id. So each life of an agent has a name of its own, its instance, and the state folder keeps
// the instances that were lived from it. An instance that is not among them belongs to a copy.
//
//   FleetIdentity me("/var/lib/raidwatch");
//   me.begin();
//   if (!me.isOwn(seen.instance)) ...   // another machine has our id
//
// Threads  One at a time. Errors: std::system_error from begin() when the folder cannot be written.
#ifndef AGENT_FLEET_FLEETIDENTITY_H
#define AGENT_FLEET_FLEETIDENTITY_H

#include <cstdint>
#include <string>
#include <vector>

class FleetIdentity {
public:
    // "" for somebody who only looks: no machine, no instance.
    explicit FleetIdentity(std::string stateFolderIN) : folder(std::move(stateFolderIN)) {}

    // A new instance, noted down in the folder. Does nothing the second time.
    void begin();
    // Another instance from now on: what we were named after is in use elsewhere.
    void beginAnew();

    std::string machine() const;  // "" when the folder has none yet
    const std::string& instance() const { return current; }
    // An instance that was lived from this folder. Reads the folder again before it says no: two
    // sinks of one agent have one instance each.
    bool isOwn(const std::string& name);
    // The instance that began last on this folder, "" for none, and when (seconds).
    std::string latest() const;
    std::int64_t latestBegan() const;
    // The last record that was in the spool when the instance began; what is behind it cannot have
    // been sent before.
    std::int64_t firstUnsent() const { return lastAtBegin; }

private:
    std::vector<std::string> readAll() const;

    const std::string folder;
    std::string current;
    std::vector<std::string> lived;
    std::int64_t lastAtBegin = INT64_MAX;
};

#endif  // AGENT_FLEET_FLEETIDENTITY_H
