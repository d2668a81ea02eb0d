// The message catalogue changed behind the back of a monitor that runs: which texts its events have
// then, and that it monitors on.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>

#include "tests/support/FilesInMemory.h"
#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"
#include "tests/support/OrdinaryUser.h"

namespace {

using Codes = std::vector<int>;

constexpr char kFile[] = "RaidNLS.properties";
constexpr char kOld[] =
    "agentEventErrDefunctDrive=old: {0} failed\neventArgControllerScsiDevice=drive {0}/{1}/{2}\n";
constexpr char kNew[] =
    "agentEventErrDefunctDrive=new: {0} failed\neventArgControllerScsiDevice=drive {0}/{1}/{2}\n";
const ControllerEvent kChanged{7, 0, 0, 0, "", "configuration changed"};

class CatalogueFault : public testing::Test {
protected:
    CatalogueFault() {
        room.machine.addController(3).drives = {{0, 1, kDriveReady}};
        room.dir.write(kFile, kOld);
    }

    std::unique_ptr<VantUnderTest> settled() {
        auto monitor = std::make_unique<VantUnderTest>(room.lib());
        monitor->poll(0, monitor->queue());
        (void)monitor->getEvents(0);
        return monitor;
    }

    // Lets the drive fail; what is told of it, up to the first blank.
    std::string tellOfFailure(VantUnderTest& monitor) {
        failNow(true);
        monitor.poll(1, monitor.queue());
        const std::vector<QELEvent> events = monitor.getEvents(0);
        failNow(false);
        monitor.poll(1, monitor.queue());
        (void)monitor.getEvents(0);
        if (events.size() != 2 || events[0].eventCode != 401) return "not told";
        return events[0].text.substr(0, events[0].text.find(' '));
    }

    void failNow(bool fails) {
        room.machine.controllers[0].drives[0].state = fails ? kDriveFailed : kDriveReady;
        room.source().appendEvent(0, kChanged);
    }

    std::string path() const { return room.dir.file(kFile); }

    LockFiles locks;
    FilesInMemory inMemory;
    MonitorRoom room;
};

struct Change {
    const char* name;
    std::function<void()> make;
    const char* next;        // what the next event says
    const char* afterReset;  // and what it says once the catalogue is opened anew, as at a start
};

TEST_F(CatalogueFault, GivenAChangeWhileItRunsThenEventsAreToldWithTheTextsThatAreThere) {
    const auto replaceBy = [this](const char* text) {
        room.dir.write("other", text);
        std::filesystem::rename(room.dir.file("other"), path());
    };
    const Change changes[] = {
        {"edited in place", [&] { room.dir.write(kFile, kNew); }, "new:", "new:"},
        {"emptied in place", [&] { room.dir.write(kFile, ""); }, "", ""},
        // The open file stays what it was.
        {"replaced by renaming", [&] { replaceBy(kNew); }, "old:", "new:"},
        {"replaced by an empty one", [&] { replaceBy(""); }, "old:", ""},
        {"deleted", [&] { std::filesystem::remove(path()); }, "old:", ""},
        {"a folder in its place",
         [&] {
             std::filesystem::remove(path());
             std::filesystem::create_directory(path());
         },
         "old:", ""},
        {"a pipe in its place",
         [&] {
             std::filesystem::remove(path());
             ASSERT_EQ(0, mkfifo(path().c_str(), 0600));
         },
         "old:", ""},
        {"a device without end in its place",
         [&] {
             std::filesystem::remove(path());
             std::filesystem::create_symlink("/dev/zero", path());
         },
         "old:", ""},
        {"bytes that are no text", [&] { room.dir.write(kFile, std::string(100000, '\0')); }, "",
         ""},
        {"one line of ten megabytes",
         [&] { room.dir.write(kFile, std::string(10000000, 'x') + "\n" + kNew); }, "new:", "new:"},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.name);
        std::filesystem::remove_all(path());
        room.dir.write(kFile, kOld);
        auto monitor = settled();
        EXPECT_EQ("old:", tellOfFailure(*monitor));
        change.make();
        EXPECT_EQ(change.next, tellOfFailure(*monitor));
        monitor->useCatalogue(path());
        EXPECT_EQ(change.afterReset, tellOfFailure(*monitor));
        std::filesystem::remove_all(path());
        room.dir.write(kFile, kNew);  // and all is well again, without a start
        monitor->useCatalogue(path());
        EXPECT_EQ("new:", tellOfFailure(*monitor));
    }
}

TEST_F(CatalogueFault, GivenAFolderOrAPipeAtTheStartThenTheMonitorIsBuiltWithoutTexts) {
    for (const bool pipe : {false, true}) {
        std::filesystem::remove_all(path());
        if (pipe) {
            ASSERT_EQ(0, mkfifo(path().c_str(), 0600));
        } else {
            std::filesystem::create_directory(path());
        }
        auto monitor = settled();
        EXPECT_EQ("", tellOfFailure(*monitor));
        std::filesystem::remove_all(path());
        room.dir.write(kFile, kNew);
        EXPECT_EQ("new:", tellOfFailure(*monitor)) << "each look-up tries again";
    }
}

TEST_F(CatalogueFault, GivenRightsTakenAwayWhileItRunsThenTheOpenFileIsReadOn) {
    chmod(room.dir.folder().c_str(), 0777);
    asOrdinaryUser([&] {
        auto monitor = settled();
        // By its owner; the folder is everybody's here.
        const std::string aside = room.dir.file("aside");
        std::filesystem::rename(path(), aside);
        EXPECT_EQ("old:", tellOfFailure(*monitor));
        monitor->useCatalogue(path());
        EXPECT_EQ("", tellOfFailure(*monitor));
        std::filesystem::rename(aside, path());
        EXPECT_EQ("old:", tellOfFailure(*monitor));
    });
    chmod(path().c_str(), 0);
    asOrdinaryUser([&] {
        auto monitor = settled();
        EXPECT_EQ("", tellOfFailure(*monitor));
    });
}

// A half-written catalogue. A line that is nothing but a key, and a text that ends in "{", break a
// look-up off with an exception; it ends the poll, and the next one tells what that one could not.
TEST_F(CatalogueFault, GivenACutAtAnyByteThenTheEventIsToldAtTheLatestWhenTheFileIsWhole) {
    const std::string text(kOld);
    auto monitor = settled();
    int broken = 0;
    for (std::size_t length = 0; length <= text.size(); ++length) {
        SCOPED_TRACE(length);
        room.dir.write(kFile, text.substr(0, length));
        const std::string last = text.substr(0, length).substr(
            length == 0 ? 0 : text.rfind('\n', length - 1) + 1);  // npos + 1 is 0
        failNow(true);
        bool threw = false;
        try {
            monitor->poll(1, monitor->queue());
        } catch (const std::out_of_range&) {
            threw = true;
            ++broken;
        }
        const bool breaksOff = last == "agentEventErrDefunctDrive" ||
                               last == "eventArgControllerScsiDevice" ||
                               (!last.empty() && last.back() == '{');
        ASSERT_TRUE(breaksOff || !threw) << last;
        room.dir.write(kFile, text);
        room.clock.advance(120);
        monitor->poll(1, monitor->queue());
        EXPECT_EQ((Codes{401, 499}), MonitorRoom::codes(*monitor));
        failNow(false);
        monitor->poll(1, monitor->queue());
        (void)monitor->getEvents(0);
    }
    EXPECT_LE(3, broken);
}

}  // namespace
