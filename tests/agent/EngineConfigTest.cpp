#include "agent/settings/EngineConfig.h"

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

namespace {

TEST(EngineConfig, GivenNoFileThenTheDefaults) {
    const TempDir dir;
    const EngineConfig config = EngineConfig::read(dir.folder());
    EXPECT_EQ(dir.file("QELConfig.conf"), config.file);
    EXPECT_FALSE(config.exists);
    EXPECT_EQ(200, config.queueSize);
    ASSERT_EQ(4u, config.values.size());
    EXPECT_EQ("qel.eventQueueSize", config.values[0].key);
    EXPECT_FALSE(config.values[0].set);
    EXPECT_EQ("", config.problem);
    EXPECT_FALSE(dir.exists("QELConfig.conf")) << "looking must not make it";
}

TEST(EngineConfig, ReadsWhatTheEngineWouldTake) {
    const struct {
        const char* text;
        int queue;
    } rows[] = {{"qel.eventQueueSize=2000\n", 2000},
                {"qel.eventQueueSize = 500 # many\n", 500},
                {"qel.eventQueueSize=10\n", 200},
                {"qel.eventQueueSize=many\n", 200},
                {"qel.eventQueueSize=99999999999\n", 2147483647},
                {"#qel.eventQueueSize=2000\n", 200}};
    for (const auto& row : rows) {
        const TempDir dir;
        dir.write("QELConfig.conf", row.text);
        const EngineConfig config = EngineConfig::read(dir.folder());
        EXPECT_EQ(row.queue, config.queueSize) << row.text;
        EXPECT_TRUE(config.exists);
    }
}

// Such a line ends the engine's reading with an exception.
TEST(EngineConfig, GivenALineThatIsOnlyAKeyThenNamesTheCure) {
    const TempDir dir;
    dir.write("QELConfig.conf", "qel.debugMask");
    EXPECT_EQ(dir.file("QELConfig.conf") +
                  " has a line that is only \"qel.debugMask\"; write it as qel.debugMask=0",
              EngineConfig::read(dir.folder()).problem);
}

}  // namespace
