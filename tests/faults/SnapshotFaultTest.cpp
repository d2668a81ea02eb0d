// The stored snapshot damaged in every way: a monitor that starts with it never crashes, never
// waits, and tells what did not happen only when it also says that the snapshot is damaged.
//
// Under a sanitizer a monitor is restarted at some of the offsets only; QEL_FAULTS_ALL=1 in the
// environment takes them all.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "snapshot/QELSystem.h"
#include "storlib/Progress.h"
#include "tests/support/FilesInMemory.h"
#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/SnapshotText.h"
#include "xml/SimpleXmlException.h"

namespace {

using Codes = std::vector<int>;

constexpr char kSnapshot[] = "QELVANTConfig.xml";
constexpr char kToldStart[] = "ERROR: VantRaidMonitor::initialize() the stored system config ";

// The distance between the offsets at which a monitor is restarted.
std::size_t strideOf([[maybe_unused]] std::size_t underSanitizers) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    if (std::getenv("QEL_FAULTS_ALL") == nullptr) return underSanitizers;
#endif
    return 1;
}

class SnapshotFault : public testing::Test {
protected:
    SnapshotFault() {
        Machine::Controller& c = room.machine.addController(3);
        c.serial = "SN0042";
        c.drives = {{0, 1, kDriveMember, "KOVA-PQ", "", "S1"}, {0, 2, kDriveMember}};
        c.arrays = {{0, kLogicalOptimal}};
        room.machine.addController(4).drives = {{1, 7, kDriveReady}};
        room.source().setTasks(Addr::ofLogicalDrive(0, 0), {Progress(kTaskVerify, 40, kTaskRunning,
                                                                     Addr::ofLogicalDrive(0, 0))});
        // One monitor serves all restarts: each leaves a descriptor open for the process's life.
        monitor = std::make_unique<VantUnderTest>(room.lib());
        monitor->poll(0, monitor->queue());
        (void)monitor->getEvents(0);
        whole = room.dir.read(kSnapshot);
    }

    // What a monitor does that starts with this snapshot; the codes that it queues.
    Codes restartWith(const std::string& snapshot) {
        room.dir.write(kSnapshot, snapshot);
        return restart();
    }
    Codes restart() {
        EXPECT_TRUE(monitor->initialize(true));
        monitor->poll(0, monitor->queue());
        return MonitorRoom::codes(*monitor);
    }

    std::string damage() {
        const char* found = monitor->builder().damage();
        return found == nullptr ? "" : found;
    }

    LockFiles locks;
    FilesInMemory inMemory;
    MonitorRoom room;
    std::unique_ptr<VantUnderTest> monitor;
    std::string whole;
};

TEST_F(SnapshotFault, GivenTheWholeSnapshotThenARestartIsSilent) {
    EXPECT_EQ("</System>\n", whole.substr(whole.size() - 10));
    EXPECT_EQ((Codes{}), restartWith(whole));
    EXPECT_EQ("", damage());
    EXPECT_EQ(0, room.countInLog(kToldStart));
    EXPECT_EQ(whole, room.dir.read(kSnapshot));
}

TEST_F(SnapshotFault, GivenACutAtAnyByteThenItReadsIntoAPartOfTheTreeAndIsCalledDamaged) {
    QELConfigBuilder builder(room.dir.file(kSnapshot));
    builder.readXML();
    std::vector<RaidObject*> all;
    builder.getSystem()->getChildren(all, "RaidObject", true, true);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        room.dir.write(kSnapshot, whole.substr(0, length));
        QELConfigBuilder cut(room.dir.file(kSnapshot));
        ASSERT_NO_THROW(cut.readXML()) << length;
        std::vector<RaidObject*> some;
        cut.getSystem()->getChildren(some, "RaidObject", true, true);
        ASSERT_LE(some.size(), all.size()) << length;
        // Only the line feed behind the last tag may be missed.
        const bool damaged = length + 1 < whole.size();
        ASSERT_STREQ(damaged ? "ends early" : nullptr, cut.damage()) << length;
    }
}

struct EndCase {
    const char* text;
    const char* damage;
};

// clang-format off
constexpr EndCase kEnds[] = {
    {"<System/>\n",                        ""},
    {"<System />",                         ""},
    {"<System>\n</System>\n",              ""},
    {"<System>\n</System\t> \r\n",         ""},
    {"<System>\n</System>\n\xff<System>",  ""},  // nothing counts behind such a byte
    {"",                                   "ends early"},
    {" \n",                                "ends early"},
    {"<System>\n",                         "ends early"},
    {"<System>\n<Controller/>\n",          "ends early"},
    {"<System>\n</Systems>\n",             "ends early"},
    {"<System>\n</System",                 "ends early"},
    {"<System>\n</System>\nmore",          "ends early"},
    {"<System>\n</System>\n<",             "ends early"},
};
// clang-format on

TEST_F(SnapshotFault, GivenAnyEndThenOnlyThatOfTheRootIsWhole) {
    for (const EndCase& row : kEnds) {
        room.dir.write(kSnapshot, row.text);
        QELConfigBuilder builder(room.dir.file(kSnapshot));
        builder.readXML();
        const char* damage = builder.damage();
        EXPECT_EQ(row.damage, std::string(damage == nullptr ? "" : damage)) << row.text;
    }
}

TEST_F(SnapshotFault, GivenACutAnywhereWhenTheMonitorStartsThenWhatItTellsIsSaidToBeUncertain) {
    const std::size_t stride = strideOf(41);
    std::set<std::size_t> lengths{0, 1, whole.size() - 1};
    for (std::size_t at = 0; at < whole.size(); at += stride) lengths.insert(at);
    for (std::size_t at = 0; at < whole.size(); ++at) {  // both sides of every tag
        if (whole[at] == '<') lengths.insert(at);
        if (whole[at] == '>') lengths.insert(at + 1);
    }
    for (const std::size_t length : lengths) {
        const Codes told = restartWith(whole.substr(0, length));
        if (!told.empty()) {
            ASSERT_EQ("ends early", damage()) << length;
        }
        ASSERT_EQ(whole, room.dir.read(kSnapshot)) << length;
        ASSERT_EQ((Codes{}), restart()) << "only once, " << length;
        ASSERT_EQ("", damage()) << length;
    }
}

// Where no tag is torn, nothing is taken for gone or broken: what is missing counts as new.
TEST_F(SnapshotFault, GivenACutBetweenTagsThenNothingIsReportedLost) {
    const std::set<int> asNew{207, 299, 307, 346, 399, 407, 499};
    for (std::size_t at = whole.find('\n'); at + 1 < whole.size(); at = whole.find('\n', at + 1)) {
        for (const int code : restartWith(whole.substr(0, at + 1))) {
            ASSERT_EQ(1U, asNew.count(code)) << code << " at " << at;
        }
    }
}

TEST_F(SnapshotFault, GivenACutSnapshotThenTheLogSaysSoBeforeAnythingIsCompared) {
    room.debugEverything();
    room.dir.write(kSnapshot, whole.substr(0, whole.size() / 2));
    VantUnderTest next(room.lib());
    next.poll(0, next.queue());
    EXPECT_LT(0, next.getNumberOfEvents());
    EXPECT_EQ(1, room.countInLog("ERROR: VantRaidMonitor::initialize() the stored system config "
                                 "ends early; what it lacks counts as new\n"));
    const std::string log = room.debugLog();
    EXPECT_LT(log.find(kToldStart), log.rfind("\tin CHECK_CONFIG\n"));
}

// Zeros behind a "=" or in a tag's end are no XML any more.
TEST_F(SnapshotFault, GivenATailOfZerosThenItIsCalledDamagedOrRefused) {
    int refused = 0;
    for (std::size_t from = 0; from + 1 < whole.size(); from += strideOf(11)) {
        std::string text = whole;
        std::fill(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), '\0');
        try {
            (void)restartWith(text);
            ASSERT_EQ("ends early", damage()) << from;
        } catch (const SimpleXmlException&) {
            ++refused;
            ASSERT_TRUE(whole[from - 1] == '=' || whole[from - 1] == '/') << from;
        }
    }
    EXPECT_LT(0, refused);
    (void)restartWith(whole + std::string(4096, '\0'));  // blocks that were never written
    EXPECT_EQ("ends early", damage());
}

// A snapshot has no sum over its bytes: a changed byte is found only where the grammar breaks. What
// holds all the same: no crash, no endless reading, and a good snapshot afterwards.
TEST_F(SnapshotFault, GivenAChangedByteAnywhereThenItIsReadOrRefusedAndTheNextSnapshotIsGood) {
    const std::size_t stride = strideOf(29);
    int refused = 0;
    int told = 0;
    int silent = 0;
    for (const int mask : {0x01, 0x10, 0xff}) {
        for (std::size_t at = 0; at < whole.size(); ++at) {
            std::string text = whole;
            text[at] = static_cast<char>(text[at] ^ mask);
            const ExactBuffer bytes(text);
            QELSystem system(kStorLibGeneric);
            SimpleXmlParser parser(bytes.data(), bytes.size());
            bool readable = true;
            try {
                system.build(parser);
            } catch (const SimpleXmlException& e) {
                ASSERT_LE(e.offset, text.size());
                readable = false;
            }
            system.deleteAllChildren();
            if (at % stride != 0) continue;
            if (!readable) {
                room.dir.write(kSnapshot, text);
                ASSERT_THROW(monitor->initialize(true), SimpleXmlException) << at;
                ++refused;
                room.dir.write(kSnapshot, "");
                (void)restart();
            } else {
                restartWith(text).empty() ? ++silent : ++told;
            }
            ASSERT_EQ(whole, room.dir.read(kSnapshot)) << at;
        }
    }
    EXPECT_LT(0, refused);
    RecordProperty("refused", refused);
    RecordProperty("events", told);
    RecordProperty("silent", silent);
}

struct InPlaceOfIt {
    const char* name;
    std::function<void(const std::string& path)> put;
    const char* damage;
    bool rewritten;  // the next snapshot gets there
};

TEST_F(SnapshotFault, GivenSomethingElseInItsPlaceThenTheMonitorStartsAllTheSame) {
    const auto link = [](const char* target) {
        return [target](const std::string& path) { ASSERT_EQ(0, symlink(target, path.c_str())); };
    };
    const InPlaceOfIt rows[] = {
        {"nothing", [](const std::string&) {}, "", true},
        {"an empty file", [this](const std::string&) { room.dir.write(kSnapshot, ""); },
         "ends early", true},
        {"a folder", [](const std::string& path) { ASSERT_EQ(0, mkdir(path.c_str(), 0755)); },
         "is no plain file", false},
        {"a pipe", [](const std::string& path) { ASSERT_EQ(0, mkfifo(path.c_str(), 0600)); },
         "is no plain file", false},
        {"a device without end", link("/dev/zero"), "is no plain file", false},
        {"a device without contents", link("/dev/null"), "is no plain file", false},
        {"a link to itself", link(kSnapshot), "cannot be opened", false},
        {"a link to a file that is not there", link("elsewhere.xml"), "", true},
        {"a link to a folder", link("/tmp"), "is no plain file", false},
    };
    const Codes firstLook = [this] {
        std::filesystem::remove(room.dir.file(kSnapshot));
        return restart();
    }();
    for (const InPlaceOfIt& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = room.dir.file(kSnapshot);
        std::filesystem::remove_all(path);
        row.put(path);
        EXPECT_EQ(firstLook, restart());
        EXPECT_EQ(row.damage, damage());
        if (row.rewritten) {
            EXPECT_EQ(whole, room.dir.read(kSnapshot));
        }
        std::filesystem::remove_all(path);
    }
}

// A reader that takes nothing: what does not fit into the pipe is left out, and nobody waits.
TEST_F(SnapshotFault, GivenAPipeThatNobodyEmptiesThenThePollsGoOn) {
    const std::string path = room.dir.file(kSnapshot);
    std::filesystem::remove(path);
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_NE(-1, reader);
    for (int i = 0; i < 40; ++i) monitor->poll(0, monitor->queue());  // pipes hold 64 KiB
    room.machine.controllers[0].drives[0].state = kDriveFailed;
    (void)monitor->getEvents(0);
    room.clock.advance(120);
    monitor->poll(1, monitor->queue());
    EXPECT_EQ((Codes{401, 499}), MonitorRoom::codes(*monitor));
    close(reader);
}

TEST_F(SnapshotFault, GivenASnapshotThatMayNotBeReadThenItIsCalledSo) {
    const std::string path = room.dir.file(kSnapshot);
    chmod(room.dir.folder().c_str(), 0777);
    chmod(path.c_str(), 0);
    asOrdinaryUser([&] {
        QELConfigBuilder builder(path);
        builder.readXML();
        EXPECT_EQ(0U, builder.getSystem()->getChildCount());
        EXPECT_STREQ("cannot be opened", builder.damage());
        builder.writeXML();
    });
    EXPECT_EQ(whole, room.dir.read(kSnapshot)) << "the old one survives";
}

}  // namespace
