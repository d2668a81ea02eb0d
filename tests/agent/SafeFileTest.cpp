#include "agent/SafeFile.h"

#include <gtest/gtest.h>

#include "agent/FastClock.h"
#include "tests/support/TempDir.h"

namespace {

TEST(SafeFile, ADamagedFileGetsANameThatTellsWhenAndThatNothingHas) {
    const FastClock clock(1763703012);
    const TempDir dir;
    const std::string file = dir.file("spool.db");
    const std::string first = file + ".damaged-20251121-053012";
    EXPECT_EQ(first, asideName(file));
    dir.write("spool.db.damaged-20251121-053012", "");
    EXPECT_EQ(first + "-2", asideName(file));
    std::filesystem::create_symlink("nowhere", first + "-2");
    EXPECT_EQ(first + "-3", asideName(file));
}

}  // namespace
