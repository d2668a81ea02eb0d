// The server with a site of a few lines, and clients of all manners.
#include "agent/web/WebServer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>

#include "agent/Failure.h"
#include "tests/agent/support/WebRoom.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Says back what it was asked; below /stream numbers, which a test lets grow.
class Parrot : public WebSite {
public:
    WebAnswer answer(const WebRequest& request) override {
        WebAnswer given;
        given.type = "text/plain";
        given.body = request.method + " " + request.path + " " + request.peer;
        for (const auto& [name, value] : request.parameters) given.body += " " + name + "=" + value;
        if (request.path == "/big") given.body = std::string(bigAnswer, 'x');
        if (request.path == "/throw") throw Failure(Failure::kFailed, "secret reason");
        if (request.path == "/header") given.body = request.header("x-one");
        if (request.path == "/stream" && !request.mayStream) {
            given.status = 503;
        } else if (request.path == "/stream") {
            given.type = "text/event-stream";
            given.body = "retry: 1\n\n";
            given.streamAfter = 0;
        }
        return given;
    }
    std::string recordedAfter(std::int64_t& after) override {
        const std::int64_t all = last;
        if (after >= all) return "";
        const std::int64_t end = std::min(all, after + 100);
        std::string frames;
        while (after < end) frames += "id: " + std::to_string(++after) + "\n" + padding + "\n";
        return frames;
    }
    std::string standing() override { return "event: state\ndata: fine\n\n"; }
    void rest() override { ++rests; }

    std::atomic<std::int64_t> last{0};
    std::atomic<int> rests{0};
    std::size_t bigAnswer = 1000000;
    std::string padding;
};

class WebServerTest : public testing::Test {
protected:
    void start() { room.start(parrot); }
    int port() const { return room.port(); }

    Parrot parrot;
    web::Room room;
};

TEST_F(WebServerTest, AnswersOnAPortAndOnASocket) {
    start();
    const httplib::Result result = room.get("/a%20b?x=1&y=%26");
    ASSERT_TRUE(result);
    EXPECT_EQ(200, result->status);
    EXPECT_EQ("GET /a b 127.0.0.1 x=1 y=&", result->body);
    httplib::Client client(room.socketFile());
    client.set_address_family(AF_UNIX);
    const httplib::Result local = client.Get("/", {{"Host", "localhost"}});
    ASSERT_TRUE(local);
    EXPECT_EQ("GET / user " + std::to_string(geteuid()), local->body);
}

TEST_F(WebServerTest, EverybodyMayUseTheSocketAndItGoesWithTheServer) {
    start();
    struct stat info {};
    ASSERT_EQ(0, stat(room.socketFile().c_str(), &info));
    EXPECT_TRUE(S_ISSOCK(info.st_mode));
    EXPECT_EQ(0666u, info.st_mode & 07777);
    room.server->stop();
    EXPECT_NE(0, stat(room.socketFile().c_str(), &info));
}

TEST_F(WebServerTest, OneConnectionTakesManyRequestsAlsoAtOnce) {
    start();
    httplib::Client client("127.0.0.1", port());
    client.set_keep_alive(true);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(200, client.Get("/")->status);
    web::Bare bare(port());
    bare.say(web::getLines("/one") + web::getLines("/two") + web::getLines("/three"));
    const std::string heard = bare.hearUntil("GET /three");
    EXPECT_LT(heard.find("GET /one"), heard.find("GET /two"));
    EXPECT_LT(heard.find("GET /two"), heard.find("GET /three"));
}

TEST_F(WebServerTest, HeadHasTheHeadOfGetAndNoBody) {
    start();
    httplib::Client client("127.0.0.1", port());
    const httplib::Result head = client.Head("/x");
    ASSERT_TRUE(head);
    EXPECT_EQ(200, head->status);
    EXPECT_EQ(std::to_string(std::string("HEAD /x 127.0.0.1").size()),
              head->get_header_value("Content-Length"));
    EXPECT_EQ("", head->body);
    EXPECT_EQ(200, client.Head("/stream")->status) << "and no stream";
}

struct OddCase {
    const char* when;
    std::string said;
    std::string heard;  // in the answer
};

TEST_F(WebServerTest, WhatMakesNoSenseIsRefusedAndEndsTheConnection) {
    start();
    const OddCase cases[] = {
        {"no HTTP", "what is this?\r\n\r\n", "HTTP/1.1 400"},
        {"no version", "GET /\r\n\r\n", "HTTP/1.1 400"},
        {"a method of somebody's own", "FETCH / HTTP/1.1\r\n\r\n", "HTTP/1.1 400"},
        {"an endless head", "GET / HTTP/1.1\r\nX: " + std::string(20000, 'x'), "HTTP/1.1 431"},
        {"many headers",
         [] {
             std::string lines = "GET / HTTP/1.1\r\n";
             for (int i = 0; i < 2000; ++i) lines += "X-" + std::to_string(i) + ": y\r\n";
             return lines;
         }(),
         "HTTP/1.1 431"},
        {"a body",
         "GET /header HTTP/1.1\r\nX-One: 1\r\nContent-Length: 4\r\n\r\nGET /two HTTP/1.1\r\n\r\n",
         "HTTP/1.1 200"},
        {"a body in chunks",
         "GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\nGET /two HTTP/1.1\r\n\r\n",
         "HTTP/1.1 200"},
        {"two lengths, of which one is none",
         "GET /header HTTP/1.1\r\nContent-Length: 0\r\nContent-Length: 19\r\n\r\n"
         "GET /two HTTP/1.1\r\n\r\n",
         "HTTP/1.1 200"},
        {"a length that is no number",
         "GET /header HTTP/1.1\r\nContent-Length: 0x0\r\n\r\nGET /two HTTP/1.1\r\n\r\n",
         "HTTP/1.1 200"},
        {"a range of thousands of parts",
         "GET / HTTP/1.1\r\nConnection: close\r\nRange: bytes=" +
             [] {
                 std::string parts;
                 for (int i = 0; i < 2000; ++i) parts += "1-2,";
                 return parts;
             }() +
             "1-2\r\n\r\n",
         "HTTP/1.1 "},
        {"what is thrown", "GET /throw HTTP/1.1\r\nConnection: close\r\n\r\n", "HTTP/1.1 500"},
    };
    for (const OddCase& c : cases) {
        SCOPED_TRACE(c.when);
        web::Bare bare(port());
        bare.say(c.said);
        const std::string heard = bare.hearAll();
        EXPECT_EQ(0u, heard.find(c.heard)) << heard.substr(0, 200);
        EXPECT_EQ(std::string::npos, heard.find("GET /two")) << heard;
        EXPECT_EQ(std::string::npos, heard.find("secret reason")) << heard;
        EXPECT_TRUE(bare.isOver());
    }
    EXPECT_EQ(200, room.get("/")->status);
}

TEST_F(WebServerTest, AnswersAreNeitherPackedNorCut) {
    start();
    web::Bare bare(port());
    bare.say(web::getLines("/big",
                           "Accept-Encoding: gzip, br\r\nRange: bytes=0-9\r\n"
                           "Connection: close\r\n"));
    const std::string heard = bare.hearAll();
    EXPECT_EQ(0u, heard.find("HTTP/1.1 200")) << heard.substr(0, 300);
    EXPECT_EQ(std::string::npos, heard.find("Content-Encoding"));
    EXPECT_NE(std::string::npos, heard.find(std::string(1000000, 'x')));
}

TEST_F(WebServerTest, GivenClientsThatSayNothingOrHalfThenOthersAreServedAndTheyAreDropped) {
    room.limits.forHead = milliseconds(300);
    start();
    std::vector<std::unique_ptr<web::Bare>> slow;
    for (int i = 0; i < 20; ++i) {
        slow.push_back(std::make_unique<web::Bare>(port()));
        if (i % 2 == 0) slow.back()->say("GET / HTTP/1.1\r\nHost: loc");
    }
    EXPECT_EQ(200, room.get("/")->status);
    for (const auto& each : slow) {
        EXPECT_EQ("", each->hearAll());
        EXPECT_TRUE(each->isOver());
    }
}

TEST_F(WebServerTest, GivenAClientThatDripsBytesThenItsTimeIsOverAllTheSame) {
    room.limits.forHead = milliseconds(300);
    start();
    web::Bare bare(port());
    const auto begin = std::chrono::steady_clock::now();
    while (!bare.isOver() && std::chrono::steady_clock::now() < begin + seconds(20)) {
        bare.say("X");
        (void)bare.hear([](const std::string&) { return false; }, seconds(0));
        std::this_thread::sleep_for(milliseconds(20));
        (void)bare.hear([](const std::string& all) { return !all.empty(); }, seconds(1));
    }
    EXPECT_TRUE(bare.isOver());
}

TEST_F(WebServerTest, GivenAllPlacesTakenThenWhoWaitsLongestMakesRoom) {
    room.limits.clients = 4;
    room.limits.perPeer = 4;
    room.limits.grace = milliseconds(0);
    start();
    std::vector<std::unique_ptr<web::Bare>> idle;
    for (int i = 0; i < 10; ++i) {
        idle.push_back(std::make_unique<web::Bare>(port()));
        idle.back()->say("GET");
    }
    EXPECT_EQ(200, room.get("/")->status);
    idle.front()->hearAll();
    EXPECT_TRUE(idle.front()->isOver());
}

TEST_F(WebServerTest, GivenAllPlacesTakenByFreshOnesThenTheNextIsTurnedAway) {
    room.limits.clients = 2;
    room.limits.grace = seconds(60);
    start();
    web::Bare one(port());
    web::Bare two(port());
    one.say("GET");
    two.say("GET");
    web::Bare three(port());
    EXPECT_EQ(0u, three.hearAll().find("HTTP/1.1 503")) << "too many";
}

TEST_F(WebServerTest, GivenAReaderThatDoesNotReadThenOthersAreServedAndItIsDropped) {
    room.limits.forAnswer = milliseconds(500);
    parrot.bigAnswer = 50u * 1024 * 1024;
    start();
    web::Bare greedy(port());
    greedy.say(web::getLines("/big"));
    EXPECT_TRUE(web::waitFor([&] { return room.get("/")->status == 200; }));
    std::this_thread::sleep_for(milliseconds(700));  // it must be late, however late
    const std::string heard = greedy.hearAll();
    EXPECT_LT(heard.size(), parrot.bigAnswer);
    EXPECT_TRUE(greedy.isOver());
}

TEST_F(WebServerTest, AStreamGetsWhatComesWithoutBeingAsked) {
    room.limits.tick = std::chrono::hours(1);
    start();
    web::Bare stream(port());
    stream.say(web::getLines("/stream"));
    EXPECT_NE(std::string::npos, stream.hearUntil("data: fine").find("retry: 1\n\n"));
    parrot.last = 2;
    room.server->notify();
    const std::string heard = stream.hearUntil("id: 2\n");
    EXPECT_NE(std::string::npos, heard.find("id: 1\n"));
    EXPECT_NE(std::string::npos, heard.find("Content-Type: text/event-stream\r\n")) << heard;
    EXPECT_EQ(std::string::npos, heard.find("Content-Length")) << heard;
}

TEST_F(WebServerTest, ASilentStreamShowsThatItLives) {
    room.limits.beat = milliseconds(50);
    start();
    web::Bare stream(port());
    stream.say(web::getLines("/stream"));
    EXPECT_NE(std::string::npos, stream.hearUntil("\n:\n\n:\n\n:\n\n").find(":\n\n:\n\n"));
}

TEST_F(WebServerTest, GivenALongPastThenAStreamGetsItWholeAndInOrder) {
    parrot.last = 5000;
    parrot.padding = "data: " + std::string(500, 'x') + "\n";
    start();
    web::Bare stream(port());
    stream.say(web::getLines("/stream"));
    const std::string heard = stream.hearUntil("id: 5000\n");
    std::size_t from = 0;
    for (int i = 1; i <= 5000; ++i) {
        from = heard.find("id: " + std::to_string(i) + "\n", from);
        ASSERT_NE(std::string::npos, from) << i;
    }
}

TEST_F(WebServerTest, StreamsAreLimitedAndOthersAreStillServed) {
    room.limits.streams = 2;
    start();
    web::Bare one(port());
    web::Bare two(port());
    for (web::Bare* each : {&one, &two}) {
        each->say(web::getLines("/stream"));
        each->hearUntil("data: fine");
    }
    EXPECT_EQ(503, room.get("/stream")->status);
    EXPECT_EQ(200, room.get("/")->status);
}

TEST_F(WebServerTest, GivenAStreamThatHungUpThenItsPlaceIsFree) {
    room.limits.streams = 1;
    start();
    {
        web::Bare one(port());
        one.say(web::getLines("/stream"));
        one.hearUntil("data: fine");
    }
    web::Bare two(port());
    EXPECT_TRUE(web::waitFor([&] {
        web::Bare next(port());
        next.say(web::getLines("/stream"));
        return next.hearUntil("\r\n").find("200") != std::string::npos;
    }));
}

TEST_F(WebServerTest, StoppingEndsStreamsAndConnections) {
    start();
    web::Bare stream(port());
    stream.say(web::getLines("/stream"));
    stream.hearUntil("data: fine");
    web::Bare idle(port());
    const int before = port();
    room.server->stop();
    stream.hearAll();
    idle.hearAll();
    EXPECT_TRUE(stream.isOver());
    EXPECT_TRUE(idle.isOver());
    EXPECT_FALSE(web::Bare(before).isUp());
    room.server->change([] { ADD_FAILURE() << "nothing changes after the end"; });
}

TEST_F(WebServerTest, GivenAPortThatIsTakenThenSaysSoOnceAndTakesItLater) {
    auto other = std::make_unique<web::Room>();
    other->start(parrot);
    const int taken = other->port();
    start();
    WebAddress address;
    ASSERT_EQ("", WebAddress::parse("127.0.0.1:" + std::to_string(taken), "", address));
    WebAddress own;
    ASSERT_EQ("", WebAddress::parse("127.0.0.1:0", "", own));
    room.server->listenOn({own, address});
    const std::string line = "cannot listen on http://127.0.0.1:" + std::to_string(taken) +
                             "/: another program has it; name another one, listen in [http]";
    EXPECT_EQ(line, room.server->problem());
    EXPECT_EQ(std::vector<std::string>({line + "; trying again"}), room.told());
    EXPECT_EQ(200, room.get("/")->status) << "the other address is served";
    other.reset();
    // Naming it anew tries at once; by itself it is tried every ten seconds.
    room.server->listenOn({own});
    room.server->listenOn({own, address});
    EXPECT_EQ("", room.server->problem());
    EXPECT_EQ(2u, room.server->addresses().size());
    ASSERT_EQ(2u, room.told().size()) << "that it came, and that it went";
    EXPECT_EQ("web clients are served at " + room.server->addresses().at(0), room.told().at(1));
}

TEST_F(WebServerTest, AnAddressThatStaysKeepsItsConnections) {
    start();
    web::Bare stream(port());
    stream.say(web::getLines("/stream"));
    stream.hearUntil("data: fine");
    WebAddress same;
    ASSERT_EQ("", WebAddress::parse("127.0.0.1:0", "", same));
    const int before = port();
    room.server->listenOn({same});
    EXPECT_EQ(before, port());
    EXPECT_EQ(1u, room.server->addresses().size());
    parrot.last = 1;
    room.server->notify();
    EXPECT_NE(std::string::npos, stream.hearUntil("id: 1\n").find("id: 1\n"));
}

TEST_F(WebServerTest, GivenASocketThatWasLeftBehindThenItIsReplaced) {
    {
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, room.socketFile().c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(0, bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        (void)close(fd);
    }
    start();
    EXPECT_EQ("", room.server->problem());
    EXPECT_EQ(2u, room.server->addresses().size());
}

TEST_F(WebServerTest, GivenAFileWhereTheSocketShouldBeThenItStays) {
    room.dir.write("http.sock", "mine");
    start();
    EXPECT_EQ("cannot listen on " + room.socketFile() +
                  ": another program has it; name another one, listen in [http]",
              room.server->problem());
    room.server->stop();
    std::ifstream file(room.socketFile());
    std::string text;
    file >> text;
    EXPECT_EQ("mine", text);
}

TEST_F(WebServerTest, GivenNoLibraryThenSaysWhichPackageToInstall) {
    WebServer server(
        parrot, room.limits, [](const std::string&) {},
        []() -> std::unique_ptr<HttpExchange> {
            throw Failure(Failure::kFailed, "install the Debian package x");
        });
    WebAddress any;
    ASSERT_EQ("", WebAddress::parse("127.0.0.1:0", "", any));
    server.listenOn({any});
    httplib::Client client("127.0.0.1", web::Room::portOf(server.addresses().at(0)));
    const httplib::Result result = client.Get("/");
    ASSERT_TRUE(result);
    EXPECT_EQ(503, result->status);
    EXPECT_EQ("install the Debian package x\n", result->body);
    EXPECT_EQ("install the Debian package x", server.problem());
}

// What breaks in the middle of one client's answer, as memory that is not there.
class Breaks : public HttpExchange {
public:
    Result exchange(const std::string& head, const Handler&, bool) override {
        if (head.find("/break") != std::string::npos) throw std::bad_alloc();
        Result result;
        result.bytes = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok";
        return result;
    }
};

TEST_F(WebServerTest, GivenAnAnswerThatBreaksThenOnlyThatClientGoes) {
    std::vector<std::string> notes;
    WebServer server(
        parrot, room.limits, [&](const std::string& line) { notes.push_back(line); },
        [] { return std::make_unique<Breaks>(); });
    WebAddress any;
    ASSERT_EQ("", WebAddress::parse("127.0.0.1:0", "", any));
    server.listenOn({any});
    const int own = web::Room::portOf(server.addresses().at(0));
    for (int i = 0; i < 3; ++i) {
        web::Bare bare(own);
        bare.say(web::getLines("/break"));
        EXPECT_EQ("", bare.hearAll());
        EXPECT_TRUE(bare.isOver());
    }
    httplib::Client client("127.0.0.1", own);
    const httplib::Result result = client.Get("/");
    ASSERT_TRUE(result);
    EXPECT_EQ("ok", result->body);
    server.stop();
    ASSERT_EQ(1u, notes.size()) << "said once";
    EXPECT_EQ(0u, notes[0].find("a web client was sent away: "));
}

TEST_F(WebServerTest, GivenManyPeersThatDoNotReadThenWhoLeavesMostLyingGoes) {
    room.limits.unreadOfAll = 16u * 1024 * 1024;
    parrot.bigAnswer = 12u * 1024 * 1024;  // more than the kernel takes for anybody
    start();
    // Each with an address of its own: one user of this machine can have as many as he likes.
    std::vector<std::unique_ptr<web::Bare>> greedy;
    for (int i = 0; i < 4; ++i) {
        greedy.push_back(std::make_unique<web::Bare>(port(), 2 + i));
        ASSERT_TRUE(greedy.back()->isUp());
        greedy.back()->say(web::getLines("/big"));
        EXPECT_EQ(200, room.get("/")->status);
    }
    parrot.bigAnswer = 1;
    EXPECT_EQ(200, room.get("/big")->status);
    std::size_t whole = 0;
    for (const auto& each : greedy) {
        const std::string heard =
            each->hear([](const std::string& all) { return all.size() > 12u * 1024 * 1024; });
        if (heard.size() > 12u * 1024 * 1024) ++whole;
    }
    EXPECT_LT(whole, greedy.size()) << "nobody had to go";
    EXPECT_GT(whole, 0u) << "not everybody had to";
}

TEST_F(WebServerTest, WhenNobodyComesForAWhileTheSiteRestsOnce) {
    room.limits.untilRest = milliseconds(50);
    start();
    EXPECT_EQ(200, room.get("/")->status);
    EXPECT_TRUE(web::waitFor([&] { return parrot.rests == 1; }));
    EXPECT_EQ(200, room.get("/")->status);
    EXPECT_TRUE(web::waitFor([&] { return parrot.rests == 2; }));
}

}  // namespace
