#include "storlib/RefSystem.h"

#include "storlib/System.h"

void RefSystem::Set(System* newSystem) {
    System* before = system;
    if (newSystem == before) return;
    if (newSystem != nullptr) newSystem->references.fetch_add(1, std::memory_order_relaxed);
    system = newSystem;
    if (before != nullptr && before->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete before;
    }
}
