// FleetVerb: `raidwatch fleet status|events|silent|top`: how all machines stand that send to one
// server. Works on any machine that may read there; no daemon is needed.
//
// `status` ends as `raidwatch status` does: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN, also when the
// server cannot be asked. Errors: Failure. Threads: one at a time.
#ifndef AGENT_COMMANDS_FLEETVERB_H
#define AGENT_COMMANDS_FLEETVERB_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agent/commands/Verb.h"
#include "agent/fleet/FleetAccess.h"
#include "agent/fleet/FleetLink.h"
#include "agent/fleet/FleetView.h"

class RecordPrinter;

class FleetVerb : public Verb {
public:
    const char* name() const override { return "fleet"; }
    const char* purpose() const override { return "all machines that send to one server"; }
    void declare(Flags& flags) override;
    int run(const Context& context) override;
    int misused(const Context& context, const std::string& why) const override;

private:
    void declareServer(Flags& flags);
    SinkSettings configuredSink(const Context& context) const;
    SinkSettings settingsGiven(const Context& context) const;
    void readMachines(FleetLink& link, const FleetNames& names, FleetView& view) const;
    void readFailures(FleetLink& link, const FleetNames& names, FleetView& view,
                      std::int64_t since) const;
    int status(const Context& context, FleetLink& link, const FleetNames& names) const;
    int events(const Context& context, FleetLink& link, const FleetNames& names) const;
    int silent(const Context& context, FleetLink& link, const FleetNames& names) const;
    int top(const Context& context, FleetLink& link, const FleetNames& names) const;
    std::string machineMeant(FleetLink& link, const FleetNames& names) const;
    bool isWanted(const std::string& messageSubject) const;
    void print(const FleetLink::StreamMessage& message, const FleetNames& names, FleetView& view,
               RecordPrinter& printer, const Context& context) const;

    std::string chosen;
    std::unique_ptr<Flags> statusFlags;  // to know what was meant when it was written wrongly
    bool json = false;

    // Where
    std::vector<std::string> servers;
    std::string sink;
    std::string credentials;
    std::string nkey;
    std::string nkeySeed;
    std::string user;
    std::string passwordFile;
    std::string tokenFile;
    std::string caFile;
    std::string certFile;
    std::string keyFile;
    std::string stream;
    std::string subject;

    // What
    std::string silentAfter = "5m";
    std::string within = "30d";
    int failuresFrom = 3;
    int limit = 20;
    std::string since = "1d";
    std::string severity;
    std::string machine;
    bool follow = false;
    bool notices = false;
};

#endif  // AGENT_COMMANDS_FLEETVERB_H
