// ExecSink: runs a program for each record, or every program of a folder. Type "exec";
// docs/formats/sinks.md has its keys and what a hook is told.
//
//   command = ["/etc/raidwatch/hooks/page", "--urgent"]     # or  dir = "/etc/raidwatch/hooks.d"
//   style = "raidwatch"      # or "mdadm", "smartd"
//   user = "raidwatch"
//
// Up to `jobs` programs run side by side, for different objects; those of one object run one after
// the other, in the order of the records. What ends with status 0 has delivered. In our own style
// any other end is tried again, at most kMostTries times; of scripts made for other programs the
// status means nothing, so there only those are tried again that did not start or took too long.
//
// A daemon of root runs hooks as the user "raidwatch", or else "nobody", unless `user` names
// another. See HookCheck for what is refused, HookProcess for how a hook is run.
//
// Threads  As every sink; it makes threads of its own within a call.
// Errors   Answers; the constructor throws Failure for wrong settings.
#ifndef AGENT_SINKS_EXECSINK_H
#define AGENT_SINKS_EXECSINK_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/HookProcess.h"
#include "agent/sinks/HookStyle.h"
#include "agent/sinks/Sink.h"
#include "agent/state/MachineState.h"

class ExecSink : public Sink {
public:
    static constexpr int kMostTries = 10;

    // What is known of the machine now, for the device names of other styles; null when nothing
    // is. Called from the sink's threads.
    using StateSource = std::function<std::unique_ptr<MachineState>()>;

    explicit ExecSink(const SinkSettings& settings, StateSource stateIN = StateSource());
    ~ExecSink() override;

    bool wants(const Record& record) const override;
    Answer deliver(const Record& record, const std::string& id) override;
    std::size_t window() const override { return jobs; }
    std::vector<Answer> deliverAll(const std::vector<Parcel>& parcels) override;
    void cancel() override;
    std::string problem() override;

private:
    Answer failed(const std::string& id, const std::string& what);
    Answer ended(const HookResult& result, const std::string& program, const std::string& id);
    HookCall callFor(const Record& record, const std::string& id) const;
    std::vector<std::string> programs() const;
    std::string trouble();                        // with the user and all programs
    std::string findUser(HookUser& found) const;  // "" or what is wrong

    std::string name;
    std::vector<std::string> command;  // empty: dir is set
    std::string dir;
    std::string userName;
    HookStyle style;
    RecordChoice records;
    HookLimits limits;
    std::size_t jobs;
    StateSource state;
    int stopFd;  // readable once cancelled

    std::mutex mutex;                                   // guards what follows
    std::map<std::string, std::set<std::string>> done;  // programs that took a record, by its id
    std::map<std::string, int> tries;                   // failed ones, by the record's id
};

std::unique_ptr<Sink> makeExecSink(const SinkSettings& settings);

#endif  // AGENT_SINKS_EXECSINK_H
