#include "agent/daemon/ControlServer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "agent/Failure.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TempDir.h"

namespace {

using std::chrono::milliseconds;

// A client that waits for what it reads.
class Client {
public:
    explicit Client(const std::string& file) : fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, file.c_str());
        timeval limit{10, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        up = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~Client() { close(fd); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool say(const std::string& text) const {
        return send(fd, text.data(), text.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(text.size());
    }
    // One line, or what came before the end.
    std::string hear() const {
        std::string line;
        std::vector<char> bytes(65536);
        for (;;) {
            const ssize_t seen = recv(fd, bytes.data(), bytes.size(), MSG_PEEK);
            if (seen <= 0) return line;
            const auto last = bytes.begin() + seen;
            const auto end = std::find(bytes.begin(), last, '\n');
            line.append(bytes.begin(), end);
            const auto taken =
                static_cast<std::size_t>(end - bytes.begin()) + (end == last ? 0 : 1);
            (void)recv(fd, bytes.data(), taken, 0);
            if (end != last) return line;
        }
    }
    std::string ask(const std::string& text) const { return say(text + "\n") ? hear() : ""; }
    bool isClosed() const {
        char byte = 0;
        return recv(fd, &byte, 1, 0) <= 0;
    }

    int fd;
    bool up = false;
};

class ControlServerTest : public testing::Test {
protected:
    void serve(const ControlServer::Limits& limits = {}) {
        server = std::make_unique<ControlServer>(
            file, ControlServer::Access{0666, ""},
            [this](const std::string& line, uid_t peer) {
                lastPeer = peer;
                ++handled;
                if (line == "big") return std::string(8 * 1024 * 1024, 'x');
                return "echo " + line;
            },
            limits);
    }

    TempDir dir;
    std::string file = dir.file("sock");
    std::atomic<uid_t> lastPeer{12345};
    std::atomic<int> handled{0};
    std::unique_ptr<ControlServer> server;
};

TEST_F(ControlServerTest, GivenAGroupThenItMayUseTheSocketAndOneThatIsNotThereIsSaid) {
    struct Case {
        const char* group;
        mode_t mode;
        const char* remark;
    };
    for (const Case& c :
         {Case{"root", 0660, ""}, Case{"no-such-group", 0600, "there is no group"}}) {
        if (getuid() != 0) GTEST_SKIP() << "NOT TESTED: only root gives files to groups";
        ControlServer made(file, ControlServer::Access{0660, c.group},
                           [](const std::string&, uid_t) { return std::string(); }, {});
        struct stat info {};
        ASSERT_EQ(0, stat(file.c_str(), &info));
        EXPECT_EQ(c.mode, info.st_mode & 0777) << c.group;
        EXPECT_EQ(*c.remark == 0, made.note().empty()) << made.note();
        EXPECT_NE(std::string::npos, made.note().find(c.remark)) << made.note();
    }
}

TEST_F(ControlServerTest, AnswersLineForLineAndKnowsWhoAsks) {
    serve();
    const Client client(file);
    EXPECT_EQ("echo one", client.ask("one"));
    EXPECT_EQ("echo two", client.ask("two"));
    EXPECT_EQ(getuid(), lastPeer);
    ASSERT_TRUE(client.say("a\nb\nc\n"));
    EXPECT_EQ("echo a", client.hear());
    EXPECT_EQ("echo b", client.hear());
    EXPECT_EQ("echo c", client.hear());
    struct stat info {};
    ASSERT_EQ(0, stat(file.c_str(), &info));
    EXPECT_EQ(0666u, info.st_mode & 0777u);
}

TEST_F(ControlServerTest, GivenALineInPiecesThenWaitsForItsEnd) {
    serve();
    const Client client(file);
    ASSERT_TRUE(client.say("he"));
    ASSERT_TRUE(client.say("llo\n"));
    EXPECT_EQ("echo hello", client.hear());
}

TEST_F(ControlServerTest, GivenALineThatIsTooLongThenSaysSoAndCloses) {
    serve();
    const Client client(file);
    (void)client.say(std::string(100 * 1024, 'x'));
    EXPECT_NE(std::string::npos, client.hear().find("too long"));
    EXPECT_TRUE(client.isClosed());
    EXPECT_EQ("echo ok", Client(file).ask("ok"));
}

TEST_F(ControlServerTest, GivenALineOfExactlyTheLimitThenAnswersIt) {
    serve();
    const Client client(file);
    const std::string line(64 * 1024, 'x');
    EXPECT_EQ("echo " + line, client.ask(line));
}

TEST_F(ControlServerTest, GivenAClientThatSaysNothingThenItIsDroppedAndNobodyWaitsForIt) {
    ControlServer::Limits limits;
    limits.patience = milliseconds(50);
    serve(limits);
    const Client silent(file);
    const Client slow(file);
    ASSERT_TRUE(slow.say("no end of line"));
    EXPECT_EQ("echo quick", Client(file).ask("quick"));
    EXPECT_TRUE(silent.isClosed());
    EXPECT_TRUE(slow.isClosed());
}

TEST_F(ControlServerTest, GivenAClientThatReadsNothingThenOthersAreServed) {
    ControlServer::Limits limits;
    limits.patience = milliseconds(200);
    serve(limits);
    const Client deaf(file);
    ASSERT_TRUE(deaf.say("big\nbig\nbig\n"));
    for (int i = 0; i < 20; ++i) EXPECT_EQ("echo me", Client(file).ask("me"));
}

TEST_F(ControlServerTest, GivenABigAnswerThenAllOfItArrives) {
    serve();
    // Not EXPECT_EQ, which would print it.
    EXPECT_TRUE(Client(file).ask("big") == std::string(8 * 1024 * 1024, 'x'));
}

TEST_F(ControlServerTest, GivenThousandsOfLinesAtOnceThenAnswersAll) {
    serve();
    const Client client(file);
    std::string lines;
    for (int i = 0; i < 4000; ++i) lines += "\n";
    ASSERT_TRUE(client.say(lines));
    for (int i = 0; i < 4000; ++i) ASSERT_EQ("echo ", client.hear()) << i;
}

TEST_F(ControlServerTest, GivenTooManyOfOneUserThenTurnsTheRestAway) {
    ControlServer::Limits limits;
    limits.perUser = 2;
    serve(limits);
    const Client first(file);
    const Client second(file);
    EXPECT_EQ("echo a", first.ask("a"));
    EXPECT_EQ("echo b", second.ask("b"));
    const Client third(file);
    EXPECT_NE(std::string::npos, third.hear().find("too many connections"));
    EXPECT_EQ("echo again", first.ask("again"));
}

// A third connection is turned away after the second client's line was seen.
TEST_F(ControlServerTest, GivenAUserWhoReadsNothingThenNoMoreIsKeptForHim) {
    ControlServer::Limits limits;
    limits.perUser = 2;
    limits.unread = 1000;
    serve(limits);
    const Client first(file);
    ASSERT_TRUE(first.say("big\n"));
    while (handled < 1) std::this_thread::yield();
    const Client second(file);
    ASSERT_TRUE(second.say("x\n"));
    const Client third(file);
    EXPECT_NE(std::string::npos, third.hear().find("too many connections"));
    EXPECT_EQ(1, handled);
    EXPECT_EQ(8u * 1024 * 1024, first.hear().size());
    EXPECT_EQ("echo x", second.hear());
}

// Its end would wake the server again and again.
TEST_F(ControlServerTest, GivenAClientThatGoesWhileItsLineWaitsThenItIsForgottenAtOnce) {
    ControlServer::Limits limits;
    limits.perUser = 2;
    limits.unread = 1000;
    limits.patience = std::chrono::seconds(600);
    serve(limits);
    const Client deaf(file);
    ASSERT_TRUE(deaf.say("big\n"));
    while (handled < 1) std::this_thread::yield();
    {
        const Client gone(file);
        ASSERT_TRUE(gone.say("x\n"));
        const Client third(file);  // turned away after the line was seen
        EXPECT_NE(std::string::npos, third.hear().find("too many connections"));
    }
    const auto isRefused = [&] {
        const Client next(file);
        char byte = 0;
        timeval soon{0, 100000};
        setsockopt(next.fd, SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon);
        return recv(next.fd, &byte, 1, 0) == 1;
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (isRefused() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_FALSE(isRefused()) << "its place is still taken";
    EXPECT_EQ(1, handled);
}

// One account can come with many user numbers; together they may take all places but root's.
TEST_F(ControlServerTest, GivenOthersInEveryPlaceThenRootStillFindsOne) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can come as two users";
    ControlServer::Limits limits;
    limits.clients = 2;
    serve(limits);
    ASSERT_EQ(0, chmod(dir.folder().c_str(), 0755));
    asOrdinaryUser([&] {
        const Client first(file);
        const Client second(file);
        EXPECT_EQ("echo a", first.ask("a"));
        EXPECT_EQ("echo b", second.ask("b"));
        const Client third(file);
        EXPECT_NE(std::string::npos, third.hear().find("too many connections"));
    });
    // The same from here, while they are all taken.
    const Client first(file);
    const Client second(file);
    EXPECT_EQ("echo a", first.ask("a"));
    EXPECT_EQ("echo b", second.ask("b"));
    const Client third(file);
    EXPECT_EQ("echo c", third.ask("c"));
    asOrdinaryUser([&] {
        const Client fourth(file);
        EXPECT_NE(std::string::npos, fourth.hear().find("too many connections"));
    });
}

// Root is not kept waiting by the rest.
TEST_F(ControlServerTest, GivenAllWhoReadNothingThenNoMoreIsKeptForThem) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can come as two users";
    ControlServer::Limits limits;
    limits.unreadOfAll = 1000;
    serve(limits);
    ASSERT_EQ(0, chmod(dir.folder().c_str(), 0755));
    const Client deaf(file);
    ASSERT_TRUE(deaf.say("big\n"));
    while (handled < 1) std::this_thread::yield();
    asOrdinaryUser([&] {
        const Client asking(file);
        ASSERT_TRUE(asking.say("x\n"));
        char byte = 0;
        timeval soon{0, 200000};
        setsockopt(asking.fd, SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon);
        EXPECT_EQ(-1, recv(asking.fd, &byte, 1, 0)) << "answered although too much is unread";
    });
    const Client root(file);
    EXPECT_EQ("echo me", root.ask("me"));
    EXPECT_EQ(2, handled);
}

TEST_F(ControlServerTest, GivenASocketOfADeadServerThenReplacesItAndTakesItAway) {
    dir.write("sock", "left behind");
    serve();
    EXPECT_EQ("echo x", Client(file).ask("x"));
    server.reset();
    EXPECT_NE(0, access(file.c_str(), F_OK));
}

TEST_F(ControlServerTest, GivenStopWithClientsThenReturnsAtOnce) {
    serve();
    const Client idle(file);
    const Client busy(file);
    EXPECT_EQ("echo x", busy.ask("x"));
    const auto begin = std::chrono::steady_clock::now();
    server.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_TRUE(idle.isClosed());
}

TEST_F(ControlServerTest, GivenStopThenTheSocketIsGoneBeforeTheServerIs) {
    serve();
    const Client early(file);
    server->stop();
    EXPECT_TRUE(early.isClosed());
    EXPECT_NE(0, access(file.c_str(), F_OK));
    server->stop();
}

TEST_F(ControlServerTest, GivenAGroupThatIsNotThereThenOnlyTheOwnerMayUseIt) {
    const ControlServer own(file, {0660, "no-such-group-here"},
                            [](const std::string&, uid_t) { return std::string(); }, {});
    EXPECT_NE(std::string::npos, own.note().find("no group no-such-group-here")) << own.note();
    struct stat info {};
    ASSERT_EQ(0, stat(file.c_str(), &info));
    EXPECT_EQ(0600u, info.st_mode & 0777u);
}

TEST_F(ControlServerTest, GivenANameThatIsTooLongThenSaysSo) {
    const std::string name = dir.file(std::string(200, 'n'));
    EXPECT_THROW(ControlServer(name, {0600, ""},
                               [](const std::string&, uid_t) { return std::string(); }, {}),
                 Failure);
}

}  // namespace
