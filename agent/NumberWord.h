// NumberWord: tables of numbers and the words for them.
//
//   constexpr NumberWord kStates[] = {{1, "ready"}, {2, "failed"}};
//   wordFor(kStates, 2, "unknown")    // "failed"
//   wordFor(kStates, 9, "unknown")    // "unknown"
//
// Pure; any thread.
#ifndef AGENT_NUMBERWORD_H
#define AGENT_NUMBERWORD_H

#include <cstddef>
#include <string>

struct NumberWord {
    int number;
    const char* word;
};

template <std::size_t count>
std::string wordFor(const NumberWord (&table)[count], int number, const std::string& otherwise) {
    for (const NumberWord& row : table) {
        if (row.number == number) return row.word;
    }
    return otherwise;
}

#endif  // AGENT_NUMBERWORD_H
