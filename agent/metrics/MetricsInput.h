// MetricsInput: all that the metrics are made of, as it stands at one moment.
//
// A plain value; MetricsReader gathers it, a test fills it by hand. Times in seconds since
// 1970-01-01 UTC unless a member says otherwise, sizes in bytes.
#ifndef AGENT_METRICS_METRICSINPUT_H
#define AGENT_METRICS_METRICSINPUT_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "agent/spool/EventTotal.h"
#include "agent/spool/Receipt.h"
#include "agent/state/MachineState.h"

struct MetricsInput {
    std::string version;          // of raidwatch
    std::int64_t now = 0;         // the moment of the question
    std::int64_t staleAfter = 0;  // a poll older than this says nothing about now

    // As the last completed poll saw it; `machine.polledAt` is 0 when there was none yet.
    MachineState machine;
    double pollSeconds = -1;                      // how long that poll took; -1: not known
    std::int64_t unspooled = 0;                   // events that could not yet be stored
    std::map<std::string, std::string> problems;  // of the daemon: topic and line

    bool spoolReadable = true;  // false: what follows is not known
    std::vector<Incident> openIncidents;
    std::vector<EventTotal> events;                 // recorded ever, tests and drills left out
    std::map<std::string, std::int64_t> badBlocks;  // reported ever, by key of the drive
    std::vector<SinkStatus> sinks;
    std::int64_t spoolBytes = 0;  // the database with its side files
    std::int64_t firstSequence = 0;
    std::int64_t lastSequence = 0;
};

#endif  // AGENT_METRICS_METRICSINPUT_H
