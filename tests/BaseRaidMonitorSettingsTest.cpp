// Paths, settings and the debug log.
#include "monitor/BaseRaidMonitor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "tests/support/FailingNew.h"
#include "tests/support/MonitorRoom.h"
#include "tests/support/OrdinaryUser.h"

namespace {

struct SettingCase {
    const char* file;
    int queueSize;
    int debugLevel;
    int osLevel;
    bool alarm;
};

// clang-format off
const SettingCase kSettings[] = {
    // file                                                        queue       debug os  alarm
    {"",                                                           0,          0,    0,  false},
    {"qel.eventQueueSize=500\nqel.debugMask=2\n"
     "agent.OSLoggingLevel=4\nagent.alarm=on\n",                   500,        2,    4,  true},
    {"agent.alarm=On\n",                                           0,          0,    0,  true},
    {"agent.alarm=ON\n",                                           0,          0,    0,  true},
    {"agent.alarm=oN\n",                                           0,          0,    0,  false},
    {"agent.alarm=yes\n",                                          0,          0,    0,  false},
    {"agent.alarm = on \n",                                        0,          0,    0,  true},
    // A carriage return is part of a text, but no digit.
    {"agent.alarm=on\r\nqel.debugMask=2\r\n",                      0,          2,    0,  false},
    {"qel.eventQueueSize=99999999999\n",                           2147483647, 0,    0,  false},
    {"qel.eventQueueSize=abc\nqel.debugMask=1x\n",                 0,          1,    0,  false},
    {"#qel.debugMask=2\n qel.debugMask=2\n",                       0,          0,    0,  false},
};
// clang-format on

TEST(BaseRaidMonitorSettings, FollowTheFile) {
    for (const SettingCase& c : kSettings) {
        SCOPED_TRACE(c.file);
        MonitorRoom room;
        room.dir.write("QELConfig.conf", c.file);
        VantUnderTest monitor(room.lib());
        EXPECT_EQ(c.queueSize, monitor.eventQueueSize);
        EXPECT_EQ(c.debugLevel, monitor.debugLevel);
        EXPECT_EQ(c.osLevel, monitor.getOSLoggingLevel());
        EXPECT_EQ(c.alarm, monitor.isAlarmEnabled());
    }
}

TEST(BaseRaidMonitorSettings, GivenNoFileThenItIsCreatedEmptyAndTheFirstValuesKeepForOneCycle) {
    MonitorRoom room;
    std::filesystem::remove(room.dir.file("QELConfig.conf"));
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(3, monitor.getOSLoggingLevel());
    EXPECT_EQ(0, monitor.eventQueueSize);
    EXPECT_TRUE(room.dir.exists("QELConfig.conf"));
    EXPECT_EQ("", room.dir.read("QELConfig.conf"));
    EXPECT_EQ(1, room.countInLog("ERROR: BaseRaidMonitor::readConfig() Config File (" +
                                 room.dir.file("QELConfig.conf") +
                                 ") not found. Creating an empty file.\n"));
    monitor.readConfig();
    EXPECT_EQ(0, monitor.getOSLoggingLevel());
}

TEST(BaseRaidMonitorSettings, GivenLevelOneThenEventsAreTracedAndGivenSevenTheMaskStays) {
    MonitorRoom room;
    room.dir.write("QELConfig.conf", "qel.debugMask=1\n");
    VantUnderTest first(room.lib());
    EXPECT_EQ(0xff0000u, QELDebugFlag);
    room.dir.write("QELConfig.conf", "qel.debugMask=7\n");
    first.readConfig();
    first.setDebugFlag(static_cast<EnumDebugQEL>(first.debugLevel));
    EXPECT_EQ(0xff0000u, QELDebugFlag);
}

// The mask of a former monitor does not outlive the construction of the next.
TEST(BaseRaidMonitorSettings, GivenALevelThatIsNoneThenANewMonitorLogsErrorsOnly) {
    MonitorRoom room;
    room.dir.write("QELConfig.conf", "qel.debugMask=7\n");
    setDebugMask(0xffffff);
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(0xf00000u, QELDebugFlag);
}

TEST(BaseRaidMonitorSettings, GivenAQueueSizeThenANewQueueHasItAsItsBound) {
    MonitorRoom room;
    room.dir.write("QELConfig.conf", "qel.eventQueueSize=300\n");
    VantUnderTest monitor(room.lib());
    const QELEvent event(1, kEventInformation, "text", "ID");
    for (int i = 0; i < 300; ++i) monitor.queue().addEvent(event);
    EXPECT_EQ(300, monitor.getNumberOfEvents());
    monitor.queue().addEvent(event);
    EXPECT_EQ(272, monitor.getNumberOfEvents());  // 29 went, the next became the notice
}

// A line that is nothing but a key is a mistake of whoever edited the file.
TEST(BaseRaidMonitorSettings, GivenALineThatIsNothingButAKeyThenItsSettingFallsBack) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    const std::string good =
        "qel.eventQueueSize=500\nqel.debugMask=2\nagent.OSLoggingLevel=4\nagent.alarm=on\n";
    const auto reset = [&] {
        room.dir.write("QELConfig.conf", good);
        monitor.readConfig();
    };
    reset();
    room.dir.write("QELConfig.conf", "qel.eventQueueSize\n");
    EXPECT_THROW(monitor.readConfig(), std::out_of_range);
    EXPECT_EQ(0, monitor.eventQueueSize);
    EXPECT_EQ(2, monitor.debugLevel);  // and those behind it stay
    reset();
    room.dir.write("QELConfig.conf", "qel.debugMask\n");
    EXPECT_THROW(monitor.readConfig(), std::out_of_range);
    EXPECT_EQ(0, monitor.debugLevel);
    EXPECT_EQ(4, monitor.getOSLoggingLevel());
    reset();
    room.dir.write("QELConfig.conf", "agent.OSLoggingLevel\n");
    EXPECT_THROW(monitor.readConfig(), std::out_of_range);
    EXPECT_EQ(3, monitor.getOSLoggingLevel());
    EXPECT_TRUE(monitor.isAlarmEnabled());
    reset();
    room.dir.write("QELConfig.conf", "agent.alarm\n");
    EXPECT_THROW(monitor.readConfig(), std::out_of_range);
    EXPECT_FALSE(monitor.isAlarmEnabled());
}

TEST(BaseRaidMonitorSettings, GivenNoMemoryForTheReaderThenItSaysSoAndTheSettingsStay) {
    if (!FailingNew::available()) GTEST_SKIP() << "NOT TESTED: the sanitizer owns operator new";
    MonitorRoom room;
    room.dir.write("QELConfig.conf", "qel.eventQueueSize=500\nagent.alarm=on\n");
    VantUnderTest monitor(room.lib());
    room.dir.write("QELConfig.conf", "");
    int said = 0;
    // The first allocations are those of the path; then the reader itself and what it holds.
    for (int successes = 0; successes < 6 && monitor.eventQueueSize == 500; ++successes) {
        try {
            const FailingNew failing(successes);
            monitor.readConfig();
            ++said;
        } catch (const std::bad_alloc&) {
        }
        EXPECT_TRUE(monitor.isAlarmEnabled());
        EXPECT_EQ(said,
                  room.countInLog("ERROR: BaseRaidMonitor::readConfig() Cannot create NLSParser."
                                  "\n"));
    }
    EXPECT_GE(said, 2);
}

TEST(BaseRaidMonitorSettings, GivenAFileReplacedByRenameThenTheNextReadingSeesIt) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    const std::string fresh = room.dir.write("fresh", "qel.eventQueueSize=300\n");
    std::filesystem::rename(fresh, room.dir.file("QELConfig.conf"));
    monitor.readConfig();
    EXPECT_EQ(300, monitor.eventQueueSize);
}

TEST(BaseRaidMonitorSettings, GivenNoCatalogueThenAnEmptyOneIsCreatedAndALaterOneIsFound) {
    MonitorRoom room;
    std::filesystem::remove(room.dir.file("RaidNLS.properties"));
    VantUnderTest monitor(room.lib());
    EXPECT_TRUE(room.dir.exists("RaidNLS.properties"));
    EXPECT_EQ(1, room.countInLog("ERROR: BaseRaidMonitor::BaseRaidMonitor() NLS File (" +
                                 room.dir.file("RaidNLS.properties") +
                                 ") not found. Creating an empty file.\n"));
    VantAdapter adapter;
    EXPECT_EQ("", monitor.getEventID(&adapter));
    room.dir.write("RaidNLS.properties", MonitorRoom::catalogueOfKeys());
    EXPECT_NE("", monitor.getEventID(&adapter));
}

TEST(BaseRaidMonitorSettings, LogsGoIntoAFolderOfTheirOwn) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(0, monitor.logDirStatus);
    EXPECT_TRUE(room.dir.exists("qavelogs/QELVANTDebug.log"));
    EXPECT_TRUE(room.dir.exists("qavelogs/QELVANTEvents.log"));
    struct stat info {};
    ASSERT_EQ(0, stat(room.dir.file("qavelogs").c_str(), &info));
    EXPECT_EQ(0u, static_cast<unsigned>(info.st_mode) & 022u);  // 0755 less the umask
}

TEST(BaseRaidMonitorSettings, GivenAnExistingLogFolderThenItIsUsable) {
    MonitorRoom room;
    std::filesystem::create_directory(room.dir.file("qavelogs"));
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(0, monitor.logDirStatus);
}

TEST(BaseRaidMonitorSettings, GivenAFileInThePlaceOfTheLogFolderThenNothingIsLogged) {
    MonitorRoom room;
    room.dir.write("qavelogs", "in the way");
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(0, monitor.logDirStatus);
    monitor.logDebugMsg("dropped\n");
    EXPECT_EQ("in the way", room.dir.read("qavelogs"));
}

TEST(BaseRaidMonitorSettings, GivenAnExplicitLogPathThenTheLogsGoThere) {
    for (const char* ending : {"", "/"}) {
        MonitorRoom room;
        std::filesystem::create_directory(room.dir.file("elsewhere"));
        VantUnderTest monitor(room.lib(), room.dir.file("elsewhere") + ending);
        EXPECT_EQ(-1, monitor.logDirStatus);  // nothing was created
        EXPECT_TRUE(room.dir.exists("elsewhere/QELVANTDebug.log"));
        EXPECT_TRUE(room.dir.exists("elsewhere/QELVANTEvents.log"));
        EXPECT_FALSE(room.dir.exists("qavelogs"));
    }
}

TEST(BaseRaidMonitorSettings, GivenAnEmptyLogPathThenTheLogsLieBesideTheLibrary) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib(), "");
    EXPECT_TRUE(room.dir.exists("QELVANTDebug.log"));
}

TEST(BaseRaidMonitorSettings, AFolderNamedByTheHostGetsItsTrailingSlash) {
    MonitorRoom room;
    const std::string folder = room.dir.folder();
    BaseRaidMonitor::useFolder(folder.substr(0, folder.size() - 1));
    VantUnderTest monitor(room.lib());
    EXPECT_EQ(folder, monitor.getLibPath());
}

TEST(BaseRaidMonitorSettings, GivenNoFolderByTheHostThenAStaticLinkUsesTheWorkingFolder) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    BaseRaidMonitor::useFolder("");
    monitor.setQELPath();
    EXPECT_EQ("./", monitor.getLibPath());
}

TEST(BaseRaidMonitorSettings, GivenAFolderThatCannotBeWrittenThenTheMonitorIsBuiltAllTheSame) {
    MonitorRoom room;
    const TempDir logs;
    std::filesystem::remove(room.dir.file("QELConfig.conf"));
    std::filesystem::remove(room.dir.file("RaidNLS.properties"));
    chmod(logs.folder().c_str(), 0777);
    chmod(room.dir.folder().c_str(), 0555);
    asOrdinaryUser([&] {
        VantUnderTest monitor(room.lib(), logs.folder());
        EXPECT_EQ(3, monitor.getOSLoggingLevel());
        VantAdapter adapter;
        EXPECT_EQ("", monitor.getEventID(&adapter));
    });
    chmod(room.dir.folder().c_str(), 0755);
    EXPECT_EQ("ERROR: BaseRaidMonitor::BaseRaidMonitor() NLS File (" +
                  room.dir.file("RaidNLS.properties") +
                  ") not found. Creating an empty file.\n"
                  "ERROR: BaseRaidMonitor::readConfig() Config File (" +
                  room.dir.file("QELConfig.conf") + ") not found. Creating an empty file.\n",
              MonitorRoom::withoutTimes(logs.read("QELVANTDebug.log")));
    EXPECT_FALSE(room.dir.exists("QELConfig.conf"));
    EXPECT_FALSE(room.dir.exists("RaidNLS.properties"));
}

TEST(BaseRaidMonitorSettings, GivenALogFolderThatCannotBeMadeThenTheLogsLieBesideTheLibrary) {
    MonitorRoom room;
    room.dir.write("QELVANTDebug.log", "");
    room.dir.write("QELVANTEvents.log", "");
    chmod(room.dir.file("QELVANTDebug.log").c_str(), 0666);
    chmod(room.dir.file("QELVANTEvents.log").c_str(), 0666);
    chmod(room.dir.folder().c_str(), 0555);
    asOrdinaryUser([&] {
        VantUnderTest monitor(room.lib());
        EXPECT_EQ(-1, monitor.logDirStatus);
        monitor.logDebugMsg("to the debug log\n");
        setDebugMask(kDebugEvent);
        monitor.queue().addEvent("to the event log");
    });
    chmod(room.dir.folder().c_str(), 0755);
    EXPECT_NE(std::string::npos, room.dir.read("QELVANTDebug.log").find("to the debug log\n"));
    EXPECT_NE(std::string::npos, room.dir.read("QELVANTEvents.log").find("to the event log\n\n"));
    EXPECT_FALSE(room.dir.exists("qavelogs"));
}

TEST(BaseRaidMonitorSettings, ADebugLineIsTheTimeInBracketsTwoBlanksAndTheMessage) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    const std::string before = room.dir.read("qavelogs/QELVANTDebug.log");
    room.clock.moveTo(1000000000);
    monitor.logDebugMsg("Entering poll(type=%d)\n", 1);
    EXPECT_EQ(before + "[Sun Sep  9 01:46:40 2001]  Entering poll(type=1)\n",
              room.dir.read("qavelogs/QELVANTDebug.log"));
}

TEST(BaseRaidMonitorSettings, GivenALongMessageThenTheLineIsCutAt1023Characters) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    const std::string before = room.dir.read("qavelogs/QELVANTDebug.log");
    monitor.logDebugMsg("%s\n", std::string(5000, 'x').c_str());
    const std::string after = room.dir.read("qavelogs/QELVANTDebug.log");
    ASSERT_EQ(before.size() + 1023, after.size());
    EXPECT_EQ('x', after.back());  // the line end is cut off with the rest
}

TEST(BaseRaidMonitorSettings, GivenAMessageThatJustFitsThenItsLineEndIsKept) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    const std::string before = room.dir.read("qavelogs/QELVANTDebug.log");
    const std::string message(1023 - 28 - 1, 'x');
    monitor.logDebugMsg("%s\n", message.c_str());
    const std::string after = room.dir.read("qavelogs/QELVANTDebug.log");
    EXPECT_EQ(message + "\n", after.substr(before.size() + 28));
}

TEST(BaseRaidMonitorSettings, GivenANullTextThenTheLineSaysSo) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    const char* volatile nothing = nullptr;
    monitor.logDebugMsg("name: %s\n", nothing);
    EXPECT_EQ(1, room.countInLog("name: (null)\n"));
}

TEST(BaseRaidMonitorSettings, GivenThreadsThatLogAtOnceThenNoLineIsTorn) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    constexpr int kLines = 200;
    setDebugMask(0xffffff);
    std::vector<std::thread> threads;
    for (const char letter : {'a', 'b', 'c'}) {
        threads.emplace_back([&monitor, letter] {
            const std::string text(500, letter);
            for (int i = 0; i < kLines; ++i) monitor.logTrace("%s\n", text.c_str());
        });
    }
    for (int i = 0; i < kLines; ++i) monitor.stop();  // a host's thread that ends the loop
    for (std::thread& thread : threads) thread.join();
    std::istringstream log(room.dir.read("qavelogs/QELVANTDebug.log"));
    int lines = 0;
    for (std::string line; std::getline(log, line); ++lines) {
        ASSERT_GT(line.size(), 28u);
        EXPECT_EQ('[', line[0]);
        EXPECT_EQ("]  ", line.substr(25, 3));
        const std::string message = line.substr(28);
        EXPECT_TRUE(message == "VantRaidMonitor :: stop()" ||
                    message == std::string(500, message[0]))
            << message;
    }
    EXPECT_EQ(4 * kLines, lines);
}

TEST(BaseRaidMonitorSettings, GivenADebugLogOfThreeGigabytesThenItStillGetsLines) {
    MonitorRoom room;
    const std::string name = room.dir.write("qavelogs/QELVANTDebug.log", "");
    constexpr off64_t kSize = off64_t{3} * 1024 * 1024 * 1024;
    ASSERT_EQ(0, truncate64(name.c_str(), kSize));
    {
        VantUnderTest monitor(room.lib());
        monitor.logDebugMsg("line\n");
    }
    EXPECT_EQ(static_cast<std::uintmax_t>(kSize) + 28 + 5, std::filesystem::file_size(name));
}

TEST(BaseRaidMonitorSettings, MasksGateErrorsAndProgress) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    setDebugMask(0x100000);
    monitor.logError("one\n");
    monitor.logTrace("hidden\n");
    setDebugMask(0x001000);
    monitor.logError("hidden\n");
    monitor.logTrace("two\n");
    EXPECT_EQ(0, room.countInLog("hidden"));
    EXPECT_EQ(1, room.countInLog("one\ntwo\n"));
}

TEST(BaseRaidMonitorSettings, LogsAreAppendedTo) {
    MonitorRoom room;
    room.dir.write("qavelogs/QELVANTDebug.log", "from the last run\n");
    VantUnderTest monitor(room.lib());
    monitor.logDebugMsg("new\n");
    EXPECT_EQ(0u, room.dir.read("qavelogs/QELVANTDebug.log").find("from the last run\n"));
}

TEST(BaseRaidMonitorSettings, GivenAnotherCatalogueThenTheNextTextComesFromIt) {
    MonitorRoom room;
    VantUnderTest monitor(room.lib());
    VantAdapter adapter;
    adapter.addr.controllerID = 0;
    const std::string before = monitor.getEventID(&adapter);
    monitor.useCatalogue(
        room.dir.write("other", "eventArgController=Regler {0}\neventArgController2={0}\n"));
    EXPECT_EQ("Regler 1", monitor.getEventID(&adapter));
    monitor.useCatalogue("");  // names nothing and changes nothing
    EXPECT_EQ("Regler 1", monitor.getEventID(&adapter));
    monitor.useCatalogue(room.dir.file("RaidNLS.properties"));
    EXPECT_EQ(before, monitor.getEventID(&adapter));
}

}  // namespace
