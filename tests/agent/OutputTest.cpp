#include "agent/Output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "agent/Failure.h"

namespace {

class OutputTest : public testing::Test {
protected:
    void SetUp() override {
        (void)std::signal(SIGPIPE, SIG_IGN);
        ASSERT_EQ(0, pipe(ends));
    }
    void TearDown() override {
        if (ends[0] >= 0) close(ends[0]);
        close(ends[1]);
    }
    void closeReader() {
        close(ends[0]);
        ends[0] = -1;
    }

    int ends[2] = {-1, -1};
};

TEST_F(OutputTest, HandsALineOverAtOnce) {
    Output out(ends[1]);
    out.line("one");
    char text[16] = {};
    EXPECT_EQ(4, read(ends[0], text, sizeof text));
    EXPECT_STREQ("one\n", text);
    EXPECT_FALSE(out.isTerminal());
    EXPECT_EQ(0u, out.columns());
}

TEST_F(OutputTest, GivenTheReaderIsGoneWhenWrittenToThenThrowsOutputClosed) {
    closeReader();
    EXPECT_THROW(Output(ends[1]).write("x"), OutputClosed);
}

TEST_F(OutputTest, GivenTheReaderIsGoneThenCheckTellsWithoutWriting) {
    const Output out(ends[1]);
    out.check();
    closeReader();
    EXPECT_THROW(out.check(), OutputClosed);
}

TEST_F(OutputTest, GivenAFullDeviceThenThrowsFailure) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    try {
        Output(full).write("x");
        ADD_FAILURE();
    } catch (const Failure& e) {
        EXPECT_EQ(Failure::kFailed, e.exitCode);
    }
    close(full);
}

}  // namespace
