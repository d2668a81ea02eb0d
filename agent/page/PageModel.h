// PageModel: a PageInput with what every part of the page asks of it: who is who by key, what is
// worst, which drive is to be pulled and which must stay.
//
//   const PageModel model(input, reference);
//   if (model.markOf(drive) == PageModel::Mark::kPull) ...
//
// Both arguments are borrowed. Threads: any, once constructed.
#ifndef AGENT_PAGE_PAGEMODEL_H
#define AGENT_PAGE_PAGEMODEL_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "agent/EventReference.h"
#include "agent/page/PageInput.h"
#include "agent/state/Verdict.h"

class PageModel {
public:
    // Which drive a person may take out. kKeep: it belongs to an array that lacks redundancy, or
    // that cannot be reached, or nobody can tell; kReplace: it foretells its failure and its array
    // can do without it.
    enum class Mark { kNone, kPull, kReplace, kKeep };

    PageModel(const PageInput& inputIN, const EventReference& referenceIN);

    const PageInput& in() const { return input; }
    const Verdict& verdict() const { return judged; }
    bool isStale() const { return input.isStale(); }

    // Null when there is none.
    const ArrayState* array(std::string_view key) const;
    const DriveState* drive(std::string_view key) const;
    const EnclosureState* enclosure(std::string_view key) const;
    const ControllerState* controller(std::string_view key) const;
    // Whether there is a page of its own for it.
    bool knows(std::string_view key) const;

    // Worst first, and in their order among equals.
    const std::vector<const ArrayState*>& arrays() const { return worstFirst; }
    const std::vector<const DriveState*>& drivesIn(std::string_view enclosure) const;  // by slot
    Mark markOf(const DriveState& drive) const;

    // Open ones whose value is trouble, the most severe first, then the newest.
    std::vector<const Incident*> openIncidents() const;
    std::vector<const Incident*> endedIncidents() const;  // the newest first
    // The explanation of the event that decided an incident; null for none.
    const EventReference::Entry* explanation(int code) const;

private:
    void indexDrives();
    bool isThreatened(const DriveState& drive) const;

    const PageInput& input;
    const EventReference& reference;
    Verdict judged;
    std::unordered_map<std::string_view, const ArrayState*> arraysByKey;
    std::unordered_map<std::string_view, const DriveState*> drivesByKey;
    std::unordered_map<std::string_view, const EnclosureState*> enclosuresByKey;
    std::unordered_map<std::string_view, const ControllerState*> controllersByKey;
    std::unordered_map<std::string_view, std::vector<const DriveState*>> drivesByEnclosure;
    std::unordered_set<int> threatenedAdapters;  // hold an array that lacks redundancy
    std::vector<const ArrayState*> worstFirst;
};

#endif  // AGENT_PAGE_PAGEMODEL_H
