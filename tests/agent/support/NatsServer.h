// NatsServer: a real nats-server with JetStream on the loopback, that can be killed and started
// again on the same port and the same store.
//
//   NatsServer server(dir.folder());
//   if (!server.isInstalled()) GTEST_SKIP() << server.whyNot();
//   server.start();
//   server.kill();       // SIGKILL: as if its machine had lost power, but for the disk cache
//
// It dies with this process.
#ifndef TESTS_AGENT_SUPPORT_NATSSERVER_H
#define TESTS_AGENT_SUPPORT_NATSSERVER_H

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>

class NatsServer {
public:
    // `folder` ends in "/".
    explicit NatsServer(std::string folderIN) : folder(std::move(folderIN)) {}
    ~NatsServer() { kill(); }
    NatsServer(const NatsServer&) = delete;
    NatsServer& operator=(const NatsServer&) = delete;

    static bool isInstalled() { return access(kProgram, X_OK) == 0; }
    static std::string whyNot() { return std::string("there is no ") + kProgram; }

    // `jetStream`: further lines of that block; `more`: of the whole file. False when it does not
    // come up; log() says why.
    bool start(const std::string& jetStream = "", const std::string& more = "") {
        kill();
        const std::string config = folder + "nats.conf";
        std::ofstream(config) << "jetstream {\n  store_dir: \"" << folder << "store\"\n"
                              << jetStream << "}\nmax_connections: 200000\n"
                              << more << "\n";
        const std::string logFile = folder + "nats.log";
        (void)unlink(logFile.c_str());
        const std::string port = number.empty() ? "-1" : number;
        pid = fork();
        if (pid < 0) throw std::runtime_error("no process");
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int out = open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
            dup2(out, 1);
            dup2(out, 2);
            execl(kProgram, kProgram, "-c", config.c_str(), "-a", "127.0.0.1", "-p", port.c_str(),
                  nullptr);
            _exit(127);
        }
        return waitUntilReady();
    }
    void kill() {
        if (pid <= 0) return;
        ::kill(pid, SIGKILL);
        while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        pid = 0;
    }

    std::string url(const std::string& scheme = "nats") const {
        return scheme + "://127.0.0.1:" + number;
    }
    std::string log() const {
        std::ifstream in(folder + "nats.log", std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    pid_t process() const { return pid; }

private:
    static constexpr char kProgram[] = "/usr/sbin/nats-server";
    static constexpr char kMark[] = "Listening for client connections on 127.0.0.1:";
    static constexpr std::chrono::seconds kPatience{60};  // a busy machine starts slowly

    bool waitUntilReady() {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (std::chrono::steady_clock::now() < end && waitpid(pid, nullptr, WNOHANG) == 0) {
            const std::string said = log();
            const std::size_t at = said.find(kMark);
            if (at != std::string::npos && said.find("Server is ready") != std::string::npos) {
                const std::size_t begin = at + sizeof kMark - 1;
                number = said.substr(begin, said.find('\n', begin) - begin);
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    const std::string folder;
    std::string number;  // of the port, from the first start on
    pid_t pid = 0;
};

#endif  // TESTS_AGENT_SUPPORT_NATSSERVER_H
