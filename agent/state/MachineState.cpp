#include "agent/state/MachineState.h"

namespace {

template <class List>
const typename List::value_type* findKey(const List& list, const std::string& key) {
    for (const auto& each : list) {
        if (each.key == key) return &each;
    }
    return nullptr;
}

}  // namespace

const ArrayState* MachineState::findArray(const std::string& key) const {
    return findKey(arrays, key);
}

const DriveState* MachineState::findDrive(const std::string& key) const {
    return findKey(drives, key);
}

const EnclosureState* MachineState::findEnclosure(const std::string& key) const {
    return findKey(enclosures, key);
}
