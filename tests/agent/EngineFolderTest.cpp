#include "agent/EngineFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "agent/Failure.h"
#include "monitor/VantRaidMonitor.h"
#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

TEST(EngineFolder, GivenNoFolderThenItIsThatOfTheLoadedLibrary) {
    const EngineFolder folder;
    EXPECT_EQ(EngineFolder::libraryFolder(), folder.path());
    EXPECT_TRUE(fs::exists(folder.path() + "libQEL.so")) << folder.path();
    EXPECT_TRUE(folder.hasCatalogue());
}

TEST(EngineFolder, GivenAFolderThenItIsMadeAndLinkedToTheShippedCatalogue) {
    const TempDir dir;
    const EngineFolder folder(dir.file("a/b"));
    EXPECT_EQ(dir.file("a/b/"), folder.path());
    EXPECT_TRUE(folder.isWritable());
    EXPECT_TRUE(folder.hasCatalogue());
    EXPECT_EQ(EngineFolder::shippedCatalogue(),
              fs::read_symlink(folder.path() + "RaidNLS.properties").string());
}

TEST(EngineFolder, GivenLinksThenItIsWritableWhenTheirPlacesAre) {
    const TempDir dir;
    const EngineFolder folder(dir.file("state"));
    fs::create_directories(dir.file("lib"));
    fs::create_directories(dir.file("log"));
    fs::create_symlink(dir.file("lib/snapshot"), folder.snapshot());
    fs::create_symlink(dir.file("log"), folder.path() + "qavelogs");
    EXPECT_TRUE(folder.isWritable()) << "the snapshot can be made";
    dir.write("lib/snapshot", "kept");
    EXPECT_TRUE(folder.isWritable());
    fs::remove(dir.file("log"));
    fs::rename(dir.file("lib"), dir.file("elsewhere"));
    EXPECT_FALSE(folder.isWritable());
}

TEST(EngineFolder, GivenACatalogueOfTheAdministratorThenItStaysAndABrokenLinkIsReplaced) {
    const TempDir dir;
    dir.write("own/RaidNLS.properties", "mine");
    const EngineFolder own(dir.file("own"));
    EXPECT_EQ("mine", dir.read("own/RaidNLS.properties"));

    fs::create_directory(dir.file("moved"));
    fs::create_symlink("/nowhere/RaidNLS.properties", dir.file("moved/RaidNLS.properties"));
    EXPECT_TRUE(EngineFolder(dir.file("moved")).hasCatalogue());
}

TEST(EngineFolder, GivenAFileInItsPlaceThenRefusesAsBadUse) {
    const TempDir dir;
    const std::string file = dir.write("file", "x");
    for (const std::string& name : {file, file + "/below"}) {
        try {
            const EngineFolder folder(name);
            ADD_FAILURE() << name;
        } catch (const Failure& e) {
            EXPECT_EQ(Failure::kBadUse, e.exitCode);
        }
    }
}

TEST(EngineFolder, WhileItLivesMonitorsKeepTheirFilesThere) {
    const TempDir dir;
    {
        const EngineFolder folder(dir.file("state"));
        VantRaidMonitor monitor(nullptr);
        EXPECT_EQ(dir.file("state/"), monitor.getLibPath());
    }
    VantRaidMonitor monitor(nullptr);
    EXPECT_EQ(EngineFolder::libraryFolder(), monitor.getLibPath());
}

TEST(EngineFolder, GivenADamagedSnapshotThenItIsRenamedEachTimeToAnotherName) {
    const TempDir dir;
    const EngineFolder folder(dir.file("state"));
    EXPECT_EQ("", folder.setSnapshotAside()) << "there is none";
    dir.write("state/QELVANTConfig.xml", "first");
    const std::string first = folder.setSnapshotAside();
    dir.write("state/QELVANTConfig.xml", "second");
    const std::string second = folder.setSnapshotAside();
    EXPECT_EQ(0u, first.find(dir.file("state/QELVANTConfig.xml.damaged-"))) << first;
    EXPECT_NE(first, second);
    EXPECT_FALSE(fs::exists(folder.snapshot()));
    EXPECT_TRUE(fs::exists(first));
    EXPECT_TRUE(fs::exists(second));
}

TEST(EngineFolder, GivenTheSnapshotIsALinkThenTheLinkStays) {
    const TempDir dir;
    const EngineFolder folder(dir.file("state"));
    dir.write("real/snapshot", "damaged");
    fs::create_symlink(dir.file("real/snapshot"), folder.snapshot());
    EXPECT_EQ(0u, folder.setSnapshotAside().find(dir.file("real/snapshot.damaged-")));
    EXPECT_TRUE(fs::is_symlink(fs::symlink_status(folder.snapshot())));
}

}  // namespace
