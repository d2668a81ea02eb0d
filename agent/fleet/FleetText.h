// FleetText: a fleet as people read it on a terminal of 80 columns or more: one line for all of it,
// then a table, worst first. Names and sentences of other machines are made safe (SafeText).
//
//   out.write(FleetText(style).status(machines, failures, 20, now));
//
// Pure; any thread. Times in seconds since 1970-01-01 UTC.
#ifndef AGENT_FLEET_FLEETTEXT_H
#define AGENT_FLEET_FLEETTEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "agent/EventText.h"
#include "agent/fleet/FleetView.h"

class FleetText {
public:
    explicit FleetText(const EventText::Style& styleIN) : style(styleIN) {}

    // "CRITICAL: 1000 machines: 2 critical, 1 unknown, 997 in order; 1 silent"
    static std::string headline(const FleetView::Counts& counts);

    // `most` rows at the most, and of machines that are in order none; a last line says how many
    // are left out.
    std::string status(const std::vector<FleetView::Machine>& machines,
                       const std::vector<FleetView::Failures>& failures, std::size_t most,
                       std::int64_t now) const;
    std::string silent(const std::vector<FleetView::Machine>& machines, std::int64_t now) const;
    std::string top(const std::vector<FleetView::Exposure>& exposures, std::size_t most,
                    std::int64_t now) const;
    std::string failures(const std::vector<FleetView::Failures>& rows, std::int64_t now) const;

private:
    std::string rows(const std::vector<std::string>& titles,
                     const std::vector<std::vector<std::string>>& cells) const;

    EventText::Style style;
};

#endif  // AGENT_FLEET_FLEETTEXT_H
