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
        waitAtMost(std::chrono::seconds(10));
        (void)connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
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
    // Whether anything comes that soon.
    bool hears(milliseconds soon) const {
        waitAtMost(soon);
        return !isClosed();
    }

private:
    void waitAtMost(milliseconds time) const {
        timeval limit{};
        limit.tv_sec = time.count() / 1000;
        limit.tv_usec = time.count() % 1000 * 1000;
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }

    int fd;
};

mode_t modeOf(const std::string& name) {
    struct stat info {};
    return stat(name.c_str(), &info) == 0 ? info.st_mode & 0777 : 0;
}

ControlServer::Handler silence() {
    return [](const std::string&, uid_t) { return std::string(); };
}

class ControlServerTest : public testing::Test {
protected:
    void serve() {
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

    // One request is in work, or its answer waits to be read.
    void waitForFirst() const {
        while (handled < 1) std::this_thread::yield();
    }

    // Who comes when all places are taken is told so; before that, the server has seen every line
    // that was said earlier.
    void expectTurnedAway() const {
        const std::string answer = Client(file).hear();
        EXPECT_NE(std::string::npos, answer.find("too many connections")) << answer;
    }

    TempDir dir;
    std::string file = dir.file("sock");
    ControlServer::Limits limits;  // of serve()
    std::atomic<uid_t> lastPeer{12345};
    std::atomic<int> handled{0};
    std::unique_ptr<ControlServer> server;
};

struct GroupCase {
    const char* group;
    mode_t mode;
    const char* remark;
};

constexpr GroupCase kGroupCases[] = {
    {"", 0660, ""},
    {"root", 0660, ""},
    {"no-such-group", 0600, "there is no group no-such-group"},
};

TEST_F(ControlServerTest, GivenAGroupThenItMayUseTheSocketAndOneThatIsNotThereIsSaid) {
    for (const GroupCase& c : kGroupCases) {
        if (getuid() != 0 && *c.group != 0 && *c.remark == 0) continue;  // root alone gives files
        const ControlServer made(file, ControlServer::Access{0660, c.group}, silence(), {});
        EXPECT_EQ(c.mode, modeOf(file)) << c.group;
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
    EXPECT_EQ(mode_t{0666}, modeOf(file));
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
    limits.patience = milliseconds(50);
    serve();
    const Client silent(file);
    const Client slow(file);
    ASSERT_TRUE(slow.say("no end of line"));
    EXPECT_EQ("echo quick", Client(file).ask("quick"));
    EXPECT_TRUE(silent.isClosed());
    EXPECT_TRUE(slow.isClosed());
}

TEST_F(ControlServerTest, GivenAClientThatReadsNothingThenOthersAreServed) {
    limits.patience = milliseconds(200);
    serve();
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
    limits.perUser = 2;
    serve();
    const Client first(file);
    const Client second(file);
    EXPECT_EQ("echo a", first.ask("a"));
    EXPECT_EQ("echo b", second.ask("b"));
    expectTurnedAway();
    EXPECT_EQ("echo again", first.ask("again"));
}

TEST_F(ControlServerTest, GivenAUserWhoReadsNothingThenNoMoreIsKeptForHim) {
    limits.perUser = 2;
    limits.unread = 1000;
    serve();
    const Client first(file);
    ASSERT_TRUE(first.say("big\n"));
    waitForFirst();
    const Client second(file);
    ASSERT_TRUE(second.say("x\n"));
    expectTurnedAway();
    EXPECT_EQ(1, handled);
    EXPECT_EQ(8u * 1024 * 1024, first.hear().size());
    EXPECT_EQ("echo x", second.hear());
}

// Its end would wake the server again and again.
TEST_F(ControlServerTest, GivenAClientThatGoesWhileItsLineWaitsThenItIsForgottenAtOnce) {
    limits.perUser = 2;
    limits.unread = 1000;
    limits.patience = std::chrono::seconds(600);
    serve();
    const Client deaf(file);
    ASSERT_TRUE(deaf.say("big\n"));
    waitForFirst();
    {
        const Client gone(file);
        ASSERT_TRUE(gone.say("x\n"));
        expectTurnedAway();
    }
    const auto isRefused = [&] {
        const Client next(file);
        return next.hears(milliseconds(100));
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (isRefused() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    EXPECT_FALSE(isRefused()) << "its place is still taken";
    EXPECT_EQ(1, handled);
}

// One account can come with many user numbers; together they may take all places but root's.
TEST_F(ControlServerTest, GivenOthersInEveryPlaceThenRootStillFindsOne) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can come as two users";
    limits.clients = 2;
    serve();
    ASSERT_EQ(0, chmod(dir.folder().c_str(), 0755));
    asOrdinaryUser([&] {
        const Client first(file);
        const Client second(file);
        EXPECT_EQ("echo a", first.ask("a"));
        EXPECT_EQ("echo b", second.ask("b"));
        expectTurnedAway();
    });
    // The same from here, while they are all taken.
    const Client first(file);
    const Client second(file);
    EXPECT_EQ("echo a", first.ask("a"));
    EXPECT_EQ("echo b", second.ask("b"));
    const Client third(file);
    EXPECT_EQ("echo c", third.ask("c"));
    asOrdinaryUser([&] { expectTurnedAway(); });
}

// Root is not kept waiting by the rest.
TEST_F(ControlServerTest, GivenAllWhoReadNothingThenNoMoreIsKeptForThem) {
    if (geteuid() != 0) GTEST_SKIP() << "NOT TESTED: only root can come as two users";
    limits.unreadOfAll = 1000;
    serve();
    ASSERT_EQ(0, chmod(dir.folder().c_str(), 0755));
    const Client deaf(file);
    ASSERT_TRUE(deaf.say("big\n"));
    waitForFirst();
    asOrdinaryUser([&] {
        const Client asking(file);
        ASSERT_TRUE(asking.say("x\n"));
        EXPECT_FALSE(asking.hears(milliseconds(200))) << "answered although too much is unread";
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

TEST_F(ControlServerTest, GivenANameThatIsTooLongThenSaysSo) {
    const std::string name = dir.file(std::string(200, 'n'));
    EXPECT_THROW(ControlServer(name, {0600, ""}, silence(), {}), Failure);
}

}  // namespace
