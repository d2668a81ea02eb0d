#include "storlib/LDPathUtils.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

struct PathCase {
    const char* when;
    Addr address;
    const char* whole;
    const char* belowController;
};

Addr withChunk(Addr address, long long chunk) {
    address.chunkID = chunk;
    return address;
}

TEST(LDPathUtils, AddressesHaveTheirPaths) {
    constexpr unsigned int kNone = Addr::kNotSet;
    const PathCase cases[] = {
        {"a controller", Addr::ofController(0), "/c0", ""},
        {"a controller of two digits", Addr::ofController(12), "/c12", ""},
        {"a logical drive", Addr::ofLogicalDrive(0, 5), "/c0/l5", "/l5"},
        {"a logical drive of an array", Addr(0, 3, 5, kNone, kNone), "/c0/l5", "/l5"},
        {"a device", Addr::ofDevice(0, 1, 3), "/c0/b1/d3", "/b1/d3"},
        {"a channel", Addr::ofChannel(2, 1), "/c2/b1", "/b1"},
        {"an array", Addr(0, 3, kNone, kNone, kNone), "/c0/a3", "/a3"},
        {"all that a path can hold", Addr(0, 1, kNone, 2, 3), "/c0/a1/b2/d3", "/a1/b2/d3"},
        {"a chunk of -1", withChunk(Addr::ofDevice(0, 1, 3), -1), "/c0/b1/d3", "/b1/d3"},
        {"no controller", Addr(kNone, kNone, 5, kNone, kNone), "", ""},
        {"nothing at all", Addr(), "", ""},
    };
    for (const PathCase& c : cases) {
        SCOPED_TRACE(c.when);
        EXPECT_EQ(c.whole, LDPathUtils::textOf(c.address));
        EXPECT_EQ(c.belowController, LDPathUtils::textBelowController(c.address));
        _LDTree path;
        const bool named = c.address.controllerID != kNone;
        EXPECT_EQ(named ? Ret::kOk : Ret::kBadAddress,
                  LDPathUtils::makePath(c.address, path).status);
        char text[48] = "?";
        EXPECT_EQ(static_cast<int>(std::strlen(c.whole)),
                  LDPathUtils::sPrintPath(path, text, sizeof text));
        EXPECT_STREQ(c.whole, text);
    }
}

TEST(LDPathUtils, ControllerPathAndRestMakeTheWhole) {
    for (const Addr& address : {Addr::ofLogicalDrive(3, 4), Addr::ofDevice(3, 0, 255)}) {
        EXPECT_EQ(LDPathUtils::textOf(address), LDPathUtils::textOf(Addr::ofController(3)) +
                                                    LDPathUtils::textBelowController(address));
    }
}

TEST(LDPathUtils, PrintingIsCutAtTheBufferAndEnded) {
    _LDTree path;
    ASSERT_EQ(Ret::kOk, LDPathUtils::makePath(Addr::ofDevice(0, 1, 3), path).status);
    char text[8];
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(3, LDPathUtils::sPrintPath(path, text, 4));
    EXPECT_STREQ("/c0", text);
    EXPECT_EQ('#', text[4]);
    EXPECT_EQ(0, LDPathUtils::sPrintPath(path, text, 1));
    EXPECT_STREQ("", text);
}

TEST(LDPathUtils, GivenNoRoomThenNothingIsWritten) {
    _LDTree path;
    ASSERT_EQ(Ret::kOk, LDPathUtils::makePath(Addr::ofController(0), path).status);
    char text[2] = {'#', 0};
    EXPECT_EQ(0, LDPathUtils::sPrintPath(path, text, 0));
    EXPECT_EQ(0, LDPathUtils::sPrintPath(path, text, -1));
    EXPECT_EQ(0, LDPathUtils::sPrintPath(path, nullptr, 48));
    EXPECT_STREQ("#", text);
}

TEST(LDPathUtils, PathsOfLargestNumbersFitTheirBuffers) {
    _LDTree path;
    ASSERT_EQ(
        Ret::kOk,
        LDPathUtils::makePath(Addr::ofDevice(0x7ffffffe, 0x7ffffffe, 0x7ffffffe), path).status);
    char text[48];
    LDPathUtils::sPrintPath(path, text, sizeof text);
    EXPECT_STREQ("/c2147483646/b2147483646/d2147483646", text);
}

}  // namespace
