// DebugFlag: the mask that says which diagnostics are written, and the words to ask it.
//
// One exported 32-bit word serves the whole process. It is a plain word, so that a host may read
// or set it by name, and it is zero at load: nothing is written until a monitor or the host sets
// it. Inside the library it is read and written through the functions below only, which makes it
// safe to use from any thread.
//
//   if (debugOn(kDebugEvent)) printEvent(event);
#ifndef UTIL_DEBUGFLAG_H
#define UTIL_DEBUGFLAG_H

#include <cstdint>

constexpr std::uint32_t kDebugError = 0xf00000;      // texts that begin "ERROR:"
constexpr std::uint32_t kDebugEvent = 0x0f0000;      // every offered event, into the event log
constexpr std::uint32_t kDebugTrace = 0x00f000;      // function entry and progress
constexpr std::uint32_t kDebugConstruct = 0x0000f0;  // construction and destruction

extern "C" {
extern std::uint32_t QELDebugFlag;
}

inline std::uint32_t debugMask() { return __atomic_load_n(&QELDebugFlag, __ATOMIC_RELAXED); }

inline void setDebugMask(std::uint32_t mask) {
    __atomic_store_n(&QELDebugFlag, mask, __ATOMIC_RELAXED);
}

// True when any of the bits of `mask` is set; one bit of a group switches the whole group on.
inline bool debugOn(std::uint32_t mask) { return (debugMask() & mask) != 0; }

#endif  // UTIL_DEBUGFLAG_H
