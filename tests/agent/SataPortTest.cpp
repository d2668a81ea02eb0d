#include "agent/SataPort.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storlib/System.h"
#include "storlib/VantLib.h"

// The messages of this scenario name the failed drive 0:0:1 "port 1"; whoever pulls a drive by the
// status page must be sent to the same port.
TEST(SataPort, GivenOneChannelOfFourPortsThenEachDriveHasItsOwn) {
    std::string error;
    const auto lib =
        VantLib::open("scenario:" QEL_SOURCE_DIR
                      "/storlib/sources/scenarios/drive-fails-hot-spare-takes-over.json",
                      error);
    ASSERT_NE(nullptr, lib) << error;
    ASSERT_EQ(Ret::kOk, lib->getSystemConfig().status) << lib->lastError();
    std::vector<RaidObject*> list;
    lib->getSystem()->getChildren(list, "HardDrive", true, true);
    std::string names;
    for (const RaidObject* each : list) {
        const auto* const drive = dynamic_cast<const HardDrive*>(each);
        ASSERT_NE(nullptr, drive);
        names += std::to_string(drive->addr.deviceID) + "=" + sataPortName(*drive) + " ";
    }
    EXPECT_EQ("0=port 0 1=port 1 2=port 2 3=port 3 ", names);
}
