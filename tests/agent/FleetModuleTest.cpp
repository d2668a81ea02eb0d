#include "agent/fleet/FleetModule.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "agent/LateLibrary.h"
#include "agent/sinks/SinkFactory.h"
#include "tests/agent/SinkFixture.h"
#include "tests/support/TempDir.h"

namespace {

std::string missing(const std::string& file) {
    try {
        (void)openFleetLink(file, {});
    } catch (const LateLibrary::Missing& e) {
        return e.what();
    }
    return "nothing was thrown";
}

// A module of another release, made on the spot.
std::string compiled(const TempDir& dir, const std::string& source) {
    const std::string file = dir.write("module.c", source);
    const std::string module = dir.file("module.so");
    const std::string command = "cc -shared -fPIC -o " + module + " " + file;
    return std::system(command.c_str()) == 0 ? module : "";  // NOLINT(concurrency-mt-unsafe)
}

TEST(FleetModule, TheModuleOfThisBuildGivesALink) {
    FleetLink::Settings settings;
    settings.urls = {"nats://127.0.0.1:1"};
    settings.timeoutMs = 2000;
    const auto link = openFleetLink(QEL_BINARY_DIR "/lib/raidwatch/raidwatch-nats.so", settings);
    ASSERT_NE(nullptr, link);
    EXPECT_FALSE(link->isUp());
    EXPECT_EQ(0u, link->connect().find("cannot connect ("));
    link->cancel();
    EXPECT_EQ("cancelled", link->connect());
}

TEST(FleetModule, ItIsFoundBesideTheProgram) {
    EXPECT_EQ(
        std::vector<std::string>({"/usr/bin/../lib/x86_64-linux-gnu/raidwatch/raidwatch-nats.so",
                                  "/usr/bin/../lib/raidwatch/raidwatch-nats.so"}),
        fleetModulePlaces("/usr/bin/raidwatch"));
    FleetLink::Settings settings;
    settings.urls = {"nats://127.0.0.1:1"};
    EXPECT_NE(nullptr, openFleetLink(settings));
}

TEST(FleetModule, GivenNoModuleThenTheMessageNamesThePackage) {
    EXPECT_EQ(
        "cannot load /nowhere/raidwatch-nats.so (/nowhere/raidwatch-nats.so: cannot open "
        "shared object file: No such file or directory); install the Debian package "
        "raidwatch-nats",
        missing("/nowhere/raidwatch-nats.so"));
}

TEST(FleetModule, GivenAModuleOfAnotherReleaseThenItIsNotUsed) {
    TempDir dir;
    const std::string other = compiled(dir, "int raidwatchFleetVersion(void) { return 0; }\n");
    ASSERT_NE("", other);
    EXPECT_EQ(other +
                  " is of another release than raidwatch itself; install raidwatch-nats and "
                  "raidwatch of the same version",
              missing(other));
}

TEST(FleetModule, GivenALibraryThatIsNoModuleThenItSaysWhatIsMissing) {
    EXPECT_EQ(0u, missing("libm.so.6").find("libm.so.6 has no raidwatchFleetVersion ("));
}

TEST(FleetModule, GivenASinkThatCannotBeThenItSaysWhyBeforeAnythingIsLoaded) {
    SinkSettings settings = sinkSettings("fleet", "nats");
    EXPECT_THROW((void)makeSink(settings), Failure);
    settings.lists["urls"] = {"nats://127.0.0.1:1"};
    EXPECT_NE(nullptr, makeSink(settings));
}

}  // namespace
