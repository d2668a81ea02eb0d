// FleetSummary: the storage of one machine as its fleet needs to know it: the verdict, each array's
// redundancy, which models of drives it has, what is wrong. docs/formats/fleet.md describes its
// JSON.
//
//   link.put(bucket, machine, summaryOf(state, open).json());
//
// A plain value, a few kilobytes. Reading is lenient: what is missing stays empty. Texts from
// hardware are raw. Times in seconds. Any thread.
#ifndef AGENT_FLEET_FLEETSUMMARY_H
#define AGENT_FLEET_FLEETSUMMARY_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/incidents/Incident.h"
#include "agent/state/MachineState.h"
#include "agent/state/Verdict.h"

struct FleetSummary {
    struct Array {
        std::string name;
        std::string level;
        std::string state;
        int devices = 0;
        int working = 0;
        int survives = -1;
        int fullSurvives = -1;
        std::int64_t exposedSince = 0;

        bool isExposed() const { return exposedSince != 0; }
        // Drive failures that it survives less than it should; 0 where that is not known.
        int missing() const {
            return survives < 0 || fullSurvives < 0 ? 0 : fullSurvives - survives;
        }
    };
    struct Model {
        std::string vendor;
        std::string model;
        std::string firmware;
        int drives = 0;
    };
    struct Trouble {  // an open incident
        std::string object;
        std::string value;
        int severity = 0;
        std::int64_t since = 0;
        bool acknowledged = false;
    };

    std::string host;
    Verdict::Level level = Verdict::kUnknown;
    std::string sentence;  // safe to show when we made it; of another machine, make it safe
    std::vector<Array> arrays;
    int drives = 0;
    int failedDrives = 0;
    int predictedDrives = 0;
    std::vector<Model> models;
    std::vector<Trouble> troubles;  // the worst kMostTroubles
    int openIncidents = 0;

    static constexpr std::size_t kMostTroubles = 20;
    static constexpr std::size_t kMostModels = 50;
    static constexpr std::size_t kMostArrays = 200;

    std::string json() const;
    static FleetSummary of(const std::string& json);
};

FleetSummary summaryOf(const MachineState& state, const std::vector<Incident>& open);

#endif  // AGENT_FLEET_FLEETSUMMARY_H
