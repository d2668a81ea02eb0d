// PageInput: everything that the page shows, gathered by whoever serves it: the machine as the last
// completed poll left it, and what the spool knows of incidents, records, sinks and our own
// absence.
//
//   PageInput input;
//   input.state = stateFromJson(...);
//   input.now = Clock::current().now();
//   input.incidents = spool.incidentsSince(input.now - PageInput::kResolvedFor);
//   input.records = spool.query(PageInput::recent(input.now));
//   input.gaps = watchGaps(spool.watchSpans(from), from, input.now);    // from: now - kTimeline
//   input.sinks = spool.sinkStatus();
//
// A plain value; any thread. Texts are raw, as in the state and in the spool: the page makes them
// safe. Times in seconds since 1970-01-01 UTC.
#ifndef AGENT_PAGE_PAGEINPUT_H
#define AGENT_PAGE_PAGEINPUT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "agent/commands/WatchGaps.h"
#include "agent/incidents/Incident.h"
#include "agent/incidents/Silence.h"
#include "agent/spool/Receipt.h"
#include "agent/spool/Record.h"
#include "agent/spool/RecordFilter.h"
#include "agent/state/MachineState.h"
#include "agent/state/TemperatureLog.h"

struct PageInput {
    static constexpr std::int64_t kTimeline = 48 * 3600;     // that the timeline covers
    static constexpr std::int64_t kResolvedFor = 24 * 3600;  // ended incidents are still shown
    static constexpr int kMostRecords = 5000;                // of the timeline
    static constexpr int kMostHistory = 500;                 // of one object

    MachineState state;
    std::int64_t now = 0;
    std::int64_t staleAfter = 300;  // a poll older than this says nothing about now
    std::string version;            // of raidwatch

    std::vector<Incident> incidents;    // open, or ended within kResolvedFor
    std::vector<Silence> silences;      // also those that have ended
    std::vector<Record> records;        // of the last kTimeline, ascending; see recent()
    std::vector<WatchGap> gaps;         // of the last kTimeline, ascending
    std::vector<SinkStatus> sinks;      // by name
    std::vector<std::string> problems;  // of the daemon itself, sentences
    std::vector<Record> history;        // for Page::object only, ascending; see historyOf()
    std::vector<TemperatureLog::Sample> temperatures;  // for Page::object only

    // What to ask the spool for.
    static RecordFilter recent(std::int64_t now);
    static RecordFilter historyOf(std::string_view key);

    std::int64_t pollAge() const;  // seconds; -1: no poll has completed yet
    bool isStale() const;          // nothing that is shown may be taken for what is now
};

#endif  // AGENT_PAGE_PAGEINPUT_H
