// slotOf: the place of a virtual operation in its class's table. Hosts that were built against a
// header call by place, so tests pin the order of declarations.
//
//   EXPECT_EQ(2U, slotOf(&RaidObject::isInstanceOf));  // the destructor takes 0 and 1
#ifndef TESTS_SUPPORT_SLOTOF_H
#define TESTS_SUPPORT_SLOTOF_H

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

// A pointer to a virtual member holds 1 + the offset of its entry in the table.
template <class Member>
std::size_t slotOf(Member member) {
    std::array<std::uintptr_t, 2> words{};
    static_assert(sizeof(member) == sizeof(words), "another way of pointing to members");
    std::memcpy(words.data(), &member, sizeof(words));
    EXPECT_EQ(1U, words[0] % sizeof(void*)) << "not virtual";
    return words[0] / sizeof(void*);
}

#endif  // TESTS_SUPPORT_SLOTOF_H
