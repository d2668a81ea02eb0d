// FleetSeen: which records of a fleet have come already, to drop repeats. Only the newest are
// remembered, so a repeat that comes later than those is taken for new.
//
//   FleetSeen seen(250000);
//   if (seen.add("machine:17", hashOf(record)) == FleetSeen::kRepeat) return;
//
// Threads  One at a time; neither copied nor moved. Errors: none.
#ifndef AGENT_FLEET_FLEETSEEN_H
#define AGENT_FLEET_FLEETSEEN_H

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>

class FleetSeen {
public:
    enum What {
        kNew,
        kRepeat,
        kOther,  // the id has come before, with something else under it
    };

    explicit FleetSeen(std::size_t mostIN) : most(mostIN) {}
    FleetSeen(const FleetSeen&) = delete;
    FleetSeen& operator=(const FleetSeen&) = delete;

    What add(const std::string& id, std::size_t print) {
        const auto [place, isNew] = prints.emplace(id, print);
        if (!isNew) return place->second == print ? kRepeat : kOther;
        order.push_back(&place->first);
        if (order.size() > most) {
            prints.erase(prints.find(*order.front()));
            order.pop_front();
        }
        return kNew;
    }

private:
    const std::size_t most;
    std::unordered_map<std::string, std::size_t> prints;  // by id
    std::deque<const std::string*> order;                 // its keys, oldest first
};

#endif  // AGENT_FLEET_FLEETSEEN_H
