#include "agent/sinks/SyslogSink.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "agent/Failure.h"
#include "tests/agent/LocalService.h"
#include "tests/agent/SinkFixture.h"
#include "tests/support/TempDir.h"

namespace {

constexpr char kRsyslogd[] = "/usr/sbin/rsyslogd";

std::string ownPid() { return std::to_string(getpid()); }

SinkSettings syslogAt(const std::string& socket) {
    SinkSettings settings = sinkSettings("log", "syslog");
    settings.texts["socket"] = socket;
    settings.timeout = 2;
    return settings;
}

TEST(SyslogSink, ALineHasPriorityTimeTagTextAndFields) {
    SinkSettings settings = sinkSettings("log", "syslog");
    settings.texts["facility"] = "local3";
    settings.texts["tag"] = "raid";
    const SyslogSink sink(settings);
    EXPECT_EQ("<155>Sep  9 01:46:40 raid[" + ownPid() +
                  "]: Drive failed: slot 3. id=\"m:1\" severity=\"error\" code=\"401\""
                  " event=\"EVENT_TORVEX_PD_STATE_FAILED\" object=\"drive 1:0:3\""
                  " serial=\"S7K2M9Q0\"",
              sink.line(driveEvent(), "m:1"));
    EXPECT_EQ("<156>Sep  9 01:46:40 raid[" + ownPid() +
                  "]: DEGRADED md127 on host: survives no further failure id=\"m:2\""
                  " severity=\"warning\" notice=\"opened\" code=\"301\" object=\"md127\""
                  " incident=\"7\"",
              sink.line(arrayNotice(), "m:2"));
}

TEST(SyslogSink, TestsAndDrillsAreMarked) {
    const SyslogSink sink(sinkSettings("log", "syslog"));
    EXPECT_NE(std::string::npos, sink.line(testNotice(), "m:1").find("]: TEST: "));
    Record drill = driveEvent();
    drill.origin = Origin::kDrill;
    EXPECT_NE(std::string::npos, sink.line(drill, "m:1").find("]: DRILL: Drive failed"));
}

TEST(SyslogSink, HostileBytesCannotMakeASecondLineOrAField) {
    const SyslogSink sink(sinkSettings("log", "syslog"));
    Record record = driveEvent(401, kEventError, "x\" incident=\"9\\\n<0>evil");
    record.event.text = std::string("a\nb\0c\x1b[2J\xff", 10) + std::string(5000, 'x');
    const std::string line = sink.line(record, "m:1");
    for (const char c : line) EXPECT_GE(static_cast<unsigned char>(c), 0x20) << line;
    EXPECT_NE(std::string::npos, line.find("a\\nb\\x00c\\x1b[2J\\xff"));
    EXPECT_NE(std::string::npos, line.find("serial=\"x\\\" incident=\\\"9\\\\\\\\n<0>evil\""))
        << line;
    EXPECT_LT(line.size(), 2048u);
}

TEST(SyslogSink, LeavesOutCompanionsAndPercentages) {
    const SyslogSink sink(sinkSettings("log", "syslog"));
    EXPECT_TRUE(sink.wants(driveEvent()));
    EXPECT_TRUE(sink.wants(arrayNotice()));
    EXPECT_FALSE(sink.wants(driveEvent(499)));
    EXPECT_FALSE(sink.wants(driveEvent(372, kEventProgress)));
}

TEST(SyslogSink, GivenNobodyWhoListensThenItWaits) {
    const TempDir dir;
    SyslogSink sink(syslogAt(dir.file("log")));
    const Answer answer = sink.deliver(driveEvent(), "m:1");
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_EQ("no syslog service listens on " + dir.file("log") + "; start one, or use the journal",
              answer.text);
    EXPECT_EQ(answer.text, sink.problem());
}

class Listener {
public:
    Listener(const std::string& path, int type) : fd(socket(AF_UNIX, type, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
        if (type == SOCK_STREAM) {
            EXPECT_EQ(0, listen(fd, 5));
        }
    }
    ~Listener() { close(fd); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int fd;
};

TEST(SyslogSink, GivenAServiceOnAStreamThenEachLineEndsWithNul) {
    const TempDir dir;
    const Listener listener(dir.file("log"), SOCK_STREAM);
    SyslogSink sink(syslogAt(dir.file("log")));
    EXPECT_EQ(Answer::Kind::kDelivered, sink.deliver(driveEvent(), "m:1").kind);
    const int peer = accept(listener.fd, nullptr, nullptr);
    char bytes[4096];
    const ssize_t size = read(peer, bytes, sizeof bytes);
    close(peer);
    ASSERT_GT(size, 1);
    EXPECT_EQ(sink.line(driveEvent(), "m:1") + std::string(1, '\0'),
              std::string(bytes, static_cast<std::size_t>(size)));
}

TEST(SyslogSink, GivenAServiceThatDoesNotReadThenItGivesUpInTime) {
    const TempDir dir;
    const Listener listener(dir.file("log"), SOCK_DGRAM);
    SinkSettings settings = syslogAt(dir.file("log"));
    settings.timeout = 1;
    SyslogSink sink(settings);
    Answer answer;
    for (int i = 0; i < 5000 && answer.kind == Answer::Kind::kDelivered; ++i) {
        answer = sink.deliver(driveEvent(), "m:1");
    }
    EXPECT_EQ(Answer::Kind::kRetry, answer.kind);
    EXPECT_EQ("the syslog service on " + dir.file("log") + " does not read", answer.text);
}

TEST(SyslogSink, WrongSettingsNameTheKey) {
    struct {
        const char* key;
        const char* value;
        const char* says;
    } cases[] = {
        {"socket", "log", "socket: \"log\" is no whole path of a socket, 107 bytes at most"},
        {"facility", "kernel", "facility: \"kernel\" is none of user, "},
        {"tag", "a b", "tag: must be 1 to 32 letters, digits or -_./"},
        {"tag", "", "tag: must be"},
    };
    for (const auto& c : cases) {
        SinkSettings settings = sinkSettings("log", "syslog");
        settings.texts[c.key] = c.value;
        try {
            const SyslogSink sink(settings);
            ADD_FAILURE() << c.says;
        } catch (const Failure& e) {
            EXPECT_NE(std::string::npos, std::string(e.what()).find(c.says)) << e.what();
        }
    }
    SinkSettings settings = sinkSettings("log", "syslog");
    settings.texts["socket"] = "/" + std::string(107, 'x');
    EXPECT_THROW(SyslogSink sink(settings), Failure);
}

TEST(SyslogSink, ARealServiceUnderstandsTheLine) {
    if (access(kRsyslogd, X_OK) != 0) GTEST_SKIP() << "NOT TESTED: no rsyslogd; install rsyslog";
    const TempDir dir;
    dir.write("conf", "global(workDirectory=\"" + dir.folder() + "\")\n" +
                          "module(load=\"imuxsock\" SysSock.Use=\"off\")\n" +
                          "input(type=\"imuxsock\" Socket=\"" + dir.file("log") + "\")\n" +
                          "template(name=\"line\" type=\"string\" string=\"%syslogfacility-text%|"
                          "%syslogseverity-text%|%programname%|%procid%|%msg%\\n\")\n" +
                          "action(type=\"omfile\" file=\"" + dir.file("out") +
                          "\" template=\"line\")\n");
    const LocalService service(
        {kRsyslogd, "-n", "-f", dir.file("conf"), "-i", dir.file("pid"), "-C"});
    SyslogSink sink(syslogAt(dir.file("log")));
    ASSERT_TRUE(waitUntil([&] { return sink.problem().empty(); })) << sink.problem();

    Record hostile = driveEvent(402, kEventWarning, "S/N\x1b]0;x\x07");
    EXPECT_EQ(Answer::Kind::kDelivered, sink.deliver(driveEvent(), "m:1").kind);
    const Answer answer = sink.deliver(hostile, "m:2");
    EXPECT_EQ("taken by the syslog service on " + dir.file("log"), answer.text);
    const std::string expected =
        "daemon|err|raidwatch|" + ownPid() +
        "| Drive failed: slot 3. id=\"m:1\" severity=\"error\" code=\"401\""
        " event=\"EVENT_TORVEX_PD_STATE_FAILED\" object=\"drive 1:0:3\" serial=\"S7K2M9Q0\"\n"
        "daemon|warning|raidwatch|" +
        ownPid() +
        "| Drive failed: slot 3. id=\"m:2\" severity=\"warning\" code=\"402\""
        " event=\"EVENT_TORVEX_PD_STATE_FAILED\" object=\"drive 1:0:3\""
        " serial=\"S/N\\\\x1b]0;x\\\\x07\"\n";
    EXPECT_TRUE(waitUntil([&] { return dir.read("out").size() >= expected.size(); }));
    EXPECT_EQ(expected, dir.read("out"));
}

}  // namespace
