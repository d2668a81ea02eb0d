#include "agent/web/WebClients.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using std::chrono::milliseconds;

constexpr char kRequest[] = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";

// The other ends of the connections.
class WebClientsTest : public testing::Test {
protected:
    ~WebClientsTest() override {
        for (const int fd : others) (void)close(fd);
    }
    std::unique_ptr<WebClient> connect(const std::string& peer) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::runtime_error("no sockets");
        }
        others.push_back(ends[1]);
        return std::make_unique<WebClient>(ends[0], peer, false, limits);
    }
    WebClient& add(const std::string& peer) {
        clients.add(connect(peer));
        return *clients.all().back();
    }
    static void write(int fd, const std::string& words) {
        ASSERT_EQ(static_cast<ssize_t>(words.size()), ::write(fd, words.data(), words.size()));
    }
    static std::string readAll(int fd) {
        std::string text;
        char bytes[4096];
        for (ssize_t size = 0; (size = read(fd, bytes, sizeof bytes)) > 0;) {
            text.append(bytes, static_cast<std::size_t>(size));
        }
        return text;
    }
    std::string peers() const {
        std::string all;
        for (const auto& client : clients.all()) all += client->peer;
        return all;
    }

    WebLimits limits;
    std::vector<int> others;
    WebClients clients{limits};
};

TEST_F(WebClientsTest, GivenARequestInPiecesThenItAsksOnceItIsWhole) {
    WebClient& client = add("a");
    EXPECT_EQ(POLLIN, client.events());
    client.receive();  // nothing has come
    EXPECT_FALSE(client.done);
    write(others[0], std::string(kRequest).substr(0, 20));
    client.receive();
    EXPECT_FALSE(client.asks());
    write(others[0], std::string(kRequest).substr(20) + "GET /next");
    client.receive();
    EXPECT_TRUE(client.asks());
    EXPECT_EQ(0, client.events());  // the next one is not read before this one is answered
    EXPECT_EQ(kRequest, client.takeHead());
    client.say("answer");
    EXPECT_FALSE(client.asks());
    EXPECT_EQ(POLLOUT, client.events());
    client.send();
    EXPECT_EQ("answer", readAll(others[0]));
    EXPECT_EQ(POLLIN, client.events());
}

TEST_F(WebClientsTest, GivenTheLastWordThenTheOtherSideSeesTheEnd) {
    WebClient& client = add("a");
    client.sayLast("too many");
    client.send();
    EXPECT_EQ("too many", readAll(others[0]));
    char byte = 0;
    EXPECT_EQ(0, read(others[0], &byte, 1));  // the end, and not "nothing yet"
    write(others[0], "more");                 // is not answered
    client.receive();
    EXPECT_FALSE(client.asks());
    (void)close(others[0]);
    others.clear();
    client.receive();
    EXPECT_TRUE(client.isOver(std::chrono::steady_clock::now()));
}

TEST_F(WebClientsTest, GivenAHeadWithoutAnEndThenItIsTooLong) {
    limits.head = 100;
    WebClient& client = add("a");
    write(others[0], std::string(100, 'x'));
    client.receive();
    EXPECT_FALSE(client.isTooLong());
    write(others[0], "x");
    client.receive();
    EXPECT_TRUE(client.isTooLong());
}

TEST_F(WebClientsTest, GivenItsTimeIsOverThenAClientGoesButAQuietStreamStays) {
    limits.forHead = limits.forAnswer = milliseconds(0);
    (void)add("a");
    WebClient& stream = add("b");
    stream.beginStream(0);
    clients.dropFinished();
    EXPECT_EQ("b", peers());
    stream.say("unread");
    clients.dropFinished();
    EXPECT_EQ("", peers());
}

TEST_F(WebClientsTest, GivenAllPlacesTakenThenWhoWaitsLongestGoesAndNoStream) {
    limits.clients = 3;
    limits.grace = std::chrono::hours(1);
    add("a").beginStream(0);
    (void)add("b");
    EXPECT_TRUE(clients.makeRoom("c"));
    EXPECT_EQ("ab", peers());
    (void)add("c");
    EXPECT_FALSE(clients.makeRoom("d")) << "everybody has a moment";
    limits.grace = milliseconds(-1);
    EXPECT_TRUE(clients.makeRoom("d"));
    EXPECT_EQ("ac", peers());
}

TEST_F(WebClientsTest, GivenAPeerWithManyPlacesThenOneOfItsOwnGoes) {
    limits.perPeer = 2;
    limits.grace = milliseconds(-1);
    (void)add("a");
    (void)add("b");
    (void)add("b");
    EXPECT_TRUE(clients.makeRoom("a"));
    EXPECT_EQ("abb", peers());
    EXPECT_TRUE(clients.makeRoom("b"));
    EXPECT_EQ("ab", peers());
}

TEST_F(WebClientsTest, GivenStreamsThenTheirNumberHasLimits) {
    limits.streams = 3;
    limits.streamsPerPeer = 2;
    WebClient& one = add("a");
    EXPECT_FALSE(clients.hasStreams());
    one.beginStream(7);
    EXPECT_TRUE(clients.hasStreams());
    EXPECT_EQ(7, one.after);
    EXPECT_TRUE(clients.mayStream(one));
    add("a").beginStream(0);
    EXPECT_FALSE(clients.mayStream(one));  // of this peer
    WebClient& other = add("b");
    EXPECT_TRUE(clients.mayStream(other));
    add("c").beginStream(0);
    EXPECT_FALSE(clients.mayStream(other));  // of all
}

TEST_F(WebClientsTest, GivenMuchThatNobodyReadsThenItsPeerWaitsAndThenTheWorstGoes) {
    limits.unread = 10;
    limits.unreadOfAll = 30;
    WebClient& small = add("a");
    WebClient& large = add("b");
    small.say(std::string(9, 'x'));
    large.say(std::string(20, 'x'));
    EXPECT_TRUE(clients.mayAnswer(small));
    EXPECT_FALSE(clients.mayAnswer(large));
    clients.shedUnread();
    EXPECT_FALSE(large.done);
    small.say("x");
    clients.shedUnread();
    EXPECT_TRUE(large.done);
    EXPECT_FALSE(small.done);
    clients.dropFinished();
    EXPECT_EQ("a", peers());
}

}  // namespace
