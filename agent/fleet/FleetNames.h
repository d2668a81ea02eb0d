// FleetNames: the names under which a machine is known at the server of its fleet.
//
//   const FleetNames names("RAIDWATCH", "raidwatch.v1");
//   names.subject(machine, record)    raidwatch.v1.<machine-id>.event.error
//   names.stateBucket()               RAIDWATCH_STATE, key <machine-id>
//   names.aliveBucket()               RAIDWATCH_ALIVE, keys <machine-id>.alive and .rival
//
// A name is made of the machine's id, which is a UUID, and of words of ours. Nothing that a device
// says about itself gets into one: it could hold the dots and stars that give subjects a meaning.
//
// A plain value; any thread. Errors: none; subjectOf an id that is no UUID is "".
#ifndef AGENT_FLEET_FLEETNAMES_H
#define AGENT_FLEET_FLEETNAMES_H

#include <string>
#include <vector>

#include "agent/fleet/FleetLink.h"
#include "agent/spool/Record.h"

class FleetNames {
public:
    static constexpr char kDefaultStream[] = "RAIDWATCH";
    static constexpr char kDefaultSubject[] = "raidwatch.v1";

    FleetNames(std::string streamIN, std::string prefixIN);

    const std::string& stream() const { return streamName; }
    std::string stateBucket() const { return streamName + "_STATE"; }
    std::string aliveBucket() const { return streamName + "_ALIVE"; }

    std::string subject(const std::string& machine, const Record& record) const;
    std::string everySubject() const { return prefix + ".>"; }
    // "*" for `machine`, `kind` or `severity` is any.
    std::string filter(const std::string& machine, const std::string& kind,
                       const std::string& severity) const;
    // The machine of a subject; "" when it is none of ours.
    std::string machineOf(const std::string& subject) const;

    static std::string aliveKey(const std::string& machine) { return machine + ".alive"; }
    static std::string rivalKey(const std::string& machine) { return machine + ".rival"; }
    // What the server sends to this machine alone begins so, so that its account may be held to it.
    static std::string inbox(const std::string& machine) { return "_INBOX_" + machine; }

    // "" or what is wrong with it.
    static std::string wrongStream(const std::string& name);
    static std::string wrongSubject(const std::string& name);
    // 36 characters, small hexadecimal digits and dashes in their places.
    static bool isMachineId(const std::string& text);

    // What to type to make all of it by hand.
    std::vector<std::string> commands(const FleetLink::Plan& plan) const;

private:
    std::string streamName;
    std::string prefix;
};

#endif  // AGENT_FLEET_FLEETNAMES_H
