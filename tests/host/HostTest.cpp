// What a host program sees: the shared libraries through their installed headers.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "events/QELEventCollection.h"
#include "monitor/VantRaidMonitor.h"
#include "storlib/System.h"
#include "storlib/VantAdapter.h"
#include "storlib/VantLib.h"
#include "storlib/sources/MemorySource.h"
#include "xml/SimpleXmlException.h"

namespace {

// The folder of the library that defines `function`, by the dynamic linker's own account.
std::string loadedFrom(const char* function) {
    Dl_info info{};
    if (dladdr(dlsym(RTLD_DEFAULT, function), &info) == 0) return std::string();
    return std::filesystem::canonical(info.dli_fname).parent_path().string() + "/";
}

void oneController(System& system) {
    auto* adapter = new VantAdapter;
    adapter->addr.controllerID = 0;
    system.addChild(adapter);
}

class HostTest : public testing::Test {
protected:
    HostTest() {
        std::string name = "/tmp/qel-host-XXXXXX";
        folder = mkdtemp(name.data());
        BaseRaidMonitor::useFolder(folder);
    }
    ~HostTest() override {
        BaseRaidMonitor::useFolder("");
        std::filesystem::remove_all(folder);
    }

    std::string folder;
    VantLib lib{std::make_unique<MemorySource>(oneController)};
};

TEST_F(HostTest, TheFilesOfAMonitorLieBesideItsLibraryUnlessTheHostSaysOtherwise) {
    VantRaidMonitor monitor(&lib);
    EXPECT_EQ(folder + "/", monitor.getLibPath());
    BaseRaidMonitor::useFolder("");
    monitor.setQELPath();
    EXPECT_EQ(loadedFrom("dllSafeDeleteRAIDMON"), monitor.getLibPath());
}

TEST_F(HostTest, AMonitorPollsAndHandsOutItsEvents) {
    VantRaidMonitor monitor(&lib);
    QELEventCollection mine("", 200, kEventProgress);
    monitor.getCurrentEvents(mine);
    ASSERT_EQ(2, mine.getNumberOfEvents());
    EXPECT_EQ(207, mine.getEvents(1)[0].eventCode);
}

TEST_F(HostTest, AMalformedSnapshotIsCaughtByItsType) {
    std::FILE* file = std::fopen((folder + "/QELVANTConfig.xml").c_str(), "w");
    ASSERT_NE(nullptr, file);
    std::fputs("<System><Controller x=1>", file);
    std::fclose(file);
    EXPECT_THROW(VantRaidMonitor monitor(&lib), SimpleXmlException);
}

TEST(HostSymbols, TheDebugMaskAndTheHostsPointerAreFoundByName) {
    void* mask = dlsym(RTLD_DEFAULT, "QELDebugFlag");
    void* pointer = dlsym(RTLD_DEFAULT, "configFile");
    ASSERT_NE(nullptr, mask);
    ASSERT_NE(nullptr, pointer);
    EXPECT_EQ(0u, *static_cast<std::uint32_t*>(mask));
    EXPECT_EQ(nullptr, *static_cast<void**>(pointer));
    EXPECT_NE(nullptr, dlsym(RTLD_DEFAULT, "dllSafeDeleteRAIDMON"));
}

TEST(HostSymbols, BlocksAreReleasedThroughTheLibrary) {
    dllSafeDeleteRAIDMON(std::malloc(32));
    dllSafeDeleteRAIDMON(nullptr);
}

}  // namespace
