#include "util/DynamicBuffer.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <exception>
#include <string>

#include "util/DynamicBufferException.h"

namespace {

constexpr const char* kLetters = "abcdefghijklmnop";

template <typename Call>
int errorOf(Call call) {
    try {
        call();
    } catch (const DynamicBufferException& e) {
        return e.code;
    }
    return 0;
}

struct PreserveCase {
    const char* when;
    unsigned long oldSize, newSize, preserve;
    int error;         // 0: no throw
    const char* kept;  // what must survive
};

// clang-format off
constexpr PreserveCase kPreserveCases[] = {
    // when                                   old new keep error kept
    {"fewer bytes are asked for than held",   16, 32, 4,   0,    "abcd"},
    {"more bytes are asked for than held",     2,  8, 8,   0,    "ab"},
    {"more than fit, but few are held",        2,  4, 8,   0,    "ab"},
    {"all are kept at the same size",         16, 16, 16,  0,    "abcdefghijklmnop"},
    {"the kept bytes just fit",               16,  4, 4,   0,    "abcd"},
    {"nothing is kept",                       16,  4, 0,   0,    ""},
    {"the kept bytes exceed the new size",    16,  4, 5,   2,    "abcdefghijklmnop"},
    {"far more are to be kept than fit",      16,  4, 8,   2,    "abcdefghijklmnop"},
    {"the new size is 0, one byte is kept",   16,  0, 1,   2,    "abcdefghijklmnop"},
};
// clang-format on

TEST(DynamicBuffer, GivenOwnedBytesWhenResizedThenKeepsThePrefixOrRefusesUnchanged) {
    for (const PreserveCase& c : kPreserveCases) {
        SCOPED_TRACE(c.when);
        DynamicBuffer buffer(c.oldSize);
        void* const old = buffer.getData();
        std::memcpy(old, kLetters, c.oldSize);

        void* returned = nullptr;
        EXPECT_EQ(c.error,
                  errorOf([&] { returned = buffer.AllocAndPreserve(c.newSize, c.preserve); }));
        EXPECT_EQ(c.error == 0 ? buffer.getData() : nullptr, returned);
        EXPECT_EQ(c.error == 0 ? c.newSize : c.oldSize, buffer.getSize());
        EXPECT_EQ(c.error != 0, old == buffer.getData());
        EXPECT_TRUE(buffer.isOwned());
        EXPECT_EQ(c.kept, std::string(static_cast<char*>(buffer.getData()), std::strlen(c.kept)));
    }
}

TEST(DynamicBuffer, GivenOwnedBytesWhenReplacedByBorrowedThenKeepsThePrefixOrRefusesUnchanged) {
    for (const PreserveCase& c : kPreserveCases) {
        SCOPED_TRACE(c.when);
        DynamicBuffer buffer(c.oldSize);
        void* const old = buffer.getData();
        std::memcpy(old, kLetters, c.oldSize);
        char mine[32] = {};

        void* returned = mine;
        EXPECT_EQ(c.error, errorOf([&] {
                      returned = buffer.AttachAndPreserve(mine, c.newSize, c.preserve);
                  }));
        EXPECT_EQ(c.error == 0 ? nullptr : mine, returned);
        EXPECT_EQ(c.error == 0 ? mine : old, buffer.getData());
        EXPECT_EQ(c.error == 0 ? c.newSize : c.oldSize, buffer.getSize());
        EXPECT_EQ(c.error != 0, buffer.isOwned());
        EXPECT_EQ(c.kept, std::string(static_cast<char*>(buffer.getData()), std::strlen(c.kept)));
    }
}

void expectEmpty(const DynamicBuffer& buffer) {
    EXPECT_EQ(nullptr, buffer.getData());
    EXPECT_EQ(0U, buffer.getSize());
    EXPECT_FALSE(buffer.isOwned());
}

TEST(DynamicBuffer, GivenNoMemoryOrNoSizeThenStartsEmpty) {
    char mine[4];
    expectEmpty(DynamicBuffer(0));
    expectEmpty(DynamicBuffer(nullptr, 4));
    expectEmpty(DynamicBuffer(mine, 0));
}

TEST(DynamicBuffer, ZeroBytesAreTheSameAsFree) {
    DynamicBuffer buffer(16);
    EXPECT_EQ(nullptr, buffer.Alloc(0));
    expectEmpty(buffer);
    buffer.Alloc(16);
    EXPECT_EQ(nullptr, buffer.AllocAndPreserve(0, 0));
    expectEmpty(buffer);
    EXPECT_EQ(nullptr, buffer.AllocAndPreserve(0, 1));  // nothing is held, so nothing is lost
    buffer.Free();
    expectEmpty(buffer);
}

TEST(DynamicBuffer, BorrowedBytesStayTheCallers) {
    char mine[] = "mine";
    {
        DynamicBuffer buffer(mine, sizeof(mine));
        EXPECT_EQ(mine, buffer.getData());
        EXPECT_FALSE(buffer.isOwned());
        buffer.Free();
        expectEmpty(buffer);
        EXPECT_EQ(mine, buffer.Attach(mine, 4));
        char* const copy = static_cast<char*>(buffer.AllocAndPreserve(8, 8));
        EXPECT_NE(mine, copy);
        EXPECT_EQ("mine", std::string(copy, 4));
        EXPECT_TRUE(buffer.isOwned());
    }
    EXPECT_STREQ("mine", mine);
}

TEST(DynamicBuffer, GivenNoMemoryToBorrowThenAttachFreesAndAttachAndPreserveLeavesAlone) {
    char mine[4];
    DynamicBuffer buffer(16);
    EXPECT_EQ(nullptr, buffer.AttachAndPreserve(nullptr, 16, 0));
    EXPECT_EQ(nullptr, buffer.AttachAndPreserve(mine, 0, 0));
    EXPECT_EQ(16U, buffer.getSize());
    EXPECT_EQ(DynamicBufferException::kDoesNotFit,
              errorOf([&] { buffer.AttachAndPreserve(nullptr, 16, 1); }));
    EXPECT_EQ(16U, buffer.getSize());
    EXPECT_EQ(nullptr, buffer.Attach(nullptr, 16));
    expectEmpty(buffer);
    EXPECT_EQ(nullptr, buffer.AttachAndPreserve(nullptr, 16, 1));
    expectEmpty(buffer);
}

TEST(DynamicBuffer, GivenOverlappingMemoryThenThePrefixIsMoved) {
    char mine[] = "abcdef";
    DynamicBuffer buffer(mine, 4);
    EXPECT_EQ(nullptr, buffer.AttachAndPreserve(mine + 2, 4, 4));
    EXPECT_STREQ("ababcd", mine);
}

// Where unsigned long has 32 bits, half the address space does not fit either; a sanitizer may be
// told to answer with null too.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(DynamicBuffer, GivenTooLittleMemoryThenAllocHasLostTheOldBlockAndPreserveHasNot) {
    constexpr unsigned long kTooMuch = ULONG_MAX;
    DynamicBuffer buffer(4);
    std::memcpy(buffer.getData(), kLetters, 4);
    EXPECT_EQ(DynamicBufferException::kOutOfMemory,
              errorOf([&] { buffer.AllocAndPreserve(kTooMuch, 4); }));
    EXPECT_EQ("abcd", std::string(static_cast<char*>(buffer.getData()), 4));
    EXPECT_EQ(4U, buffer.getSize());

    EXPECT_EQ(DynamicBufferException::kOutOfMemory, errorOf([&] { buffer.Alloc(kTooMuch); }));
    expectEmpty(buffer);
    EXPECT_EQ(DynamicBufferException::kOutOfMemory, errorOf([] { DynamicBuffer other(kTooMuch); }));
}
#endif

TEST(DynamicBufferException, IsAStandardExceptionWithItsCode) {
    const DynamicBufferException full(DynamicBufferException::kOutOfMemory);
    const DynamicBufferException small(DynamicBufferException::kDoesNotFit);
    EXPECT_EQ(1, full.code);
    EXPECT_EQ(2, small.code);
    const std::exception& base = full;
    EXPECT_STRNE(base.what(), small.what());
}

}  // namespace
