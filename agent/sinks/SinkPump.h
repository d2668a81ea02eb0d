// SinkPump: brings the records of the spool to one sink, step by step: skips what the sink is not
// told of, hands over what it is, keeps a receipt of each try, and moves the cursor. It has no
// thread and never waits; SinkWorker gives it both.
//
//   SinkPump pump("/var/lib/raidwatch/spool.db", settings, std::move(sink), note);
//   while (running) waitFor(pump.step());
//
// A failed try is repeated after a growing wait. A record that is refused, or too old after a
// failed try, is given up with a receipt that says so, and the next one follows. Each record gets
// at least one try, however old. The end of an incident is told to whom its beginning was told,
// whatever the severity of "normal" is.
//
// When the spool cannot be written (disk full, locked), what was delivered is remembered and noted
// down later, so it is not delivered again unless the agent ends before.
//
// Threads  One at a time, but for stop(). Errors: told through `note`, once for each trouble.
#ifndef AGENT_SINKS_SINKPUMP_H
#define AGENT_SINKS_SINKPUMP_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/BackOff.h"
#include "agent/sinks/Sink.h"
#include "agent/spool/Spool.h"

class SinkPump {
public:
    using Note = std::function<void(const std::string&)>;  // one line for people

    SinkPump(std::string spoolFileIN, SinkSettings settingsIN, std::unique_ptr<Sink> sinkIN,
             Note noteIN, BackOff::Random random);

    // Delivers all that is due. Returns in how many seconds to come back when nobody calls before:
    // 1 at the most, because the sink has its tick.
    std::int64_t step();

    // From any thread: step() returns after the delivery under way, and does nothing from now on.
    void stop();

    // From any thread: from its next step on the pump leaves the spool alone, with nothing open,
    // until it may come back. For who wants to be alone with a damaged spool. True when it has
    // left.
    bool stayAway(bool awayIN);
    // From any thread: whether it has found the spool damaged since the last call.
    bool takeDamage() { return metDamage.exchange(false); }

private:
    bool round();  // one read and one delivery; true: there may be more to do at once
    void openSpool();
    void beginAt(std::int64_t place);
    void lookAtOpenOnes();
    void settle();  // writes down what was delivered ahead of the cursor
    bool wanted(const Record& record);
    bool wasTold(const Record& resolved);
    std::vector<Record> nextRecords(std::vector<Record> read);
    void deliver(const std::vector<Record>& records);
    void take(const Record& record, const Answer& answer, bool isFirst);
    void failedTry(const Record& record, const Answer& answer);
    Receipt receipt(const Record& record, Receipt::Outcome outcome, const std::string& answer,
                    bool isFirst);
    bool tooOld(const Record& record) const;
    void spoolTrouble(const std::string& what);
    void spoolWell();

    const std::string spoolFile;
    const SinkSettings settings;
    const std::unique_ptr<Sink> sink;
    const Note note;
    const BackOff backOff;

    std::atomic<bool> stopping{false};
    std::atomic<bool> away{false};
    std::atomic<bool> hasLeft{false};  // since it was asked to
    std::atomic<bool> metDamage{false};

    std::unique_ptr<Spool> spool;          // opened by the first step, on its thread
    std::int64_t cursor = -1;              // -1: not read yet
    std::map<std::int64_t, Receipt> done;  // what is delivered or given up but not yet in the spool
    int tries = 0;                         // failed ones for the record behind the cursor
    std::int64_t nextTry = 0;              // seconds; 0: at once
    std::int64_t nextLook = 0;             // at the open incidents, seconds
    std::string trouble;                   // with the spool, as last told
    bool failing = false;                  // the last try failed, and that was told
};

#endif  // AGENT_SINKS_SINKPUMP_H
