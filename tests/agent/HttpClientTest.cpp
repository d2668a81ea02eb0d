#include "agent/sinks/HttpClient.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <thread>

#include "tests/agent/support/NetFixture.h"

namespace {

using Kind = Answer::Kind;

class HttpClientTest : public testing::Test {
protected:
    HttpClientTest() { unsetenv("http_proxy"); }

    std::vector<nlohmann::json> log() const { return net::jsonLines(dir.read("log")); }

    HttpClient::Request request(const std::string& path) const {
        HttpClient::Request made;
        made.url = "http://127.0.0.1:" + server.word() + path;
        made.timeout = std::chrono::seconds(20);
        return made;
    }

    TempDir dir;
    ServerProcess server{{net::kPython, net::supportFile("http_server.py"), dir.file("log")},
                         "ready "};
};

TEST_F(HttpClientTest, SendsMethodHeadersAndBody) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    HttpClient::Request put = request("/take?x=1");
    put.method = "PUT";
    put.headers = {"X-One: eins", "Content-Type: text/plain"};
    put.body = "gr\xc3\xbc\xc3\x9f\n";
    const HttpClient::Reply reply = HttpClient({}).send(put);

    EXPECT_EQ(200, reply.status) << reply.line;
    EXPECT_EQ("ok", reply.line);
    EXPECT_EQ(0, reply.retryAfter);
    ASSERT_EQ(1u, log().size());
    const nlohmann::json seen = log()[0];
    EXPECT_EQ("PUT", seen["method"]);
    EXPECT_EQ("/take?x=1", seen["path"]);
    EXPECT_EQ("eins", seen["headers"]["x-one"]);
    EXPECT_EQ("text/plain", seen["headers"]["content-type"]);
    EXPECT_EQ(0u, seen["headers"]["user-agent"].get<std::string>().find("raidwatch/"));
    EXPECT_FALSE(seen["headers"].contains("expect"));
    EXPECT_EQ("gr\xc3\xbc\xc3\x9f\n", seen["body"]);
}

TEST_F(HttpClientTest, GivenAGetThenSendsNoBody) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    HttpClient::Request get = request("/lines");
    get.method = "GET";
    get.body = "left out";
    const HttpClient::Reply reply = HttpClient({}).send(get);
    EXPECT_EQ(200, reply.status);
    EXPECT_EQ("first line", reply.line);
    ASSERT_EQ(1u, log().size());
    EXPECT_EQ("GET", log()[0]["method"]);
    EXPECT_EQ("", log()[0]["body"]);
}

TEST_F(HttpClientTest, ShowsStatusSafeLineAndTheWaitThatIsAskedFor) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const HttpClient::Reply broken = HttpClient({}).send(request("/status/503"));
    EXPECT_EQ(503, broken.status);
    EXPECT_EQ("no \\x1b[2J luck", broken.line);
    const HttpClient::Reply later = HttpClient({}).send(request("/later"));
    EXPECT_EQ(429, later.status);
    EXPECT_EQ(17, later.retryAfter);
}

TEST_F(HttpClientTest, GivenARedirectThenDoesNotFollowIt) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    EXPECT_EQ(302, HttpClient({}).send(request("/away")).status);
    EXPECT_EQ(1u, log().size());
}

TEST_F(HttpClientTest, GivenASecretInTheAnswerThenMasksIt) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    HttpClient::Request echo = request("/echo");
    echo.headers = {"Authorization: Bearer hunter2"};
    echo.secrets = {"hunter2"};
    EXPECT_EQ("bad key Bearer ***", HttpClient({}).send(echo).line);
}

TEST_F(HttpClientTest, GivenNoAnswerInTimeThenGivesUp) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    HttpClient::Request hang = request("/hang");
    hang.timeout = std::chrono::milliseconds(300);
    const HttpClient::Reply reply = HttpClient({}).send(hang);
    EXPECT_EQ(0, reply.status);
    EXPECT_NE(std::string::npos, reply.line.find("timed out")) << reply.line;
}

TEST_F(HttpClientTest, GivenManyThreadsThenEachGetsItsOwnAnswer) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const HttpClient client({});
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            const int status = i % 2 == 0 ? 200 : 503;
            const std::string path = i % 2 == 0 ? "/fine" : "/status/503";
            for (int turn = 0; turn < 5; ++turn) {
                if (client.send(request(path)).status == status) ++right;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(40, right);
}

TEST_F(HttpClientTest, ReachesAServerWithoutAskingItAnything) {
    ASSERT_TRUE(server.up()) << server.whyNot();
    const std::string url = "http://127.0.0.1:" + server.word() + "/secret-path";
    EXPECT_EQ("", HttpClient({}).reach(url, std::chrono::seconds(20)));
    EXPECT_TRUE(log().empty());
    server.end();
    const std::string wrong = HttpClient({}).reach(url, std::chrono::seconds(20));
    EXPECT_EQ(0u, wrong.find("http://127.0.0.1:" + server.word() + ": ")) << wrong;
    EXPECT_NE(std::string::npos, wrong.find("onnect")) << wrong;
    EXPECT_EQ(std::string::npos, wrong.find("secret-path")) << wrong;
}

TEST(HttpClientUnixSocket, IsUsedInsteadOfTheHost) {
    const TempDir dir;
    const ServerProcess server({net::kPython, net::supportFile("http_server.py"), dir.file("log"),
                                "--unix", dir.file("socket")},
                               "ready ");
    ASSERT_TRUE(server.up()) << server.whyNot();
    HttpClient::Access access;
    access.unixSocket = dir.file("socket");
    HttpClient::Request request;
    request.url = "http://any.host.invalid/here";
    EXPECT_EQ(200, HttpClient(access).send(request).status);
    EXPECT_EQ("any.host.invalid", net::jsonLines(dir.read("log")).at(0)["headers"]["host"]);
}

TEST(HttpClientTls, GivenAnUnknownIssuerThenSendsNothingAndNamesTheCure) {
    const TempDir dir;
    ASSERT_TRUE(net::makeCertificate(dir, "server"));
    const ServerProcess server({net::kPython, net::supportFile("http_server.py"), dir.file("log"),
                                "--tls", dir.file("server.pem"), dir.file("server.key")},
                               "ready ");
    ASSERT_TRUE(server.up()) << server.whyNot();
    HttpClient::Request request;
    request.url = "https://127.0.0.1:" + server.word() + "/x";

    const HttpClient::Reply refused = HttpClient({}).send(request);
    EXPECT_EQ(0, refused.status);
    EXPECT_NE(std::string::npos, refused.line.find("ca_file")) << refused.line;
    EXPECT_EQ("", dir.read("log"));

    HttpClient::Access access;
    access.caFile = dir.file("server.pem");
    EXPECT_EQ(200, HttpClient(access).send(request).status);

    request.url = "https://127.0.0.2:" + server.word() + "/x";  // the certificate is for another
    EXPECT_EQ(0, HttpClient(access).send(request).status);
}

TEST(HttpClientTls, GivenAServerThatAsksForACertificateThenShowsOurs) {
    const TempDir dir;
    ASSERT_TRUE(net::makeCertificate(dir, "server"));
    ASSERT_TRUE(net::makeCertificate(dir, "client"));
    const ServerProcess server(
        {net::kPython, net::supportFile("http_server.py"), dir.file("log"), "--tls",
         dir.file("server.pem"), dir.file("server.key"), "--clients", dir.file("client.pem")},
        "ready ");
    ASSERT_TRUE(server.up()) << server.whyNot();
    HttpClient::Request request;
    request.url = "https://127.0.0.1:" + server.word() + "/x";
    HttpClient::Access access;
    access.caFile = dir.file("server.pem");
    EXPECT_EQ(0, HttpClient(access).send(request).status);
    access.certFile = dir.file("client.pem");
    access.keyFile = dir.file("client.key");
    EXPECT_EQ(200, HttpClient(access).send(request).status);
}

TEST(HttpClient, GivenAnotherProtocolThenRefuses) {
    const TempDir dir;
    HttpClient::Request request;
    request.method = "GET";
    request.url = "file://" + dir.write("secret", "x");
    const HttpClient::Reply reply = HttpClient({}).send(request);
    EXPECT_EQ(0, reply.status);
    EXPECT_NE(std::string::npos, reply.line.find("rotocol")) << reply.line;
}

TEST(HttpClient, VerdictByStatus) {
    struct Row {
        long status;
        Kind kind;
    };
    for (const Row& row :
         {Row{0, Kind::kRetry}, Row{200, Kind::kDelivered}, Row{204, Kind::kDelivered},
          Row{302, Kind::kRetry}, Row{400, Kind::kRefused}, Row{401, Kind::kRetry},
          Row{403, Kind::kRetry}, Row{404, Kind::kRetry}, Row{408, Kind::kRetry},
          Row{410, Kind::kRefused}, Row{413, Kind::kRefused}, Row{422, Kind::kRefused},
          Row{429, Kind::kRetry}, Row{500, Kind::kRetry}, Row{503, Kind::kRetry}}) {
        const Answer answer = HttpClient::verdict("http://h/p", {row.status, "why", 0});
        EXPECT_EQ(row.kind, answer.kind) << row.status;
    }
}

TEST(HttpClient, VerdictNamesThePlaceAndTheCureButNotThePath) {
    const std::string url = "https://key@hooks.example.com:8443/services/T0/secret";
    EXPECT_EQ("https://hooks.example.com:8443: HTTP 200 ok",
              HttpClient::verdict(url, {200, "ok", 0}).text);
    EXPECT_EQ("https://hooks.example.com:8443: HTTP 429; asks to wait 17 s",
              HttpClient::verdict(url, {429, "", 17}).text);
    EXPECT_EQ("https://hooks.example.com:8443: HTTP 401; check the token and its rights",
              HttpClient::verdict(url, {401, "", 0}).text);
    EXPECT_EQ("https://hooks.example.com:8443: gone",
              HttpClient::verdict(url, {0, "gone", 0}).text);
}

}  // namespace
