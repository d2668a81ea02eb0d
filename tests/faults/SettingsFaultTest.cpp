// The engine's settings file half-written, of bytes, huge, gone, or not a file at all.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>
#include <tuple>

#include "tests/support/FilesInMemory.h"
#include "tests/support/LockFiles.h"
#include "tests/support/MonitorRoom.h"

namespace {

constexpr char kFile[] = "QELConfig.conf";
constexpr char kText[] =
    "qel.eventQueueSize=523\nqel.debugMask=1\nagent.OSLoggingLevel=2\nagent.alarm=on\n";

using Values = std::tuple<int, int, int, bool>;

// What a plain reading of the text gives; a line that is nothing but a key ends it.
struct PlainReading {
    explicit PlainReading(const std::string& newText) : text(newText) {
        queueSize = number("qel.eventQueueSize");
        debug = number("qel.debugMask");
        logging = number("agent.OSLoggingLevel");
        const std::string word = value("agent.alarm");
        alarm = word == "on" || word == "On" || word == "ON";
    }

    Values values() const { return {queueSize, debug, logging, alarm}; }

    int queueSize = 0;
    int debug = 0;
    int logging = 0;
    bool alarm = false;
    bool broken = false;

private:
    int number(const std::string& key) { return std::atoi(value(key).c_str()); }

    std::string value(const std::string& key) {
        for (std::size_t at = 0; at < text.size() && !broken;) {
            std::size_t end = text.find('\n', at);
            if (end == std::string::npos) end = text.size();
            const std::string line = text.substr(at, end - at);
            if (line == key) broken = true;
            if (line.compare(0, key.size() + 1, key + "=") == 0) return line.substr(key.size() + 1);
            at = end + 1;
        }
        return "";
    }

    std::string text;
};

class SettingsFault : public testing::Test {
protected:
    SettingsFault() { room.dir.write(kFile, kText); }

    static Values valuesOf(const VantUnderTest& monitor) {
        return {monitor.eventQueueSize, monitor.debugLevel, monitor.getOSLoggingLevel(),
                monitor.isAlarmEnabled()};
    }

    // Runs the loop; `change` happens in the first second of the first pause, and the loop ends in
    // the second pause, when the changed file has been read.
    void runAcross(VantUnderTest& monitor, const std::function<void()>& change) {
        int seconds = 0;
        room.clock.onSleep([&](unsigned) {
            if (++seconds == 1) change();
            if (seconds == 6) monitor.stop();
        });
        monitor.start();
        room.clock.onSleep(nullptr);
    }

    LockFiles locks;
    FilesInMemory inMemory;
    MonitorRoom room;
};

TEST_F(SettingsFault, GivenAFileCutAtAnyByteWhileItRunsThenTheLoopGoesOnOrCanBeStartedAgain) {
    const std::string text(kText);
    VantUnderTest monitor(room.lib());
    int broken = 0;
    for (std::size_t length = 0; length <= text.size(); ++length) {
        SCOPED_TRACE(text.substr(0, length));
        const PlainReading expected(text.substr(0, length));
        bool threw = false;
        try {
            runAcross(monitor, [&] { room.dir.write(kFile, text.substr(0, length)); });
        } catch (const std::out_of_range&) {
            threw = true;
            ++broken;
        }
        EXPECT_EQ(expected.broken, threw);
        EXPECT_TRUE(monitor.isStopped());
        if (!threw) {
            EXPECT_EQ(expected.values(), valuesOf(monitor));
        }
        room.dir.write(kFile, text);
    }
    EXPECT_EQ(4, broken) << "exactly where the cut leaves a key without anything behind it";
    runAcross(monitor, [] {});
    EXPECT_EQ((Values{523, 1, 2, true}), valuesOf(monitor));
    EXPECT_EQ(0, room.countInLog("already running"));
}

struct Damage {
    const char* name;
    std::function<void(const std::string& path)> make;
    Values read;
};

TEST_F(SettingsFault, GivenADamagedFileWhileItRunsThenTheLoopGoesOn) {
    const Values nothing{0, 0, 0, false};
    const Values kept{523, 1, 2, true};
    const auto text = [this](const std::string& contents) {
        return [this, contents](const std::string&) { room.dir.write(kFile, contents); };
    };
    std::string bytes;
    for (unsigned i = 0; i < 65536; ++i) bytes += static_cast<char>((i * 2654435761U) >> 24);
    const std::string numbers(20, '9');
    const Damage rows[] = {
        {"empty", text(""), nothing},
        {"bytes", text(bytes), nothing},
        {"zeros", text(std::string(100000, '\0')), nothing},
        {"32 MB in one line", text(std::string(32U << 20U, 'x')), nothing},
        {"32 MB in front", text(std::string(32U << 20U, 'x') + "\n" + kText), kept},
        {"a value of 32 MB",
         text("qel.eventQueueSize=" + std::string(32U << 20U, '7')),
         {0x7fffffff, 0, 0, false}},
        {"numbers too large",
         text("qel.eventQueueSize=" + numbers + "\nqel.debugMask=-" + numbers +
              "\nagent.OSLoggingLevel=0x10\n"),
         {0x7fffffff, static_cast<int>(0x80000000U), 0, false}},
        {"words for numbers", text("qel.eventQueueSize=many\nqel.debugMask=\nagent.alarm=yes\n"),
         nothing},
        {"carriage returns",
         text("qel.eventQueueSize=300\r\nagent.alarm=on\r\n"),
         {300, 0, 0, false}},
        {"a folder",
         [](const std::string& path) {
             std::filesystem::remove(path);
             std::filesystem::create_directory(path);
         },
         nothing},
        {"a pipe",
         [](const std::string& path) {
             std::filesystem::remove(path);
             ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
         },
         nothing},
        {"a device without end",
         [](const std::string& path) {
             std::filesystem::remove(path);
             std::filesystem::create_symlink("/dev/zero", path);
         },
         nothing},
        // Created empty by the next reading, and read by the one after it.
        {"deleted", [](const std::string& path) { std::filesystem::remove(path); }, nothing},
        {"a link to itself",
         [](const std::string& path) {
             std::filesystem::remove(path);
             std::filesystem::create_symlink(kFile, path);
         },
         kept},
    };
    VantUnderTest monitor(room.lib());
    for (const Damage& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = room.dir.file(kFile);
        std::filesystem::remove_all(path);
        room.dir.write(kFile, kText);
        monitor.readConfig();
        runAcross(monitor, [&] { row.make(path); });
        EXPECT_EQ(row.read, valuesOf(monitor));
        EXPECT_TRUE(monitor.isStopped());
    }
    // An absurd bound costs nothing until events come: the queue grows with them.
    monitor.queue().setMaxSize(0x7fffffff);
    monitor.queue().addEvent(QELEvent(1, 3, "one", ""));
    EXPECT_LE(1, monitor.getNumberOfEvents());
}

}  // namespace
