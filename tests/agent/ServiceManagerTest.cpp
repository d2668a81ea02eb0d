#include "agent/daemon/ServiceManager.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/TempDir.h"

namespace {

// A service manager's end of the socket, and the environment that it gives.
class ServiceManagerTest : public testing::Test {
protected:
    ServiceManagerTest() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, dir.file("notify").c_str());
        fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(0, bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        setenv("NOTIFY_SOCKET", dir.file("notify").c_str(), 1);
        unsetenv("WATCHDOG_USEC");
        unsetenv("WATCHDOG_PID");
    }
    ~ServiceManagerTest() override {
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
        unsetenv("WATCHDOG_PID");
        close(fd);
    }
    std::string heard() const {
        char text[1000];
        const ssize_t count = recv(fd, text, sizeof text, MSG_DONTWAIT);
        return count < 0 ? "" : std::string(text, static_cast<std::size_t>(count));
    }
    void watchdog(const char* microseconds) const {
        setenv("WATCHDOG_USEC", microseconds, 1);
        setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    }

    TempDir dir;
    int fd = -1;
};

TEST_F(ServiceManagerTest, TellsWhenItIsReadyAndHowItGoes) {
    ServiceManager service;
    service.ready("watching linux");
    EXPECT_EQ("READY=1\nSTATUS=watching linux", heard());
    service.status("watching linux");
    EXPECT_EQ("", heard()) << "nothing has changed";
    service.status("2 arrays");
    EXPECT_EQ("STATUS=2 arrays", heard());
    service.stopping();
    EXPECT_EQ("STOPPING=1", heard());
}

TEST_F(ServiceManagerTest, AStatusCannotSmuggleALineIn) {
    ServiceManager service;
    service.status("bad\nWATCHDOG=1");
    EXPECT_EQ("STATUS=bad\\nWATCHDOG=1", heard());
}

TEST_F(ServiceManagerTest, GivenASocketWithoutAFileThenTellsItToo) {
    const std::string name = "raidwatch-test-" + std::to_string(getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path + 1, name.c_str());
    const int other = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    ASSERT_EQ(0, bind(other, reinterpret_cast<const sockaddr*>(&address), size));
    setenv("NOTIFY_SOCKET", ("@" + name).c_str(), 1);
    ServiceManager().stopping();
    char text[100];
    const ssize_t count = recv(other, text, sizeof text, MSG_DONTWAIT);
    close(other);
    ASSERT_LT(0, count);
    EXPECT_EQ("STOPPING=1", std::string(text, static_cast<std::size_t>(count)));
}

TEST_F(ServiceManagerTest, GivenAPlaceThatIsNoSocketThenNothingHappens) {
    for (const char* place : {"", "relative", "vsock:2:1", "/nowhere/at/all"}) {
        setenv("NOTIFY_SOCKET", place, 1);
        ServiceManager().stopping();
        EXPECT_EQ("", heard()) << place;
    }
    setenv("NOTIFY_SOCKET", ("/" + std::string(200, 'x')).c_str(), 1);
    ServiceManager().stopping();
    EXPECT_EQ("", heard());
}

TEST_F(ServiceManagerTest, AReloadCarriesItsTime) {
    ServiceManager service;
    service.reloading();
    EXPECT_EQ(0u, heard().find("RELOADING=1\nMONOTONIC_USEC="));
}

TEST_F(ServiceManagerTest, GivenNoWatchdogThenPollsAreNotTold) {
    ServiceManager service;
    EXPECT_FALSE(service.hasWatchdog());
    service.polled();
    EXPECT_EQ("", heard());
}

TEST_F(ServiceManagerTest, GivenAWatchdogThenOnlyPollsFeedIt) {
    watchdog("1");  // a microsecond: every poll is due
    ServiceManager service;
    ASSERT_TRUE(service.hasWatchdog());
    service.status("busy");
    EXPECT_EQ("STATUS=busy", heard());
    service.polled();
    EXPECT_EQ("WATCHDOG=1", heard());
    EXPECT_EQ("", heard());
}

TEST_F(ServiceManagerTest, GivenALongIntervalThenDoesNotChatter) {
    watchdog("3600000000");
    ServiceManager service;
    service.ready("up");
    (void)heard();
    for (int i = 0; i < 10; ++i) service.polled();
    EXPECT_EQ("", heard());
}

TEST_F(ServiceManagerTest, GivenAnotherProcessIsMeantThenThereIsNoWatchdog) {
    watchdog("1000000");
    setenv("WATCHDOG_PID", "1", 1);
    EXPECT_FALSE(ServiceManager().hasWatchdog());
}

TEST_F(ServiceManagerTest, GivenAnIntervalThatIsNoNumberThenThereIsNoWatchdog) {
    for (const char* text : {"", "soon", "10s", "-5", "0", "99999999999999999999"}) {
        watchdog(text);
        EXPECT_FALSE(ServiceManager().hasWatchdog()) << text;
    }
}

}  // namespace
