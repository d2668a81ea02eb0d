// SinkSet: all configured sinks at work, one worker each.
//
//   SinkSet sinks(folder + "/spool.db", note, maker);   // how a sink is made of its settings
//   sinks.reload(settings.sinks);       // at start, and when the configuration has changed
//   sinks.notify();                     // after each commit to the spool
//   sinks.stop();
//
// Threads  One thread calls; `note` is called from the workers' threads too, so it must bring its
//          own locking. A sink that hangs is left behind with its thread; whenever that one comes
//          back, `note` is not called any more once stop() or the destructor has returned. Errors:
//          Failure, when a sink cannot be made of its configuration; then everything is as it was
//          before. Trouble with the spool is told and survived.
#ifndef AGENT_SINKS_SINKSET_H
#define AGENT_SINKS_SINKSET_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/SinkFactory.h"
#include "agent/sinks/SinkWorker.h"
#include "agent/spool/Receipt.h"

class SinkSet {
public:
    using Maker = std::function<std::unique_ptr<Sink>(const SinkSettings&)>;

    SinkSet(std::string spoolFileIN, SinkPump::Note noteIN, Maker makerIN);
    ~SinkSet();  // stops
    SinkSet(const SinkSet&) = delete;
    SinkSet& operator=(const SinkSet&) = delete;

    // Sinks whose settings are the same go on undisturbed; the others are stopped, made anew or
    // forgotten. When it returns, each new sink has its place in the spool: it misses nothing that
    // is committed from then on.
    void reload(const std::map<std::string, SinkSettings>& wanted);

    void notify();
    // Asks all to stop, then waits for each: it takes as long as the slowest. False when one was
    // left behind: then its thread is still there.
    bool stop();
    bool stayAway(bool away);  // all of them; see SinkPump
    bool takeDamage();         // any of them; the same

    // Of the configured sinks, by name. A spool that cannot be read gives sinks that are not ok.
    std::vector<SinkStatus> status() const;

private:
    struct Running {
        SinkSettings settings;
        std::unique_ptr<SinkWorker> worker;
    };

    struct NoteGate;

    bool stopAll(std::vector<std::unique_ptr<SinkWorker>> workers);
    std::unique_ptr<SinkWorker> start(const SinkSettings& settings, std::unique_ptr<Sink> sink);
    void takePlaces(const std::map<std::string, SinkSettings>& wanted);

    const std::string spoolFile;
    const std::shared_ptr<NoteGate> gate;  // with the threads of sinks that were left behind
    const SinkPump::Note note;             // through the gate
    const Maker maker;
    std::map<std::string, Running> running;  // by name
    bool leftBehind = false;
};

// Whether two configurations make the same sink; where they stand does not count.
bool sameSink(const SinkSettings& a, const SinkSettings& b);

#endif  // AGENT_SINKS_SINKSET_H
