#include <climits>
#include <cstdint>
#include <string>

#include "gtest/gtest.h"
#include "tests/support/FailingNew.h"
#include "util/DynamicBufferException.h"
#include "xml/ByRefArray_TC.h"

namespace {

using Numbers = ByRefArray_TC<std::uint64_t>;  // entries of 8 bytes on every host

std::string contentsOf(const Numbers& numbers) {
    std::string text;
    for (std::uint32_t i = 0; i < numbers.GetCount(); ++i) {
        text += std::to_string(*numbers.GetAt(i)) + " ";
    }
    return text;
}

int codeOf(const DynamicBufferException& e) { return e.code; }

struct StepCase {
    unsigned long asked;
    std::uint32_t step;
};

TEST(ByRefArray, GrowthStepIsRoundedUpToWholeEntries) {
    for (const StepCase& c : {StepCase{0, 8}, {1, 8}, {8, 8}, {9, 16}, {24, 24}}) {
        Numbers numbers(0, c.asked);
        EXPECT_EQ(c.step, numbers.GetGrowBy()) << c.asked;
    }
}

struct ReserveCase {
    int entries;
    unsigned long asked;
    std::uint32_t allocated;
};

TEST(ByRefArray, ReserveRoundsUpToTheStepAndNeverCutsEntries) {
    // clang-format off
    const ReserveCase cases[] = {
        {0, 0, 0}, {0, 1, 24}, {0, 24, 24}, {0, 25, 48},
        {4, 0, 48}, {4, 33, 48}, {4, 49, 72}, {3, 0, 24},
    };
    // clang-format on
    for (const ReserveCase& c : cases) {
        Numbers numbers(0, 24);
        for (int i = 0; i < c.entries; ++i) numbers.Insert(ULONG_MAX, static_cast<unsigned>(i));
        numbers.Reserve(c.asked);
        EXPECT_EQ(c.allocated, numbers.GetAllocated()) << c.entries << " " << c.asked;
        EXPECT_EQ(static_cast<std::uint32_t>(c.entries), numbers.GetCount());
    }
}

TEST(ByRefArray, InsertShiftsAndAnyOtherIndexAppends) {
    Numbers numbers(0, 1);
    EXPECT_TRUE(numbers.Insert(0, 1));
    EXPECT_TRUE(numbers.Insert(0, 2));
    EXPECT_TRUE(numbers.Insert(1, 3));
    EXPECT_TRUE(numbers.Insert(3, 4));
    EXPECT_TRUE(numbers.Insert(ULONG_MAX, 5));
    EXPECT_EQ("2 3 1 4 5 ", contentsOf(numbers));
    EXPECT_EQ(nullptr, numbers.GetAt(5));
}

TEST(ByRefArray, GivenAnOwnEntryWhenInsertedThenItsValueIsKept) {
    Numbers numbers(0, 1);
    for (unsigned i = 0; i < 16; ++i) numbers.Insert(i, i);
    for (unsigned i = 0; i < 40; ++i) {
        numbers.Insert(0, *numbers.GetAt(numbers.GetCount() - 1));  // moves in between
    }
    EXPECT_EQ(56U, numbers.GetCount());
    EXPECT_EQ(15U, *numbers.GetAt(0));
    EXPECT_EQ(15U, *numbers.GetAt(55));
}

TEST(ByRefArray, ReserveZeroGivesUnusedMemoryBack) {
    Numbers numbers(800, 8);
    EXPECT_EQ(800U, numbers.GetAllocated());
    numbers.Insert(0, 7);
    numbers.Reserve(0);
    EXPECT_EQ(8U, numbers.GetAllocated());
    EXPECT_EQ("7 ", contentsOf(numbers));
    numbers.RemoveAll();
    EXPECT_EQ(0U, numbers.GetAllocated());
    EXPECT_EQ(0U, numbers.GetCount());
    EXPECT_TRUE(numbers.Insert(0, 8));
}

TEST(ByRefArray, GivenMoreThan32BitsOfBytesThenItIsOutOfMemory) {
    Numbers numbers(0, 16);
    numbers.Insert(0, 1);
    try {
        numbers.Reserve(0xffffffffUL);  // rounds up to 2^32
        FAIL();
    } catch (const DynamicBufferException& e) {
        EXPECT_EQ(+DynamicBufferException::kOutOfMemory, codeOf(e));
    }
    EXPECT_EQ("1 ", contentsOf(numbers));
}

TEST(ByRefArray, GivenNoMemoryThenThrowsAndKeepsItsEntries) {
    if (!FailingNew::available()) GTEST_SKIP() << "NOT TESTED: the sanitizer owns operator new";
    Numbers numbers(8, 1);
    numbers.Insert(0, 1);
    int code = 0;
    {
        const FailingNew failing(0);
        try {
            numbers.Reserve(10000);
        } catch (const DynamicBufferException& e) {
            code = e.code;
        }
    }
    EXPECT_EQ(+DynamicBufferException::kOutOfMemory, code);
    EXPECT_EQ(8U, numbers.GetAllocated());
    EXPECT_EQ("1 ", contentsOf(numbers));
    EXPECT_TRUE(numbers.Insert(1, 2));
    EXPECT_EQ("1 2 ", contentsOf(numbers));
}

// Memory that no entry uses goes before the new block is asked for.
TEST(ByRefArray, GivenNoMemoryAndNoEntriesThenWhatWasReservedIsGone) {
    if (!FailingNew::available()) GTEST_SKIP() << "NOT TESTED: the sanitizer owns operator new";
    Numbers numbers(800, 8);
    bool thrown = false;
    {
        const FailingNew failing(0);
        try {
            numbers.Reserve(10000);
        } catch (const DynamicBufferException&) {
            thrown = true;
        }
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(0U, numbers.GetAllocated());
    EXPECT_TRUE(numbers.Insert(0, 1));
    EXPECT_EQ("1 ", contentsOf(numbers));
}

}  // namespace
