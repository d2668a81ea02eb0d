// Where a secret must never turn up. The real daemon is given passwords and tokens, and servers
// that cannot be reached, so that every sink has something to complain about.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "agent/daemon/Agent.h"
#include "tests/agent/CommandRun.h"
#include "tests/agent/DaemonRoom.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kSecrets[] = {"pw-Zaphod", "tok-Marvin", "tok-Trillian", "hdr-Ford"};

// A port of this machine that nobody listens on, and nobody else gets.
class ClosedPort {
public:
    ClosedPort() : fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        (void)bind(fd, reinterpret_cast<const sockaddr*>(&address), size);
        (void)getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
        number = ntohs(address.sin_port);
    }
    ~ClosedPort() { (void)close(fd); }
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    std::string place() const { return "127.0.0.1:" + std::to_string(number); }

private:
    int fd;
    int number = 0;
};

class SecretsTest : public testing::Test {
protected:
    std::string secretFile(const std::string& name, const std::string& secret) {
        const std::string file = room.dir.write("secrets/" + name, secret + "\n");
        (void)chmod(file.c_str(), 0600);
        return "\"" + file + "\"\n";
    }
    void configure() {
        room.configure("[sink.mail]\ntype = \"mail\"\nurl = \"smtp://" + port.place() +
                       "\"\nto = [\"a@example.org\"]\nuser = \"watch\"\npassword_file = " +
                       secretFile("mail", kSecrets[0]) +
                       "[sink.chat]\ntype = \"webhook\"\nurl = \"https://" + port.place() +
                       "/\"\nheaders = { X-Api-Key = \"" + kSecrets[3] +
                       "\" }\ntoken_file = " + secretFile("chat", kSecrets[1]) +
                       "[sink.alerts]\ntype = \"alertmanager\"\nurls = [\"https://" + port.place() +
                       "\"]\ntoken_file = " + secretFile("alerts", kSecrets[2]) +
                       "[sink.hook]\ntype = \"exec\"\ncommand = [\"/usr/bin/env\"]\n");
    }
    // What the daemon says of the sinks that cannot reach anybody.
    bool allComplained() const {
        int complaints = 0;
        for (const auto& sink : Agent(room.settings).ask({{"do", "sinks"}})) {
            const std::string answer = sink.value("lastAnswer", "");
            if (answer.find("127.0.0.1") != std::string::npos ||
                answer.find("env ended") != std::string::npos) {
                ++complaints;
            }
        }
        return complaints == 4;
    }
    static std::string contents(const fs::path& file) {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    static void expectNoSecret(const std::string& text, const std::string& where) {
        for (const char* secret : kSecrets) {
            EXPECT_EQ(std::string::npos, text.find(secret)) << secret << " stands in " << where;
        }
    }

    ClosedPort port;
    DaemonRoom room;
};

TEST_F(SecretsTest, ASecretStandsInItsOwnFileOnly) {
    configure();
    room.start();
    ASSERT_TRUE(DaemonRoom::waitFor([&] {
        return room.polled() && room.isUp() && Agent(room.settings).isRunning();
    })) << room.log();
    room.machine.add("x /sys/block/sdb");
    ASSERT_TRUE(DaemonRoom::waitFor([&] { return allComplained(); }))
        << Agent(room.settings).ask({{"do", "sinks"}}) << room.log();

    // What everybody can see of a process, and what its owner can.
    const fs::path process = fs::path("/proc") / std::to_string(room.pid);
    EXPECT_NE("", contents(process / "cmdline"));
    expectNoSecret(contents(process / "cmdline"), "the command line");
    expectNoSecret(contents(process / "environ"), "the environment");

    // Every answer that the sockets give, what became of each record included.
    for (const char* word : {"state", "events", "incidents", "silences", "sinks", "spans"}) {
        expectNoSecret(Agent(room.settings).ask({{"do", word}}).dump(), word);
    }
    const auto last = Agent(room.settings).ask({{"do", "position"}})["last"].get<std::int64_t>();
    for (std::int64_t sequence = 1; sequence <= last; ++sequence) {
        expectNoSecret(Agent(room.settings).ask({{"do", "record"}, {"sequence", sequence}}).dump(),
                       "record " + std::to_string(sequence));
    }

    // Every text for people. The header stands in the configuration itself, and is hidden here.
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"config", "show"},
                                               {"config", "show", "--json"},
                                               {"config", "check"},
                                               {"doctor"},
                                               {"status"},
                                               {"status", "--json"},
                                               {"events", "--json"}}) {
        std::vector<std::string> line = words;
        line.insert(line.end(), {"--config", room.config});
        const CommandRun ran = runCommand(line);
        std::string all = ran.out + ran.failure;
        for (const std::string& note : ran.notes) all += note;
        EXPECT_NE("", all) << words[0];
        expectNoSecret(all, words[0] + " " + words.back());
    }

    EXPECT_EQ(0, room.stop(SIGTERM));
    // Every file of the daemon: log, spool, state, what the sinks wrote.
    for (const auto& entry : fs::recursive_directory_iterator(room.dir.folder())) {
        if (!entry.is_regular_file() || entry.path() == room.config ||
            entry.path().parent_path().filename() == "secrets") {
            continue;
        }
        expectNoSecret(contents(entry.path()), entry.path().string());
    }
}

}  // namespace
