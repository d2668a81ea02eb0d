#include "util/DebugFlag.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

// Before any code of the program has run.
const std::uint32_t atLoad = QELDebugFlag;

struct DebugFlag : ::testing::Test {
    ~DebugFlag() override { setDebugMask(before); }
    std::uint32_t before = debugMask();
};

TEST_F(DebugFlag, IsAPlainWordThatIsZeroAtLoad) {
    static_assert(std::is_same<decltype(QELDebugFlag), std::uint32_t>::value, "hosts read it so");
    EXPECT_EQ(0U, atLoad);
}

TEST_F(DebugFlag, AnyBitOfAGroupSwitchesTheGroupOn) {
    setDebugMask(0x010000);
    EXPECT_EQ(0x010000U, QELDebugFlag);
    EXPECT_TRUE(debugOn(kDebugEvent));
    EXPECT_FALSE(debugOn(kDebugError));
    EXPECT_FALSE(debugOn(kDebugTrace));
    EXPECT_FALSE(debugOn(kDebugConstruct));
    setDebugMask(0xffffff);
    for (const std::uint32_t group : {kDebugError, kDebugEvent, kDebugTrace, kDebugConstruct}) {
        EXPECT_TRUE(debugOn(group));
    }
}

TEST_F(DebugFlag, AHostMaySetTheWordByName) {
    QELDebugFlag = 0xf00000;
    EXPECT_EQ(0xf00000U, debugMask());
    EXPECT_TRUE(debugOn(kDebugError));
    EXPECT_FALSE(debugOn(kDebugEvent));
}

}  // namespace
