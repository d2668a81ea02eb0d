#include "agent/settings/SecretFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/TempDir.h"

namespace {

constexpr char kOpen[] = "can be read by others than its owner; chmod 600 it";
constexpr char kChangeable[] = "can be changed by others than its owner; chmod go-w it";
constexpr char kForeign[] = "belongs to somebody else; chown it to root";
constexpr uid_t kSomebody = 12345;

TEST(SecretFile, OnlyItsOwnerMayReadIt) {
    const TempDir dir;
    const std::string file = dir.write("secret", "word\n");
    const struct {
        mode_t mode;
        const char* asSecret;
        const char* asTrusted;
    } rows[] = {{0600, "", ""},
                {0400, "", ""},
                {0640, kOpen, ""},
                {0604, kOpen, ""},
                {0644, kOpen, ""},
                {0620, kOpen, kChangeable},
                {0602, kOpen, kChangeable},
                {0666, kOpen, kChangeable}};
    for (const auto& row : rows) {
        ASSERT_EQ(0, chmod(file.c_str(), row.mode));
        std::string text;
        EXPECT_EQ(row.asSecret, readSecretFile(file, text)) << row.mode;
        EXPECT_EQ(*row.asSecret == 0 ? "word" : "", text);
        EXPECT_EQ(row.asSecret, wrongSecretFile(file)) << row.mode;
        EXPECT_EQ(row.asTrusted, wrongTrustedFile(file)) << row.mode;
    }
}

TEST(SecretFile, GivenSomebodyElsesFileThenItIsRefusedWhateverItsMode) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can give a file away";
    const TempDir dir;
    const std::string file = dir.write("secret", "word\n");
    ASSERT_EQ(0, chmod(file.c_str(), 0600));
    ASSERT_EQ(0, chown(file.c_str(), kSomebody, static_cast<gid_t>(-1)));
    std::string text;
    EXPECT_EQ(kForeign, readSecretFile(file, text));
    EXPECT_EQ("", text);
    EXPECT_EQ(kForeign, wrongSecretFile(file));
    EXPECT_EQ(kForeign, wrongTrustedFile(file));
}

TEST(SecretFile, GivenWhatIsNoPlainFileThenItSaysSo) {
    const TempDir dir;
    EXPECT_EQ("is no plain file", wrongSecretFile(dir.folder()));
    EXPECT_EQ("cannot be found (No such file or directory)", wrongSecretFile(dir.file("none")));
    std::string text;
    EXPECT_EQ("cannot be read; it must be a plain file", readSecretFile("/dev/null", text));
    EXPECT_EQ("is no path that begins with /; give one", readSecretFile("secret", text));
}

}  // namespace
