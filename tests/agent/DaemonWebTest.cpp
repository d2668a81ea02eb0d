// The page of the real daemon, asked over real sockets.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "agent/state/TemperatureLog.h"
#include "agent/web/WebToken.h"
#include "tests/agent/DaemonRoom.h"
#include "tests/agent/support/WebRoom.h"

namespace {

using Json = nlohmann::ordered_json;

class DaemonWebTest : public testing::Test {
protected:
    void start(const std::string& listen) {
        room.listen = listen;
        room.configure("");
        room.start();
        ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.polled() && room.isUp(); }))
            << room.log();
    }
    std::string socketFile() const { return room.settings.runFolder + "/http.sock"; }

    // Where the daemon says that it listens.
    std::vector<std::string> pages() const {
        const Json state = room.state();
        if (!state.is_object()) return {};
        return state["daemon"].value("pages", std::vector<std::string>());
    }
    int port() const {
        for (const std::string& page : pages()) {
            if (page.rfind("http://", 0) == 0) return web::Room::portOf(page);
        }
        return 0;
    }
    static int statusOf(int port, const httplib::Headers& headers = {}) {
        httplib::Client client("127.0.0.1", port);
        const httplib::Result result = client.Get("/healthz", headers);
        return result ? result->status : 0;
    }
    // What a verb prints, on one line.
    std::string run(const std::vector<std::string>& more) {
        const std::string output = "verb-" + std::to_string(++runs);
        std::vector<std::string> words = {QEL_RAIDWATCH};
        words.insert(words.end(), more.begin(), more.end());
        words.insert(words.end(), {"--config", room.config});
        (void)DaemonRoom::waitForEndOf(room.spawn(words, output));
        std::istringstream all(room.readFile(output));
        std::string line;
        for (std::string word; all >> word;) line += (line.empty() ? "" : " ") + word;
        return line;
    }

    DaemonRoom room;
    int runs = 0;
};

TEST_F(DaemonWebTest, IsServedOnASocketAndAPortWithoutBeingAskedFor) {
    // The port of the default is one of the machine; another daemon may have it.
    EXPECT_EQ(std::vector<std::string>({"unix", "127.0.0.1:8627"}), AgentSettings().httpListen);
    start("[\"unix\", \"127.0.0.1:0\"]");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return pages().size() == 2; })) << room.log();
    EXPECT_EQ(200, statusOf(port()));
    struct stat info {};
    ASSERT_EQ(0, stat(socketFile().c_str(), &info));
    EXPECT_EQ(0666u, info.st_mode & 07777);
    httplib::Client client(socketFile());
    client.set_address_family(AF_UNIX);
    const httplib::Result status = client.Get("/api/v1/status", {{"Host", "localhost"}});
    ASSERT_TRUE(status);
    EXPECT_EQ(4u, Json::parse(status->body)["state"]["drives"].size());
    EXPECT_NE(std::string::npos, run({"doctor"}).find(pages()[0])) << run({"doctor"});
    EXPECT_EQ(0, room.stop(SIGTERM));
    EXPECT_NE(0, stat(socketFile().c_str(), &info)) << "it goes with the daemon";
}

TEST_F(DaemonWebTest, UntilSomebodyComesItLoadsNothingForIt) {
    start("[\"unix\", \"127.0.0.1:0\"]");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return port() != 0; })) << room.log();
    const auto loaded = [this](const char* name) {
        std::ifstream maps("/proc/" + std::to_string(room.pid) + "/maps");
        const std::string all(std::istreambuf_iterator<char>(maps), {});
        return all.find(name) != std::string::npos;
    };
    EXPECT_FALSE(loaded("raidwatch-http.so"));
    EXPECT_FALSE(loaded("libcpp-httplib.so"));
    EXPECT_EQ(200, statusOf(port()));
    EXPECT_TRUE(loaded("raidwatch-http.so"));
    EXPECT_FALSE(loaded("libcrypt.so")) << "no token is asked for";
    EXPECT_EQ(0, room.stop(SIGTERM));
}

TEST_F(DaemonWebTest, ADriveThatIsPulledIsOnTheStreamBeforeAnybodyAsks) {
    start("[\"127.0.0.1:0\"]");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return port() != 0; })) << room.log();
    web::Bare stream(port());
    stream.say(web::getLines("/api/v1/stream?after=0"));
    stream.hearUntil("event: state\n");
    room.machine.add("x /sys/block/sdb");
    EXPECT_NE(std::string::npos, stream.hearUntil("\"code\":408").find("event: event\ndata: "));
    EXPECT_NE(std::string::npos, stream.hearUntil("event: incident\n").find("event: incident\n"));
    EXPECT_EQ(0, room.stop(SIGTERM));
    stream.hearAll();
    EXPECT_TRUE(stream.isOver());
}

TEST_F(DaemonWebTest, AReloadAsksForATokenAndMovesTheAddress) {
    start("[\"127.0.0.1:0\"]");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return port() != 0; })) << room.log();
    EXPECT_EQ(200, statusOf(port()));
    const Json made = Json::parse(run({"config", "token", "--json"}), nullptr, false);
    ASSERT_TRUE(made.is_object());
    web::Bare stream(port());
    stream.say(web::getLines("/api/v1/stream"));
    stream.hearUntil("event: state\n");

    room.configure("token_hash = " + made["token_hash"].dump() + "\n");
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return statusOf(port()) == 401; })) << room.log();
    EXPECT_EQ(200,
              statusOf(port(), {{"Authorization", "Bearer " + made["token"].get<std::string>()}}));
    stream.hearAll();
    EXPECT_TRUE(stream.isOver()) << "who came without a token has to come again";

    room.listen = "[\"unix\"]";
    room.configure("");
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    EXPECT_TRUE(DaemonRoom::waitFor([&] {
        return pages() == std::vector<std::string>({socketFile()});
    })) << room.log();
    room.listen = "[]";
    room.configure("");
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return pages().empty(); })) << room.log();
    EXPECT_EQ(0, room.stop(SIGTERM));
}

TEST_F(DaemonWebTest, GivenAReloadThatOpensItToOthersWithoutATokenThenNothingChanges) {
    start("[\"127.0.0.1:0\"]");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return port() != 0; })) << room.log();
    room.listen = "[\"0.0.0.0:0\"]";
    room.configure("");
    ASSERT_EQ(0, kill(room.pid, SIGHUP));
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return room.logged("so a token is needed"); }))
        << room.log();
    EXPECT_EQ(200, statusOf(port()));
    EXPECT_EQ(0, room.stop(SIGTERM));
}

TEST_F(DaemonWebTest, GivenAPortThatIsTakenThenItWatchesAllTheSameAndDoctorKnows) {
    web::Room other;
    other.poll();
    other.start();
    start("[\"127.0.0.1:" + std::to_string(other.port()) + "\"]");
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.logged("another program has it"); }))
        << room.log();
    room.machine.add("x /sys/block/sdb");
    EXPECT_TRUE(DaemonRoom::waitFor([&] { return room.toldCode(408); })) << room.log();
    const std::string problems = room.state()["daemon"]["problems"].dump();
    EXPECT_NE(std::string::npos, problems.find("another program has it")) << problems;
    EXPECT_NE(std::string::npos, run({"doctor"}).find("another program has it"));
    const std::string log = room.log();
    EXPECT_EQ(log.find("another program has it"), log.rfind("another program has it"))
        << "it is said once: " << log;
    EXPECT_EQ(0, room.stop(SIGTERM));
}

TEST_F(DaemonWebTest, TemperaturesOfTheRunBeforeAreDrawnAndNewOnesFollow) {
    room.settings.source = "scenario:" QEL_SOURCE_DIR "/tests/browser/shelf.json";
    const std::string file = room.settings.stateFolder + "/temperatures.json";
    const std::int64_t then = std::time(nullptr) - 7200;
    std::filesystem::create_directories(room.settings.stateFolder);
    std::ofstream(file) << "{\"at\":[" << then << "," << then + 600
                        << "],\"of\":{\"drive:R8K703Q14\":[31,32]}}\n";
    start("[\"127.0.0.1:0\"]");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return port() != 0; })) << room.log();
    const auto samples = [&file] {
        std::ifstream in(file);
        const std::string text(std::istreambuf_iterator<char>(in), {});
        return TemperatureLog::parse(text).of("drive:R8K703Q14");
    };
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return samples().size() >= 3; })) << room.log();
    EXPECT_EQ(then, samples()[0].at);
    EXPECT_EQ(34, samples()[2].degrees);
    httplib::Client client("127.0.0.1", port());
    const httplib::Result page = client.Get("/object?key=drive%3AR8K703Q14");
    ASSERT_TRUE(page);
    EXPECT_NE(std::string::npos, page->body.find("\"Temperature: 31 \u00b0C at ")) << page->body;
    EXPECT_EQ(0, room.stop(SIGTERM));
}

}  // namespace
