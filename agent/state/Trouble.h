// Trouble: what of a machine's state is in trouble, and how bad that is. People get the worst
// first.
//
//   for (const DriveState* drive : worstFirst(state.drives)) ...
//
// Pure functions; any thread.
#ifndef AGENT_STATE_TROUBLE_H
#define AGENT_STATE_TROUBLE_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "agent/state/MachineState.h"

// The lower, the worse, over the states of all kinds of objects. What is in order has the highest.
std::size_t troubleRank(const std::string& state);

// "normal", "spare", "unused" and the like.
bool isInOrder(const std::string& state);

// What people are shown: the state, or "predicted" where a drive that still works foretells its
// failure.
std::string shownState(const DriveState& drive);
template <class Object>
std::string shownState(const Object& object) {
    return object.state;
}

// How many failures it still survives: of two degraded arrays the one with less is worse.
inline int reserveOf(const ArrayState& array) { return array.survives; }
template <class Object>
int reserveOf(const Object&) {
    return 0;
}

// The objects stay the caller's. Those that are equally bad keep their order.
template <class Object>
std::vector<const Object*> worstFirst(const std::vector<Object>& objects) {
    std::vector<const Object*> order;
    order.reserve(objects.size());
    for (const Object& object : objects) order.push_back(&object);
    std::stable_sort(order.begin(), order.end(), [](const Object* a, const Object* b) {
        const std::size_t left = troubleRank(shownState(*a));
        const std::size_t right = troubleRank(shownState(*b));
        if (left != right) return left < right;
        return !isInOrder(a->state) && reserveOf(*a) < reserveOf(*b);
    });
    return order;
}

#endif  // AGENT_STATE_TROUBLE_H
