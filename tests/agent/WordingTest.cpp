#include "agent/Wording.h"

#include <gtest/gtest.h>

namespace {

TEST(Wording, CountsInWords) {
    EXPECT_EQ("0 drives", counted(0, "drive"));
    EXPECT_EQ("1 drive", counted(1, "drive"));
    EXPECT_EQ("2 drives", counted(2, "drive"));
    EXPECT_EQ("1 mismatch", counted(1, "mismatch", "mismatches"));
    EXPECT_EQ("2 mismatches", counted(2, "mismatch", "mismatches"));
}

TEST(Wording, JoinsOnlyWhatIsThere) {
    EXPECT_EQ("a, b", joined("a", ", ", "b"));
    EXPECT_EQ("a", joined("a", ", ", ""));
    EXPECT_EQ("b", joined("", ", ", "b"));
    EXPECT_EQ("", joined("", ", ", ""));
}

}  // namespace
