#include "agent/LateLibrary.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <regex>
#include <string>

#include "tests/agent/ArchiveMaker.h"
#include "tests/agent/DaemonRoom.h"
#include "tests/support/TempDir.h"

namespace {

std::string missing(const std::function<void()>& call) {
    try {
        call();
    } catch (const LateLibrary::Missing& e) {
        EXPECT_EQ(Failure::kFailed, e.exitCode);
        return e.what();
    }
    return "nothing was thrown";
}

TEST(LateLibrary, GivenAFunctionThatIsThereThenItCanBeCalled) {
    const LateLibrary library("libm.so.6", "libc6");
    double (*squareRoot)(double) = nullptr;
    library.find("sqrt", squareRoot);
    EXPECT_EQ(3.0, squareRoot(9.0));
}

TEST(LateLibrary, GivenNoSuchLibraryThenNamesItAndItsPackage) {
    const std::string line = missing([] { LateLibrary("libnowhere.so.7", "libnowhere7"); });
    EXPECT_EQ(
        "cannot load libnowhere.so.7 (libnowhere.so.7: cannot open shared object file: No such "
        "file or directory); install the Debian package libnowhere7",
        line);
}

TEST(LateLibrary, GivenNoSuchFunctionThenNamesItAndThePackage) {
    const LateLibrary library("libm.so.6", "libc6");
    void (*function)() = nullptr;
    const std::string line = missing([&] { library.find("sqrt_of_all", function); });
    EXPECT_EQ(nullptr, function);
    EXPECT_EQ(0u, line.find("libm.so.6 has no sqrt_of_all (")) << line;
    EXPECT_NE(std::string::npos, line.find("install the Debian package libc6 of this release"));
}

// A folder whose files stand before the machine's own libraries and are none.
class BrokenLibraries {
public:
    BrokenLibraries() {
        for (const char* name : {"libcurl.so.4", "libarchive.so.13"}) {
            dir.write(name, std::string(4096, 'x'));
        }
        (void)setenv("LD_LIBRARY_PATH", dir.file("").c_str(), 1);
    }
    ~BrokenLibraries() { (void)unsetenv("LD_LIBRARY_PATH"); }

private:
    TempDir dir;
};

std::string mapsOf(pid_t pid) {
    std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
    return std::string(std::istreambuf_iterator<char>(maps), {});
}

constexpr char kWebhook[] = "[sink.hook]\ntype = \"webhook\"\nurl = \"http://127.0.0.1:9/\"\n";

TEST(LateLibrary, GivenLocalSinksOnlyThenTheDaemonLoadsNone) {
    DaemonRoom room;
    room.start();
    ASSERT_TRUE(room.waitFor([&] { return room.polled(); })) << room.log();
    const std::string maps = mapsOf(room.pid);
    EXPECT_NE(std::string::npos, maps.find("libsqlite3.so"));
    EXPECT_EQ(std::string::npos, maps.find("libcurl.so")) << maps;
    EXPECT_EQ(std::string::npos, maps.find("libarchive.so")) << maps;
    EXPECT_EQ(std::string::npos, maps.find("libsystemd.so")) << maps;
    EXPECT_EQ(0, room.stop(SIGTERM));
}

TEST(LateLibrary, GivenASinkForTheNetworkThenTheDaemonLoadsItsLibrary) {
    DaemonRoom room;
    room.configure(kWebhook);
    room.start();
    ASSERT_TRUE(room.waitFor([&] { return room.polled(); })) << room.log();
    const std::string maps = mapsOf(room.pid);
    EXPECT_NE(std::string::npos, maps.find("libcurl.so")) << maps;
    EXPECT_EQ(std::string::npos, maps.find("libarchive.so")) << maps;
    EXPECT_EQ(0, room.stop(SIGTERM));
}

TEST(LateLibrary, GivenNoLibraryForASinkThenTheOthersTellAndItSaysWhatToInstall) {
    DaemonRoom room;
    room.configure(kWebhook);
    const BrokenLibraries broken;
    room.start();
    ASSERT_TRUE(room.waitFor([&] { return room.polled(); })) << room.log();
    room.machine.add("x /sys/block/sdb");
    EXPECT_TRUE(room.waitFor([&] { return !room.told().empty(); })) << room.log();
    EXPECT_TRUE(room.waitFor([&] { return room.logged("cannot deliver"); })) << room.log();
    EXPECT_TRUE(std::regex_search(
        room.log(), std::regex("sink \"hook\" cannot deliver: cannot load libcurl.so.4 \\(.*"
                               "\\); install the Debian package libcurl4, then restart raidwatch")))
        << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM));
}

TEST(LateLibrary, GivenNoLibraryForAPackedRecordingThenReplaySaysWhatToInstall) {
    TempDir dir;
    std::filesystem::create_directories(dir.file("recording"));
    ArchiveMaker(dir.file("recording/01-whole.tar.xz")).folder("sys").folder("proc").close();
    const BrokenLibraries broken;
    const std::string command =
        std::string(QEL_RAIDWATCH) + " replay " + dir.file("recording") + " 2>&1";
    FILE* const pipe = popen(command.c_str(), "r");
    ASSERT_NE(nullptr, pipe);
    std::string said;
    std::array<char, 256> part{};
    while (std::fgets(part.data(), part.size(), pipe) != nullptr) said += part.data();
    EXPECT_EQ(1, WEXITSTATUS(pclose(pipe)));
    EXPECT_TRUE(std::regex_search(
        said, std::regex("raidwatch: cannot load libarchive.so.13 \\(.*\\); install the Debian "
                         "package libarchive13\n")))
        << said;
}

}  // namespace
