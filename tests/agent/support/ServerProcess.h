// ServerProcess: a real server on the loopback for the time of a test: started, waited for until
// it says that it listens, and killed at the end of the scope.
//
//   ServerProcess server({"/usr/bin/python3", script, folder}, "ready ");
//   if (!server.up()) GTEST_SKIP() << server.whyNot();
//   const std::string url = "http://127.0.0.1:" + server.word();
//
// The server says a line that holds `mark`, and behind the mark a word: its port, which the kernel
// has chosen. It dies with this process, however that ends.
#ifndef TESTS_AGENT_SUPPORT_SERVERPROCESS_H
#define TESTS_AGENT_SUPPORT_SERVERPROCESS_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

class ServerProcess {
public:
    ServerProcess(const std::vector<std::string>& argumentsIN, const std::string& mark)
        : arguments(argumentsIN) {
        if (access(arguments.front().c_str(), X_OK) != 0) {
            reason = "there is no " + arguments.front();
            return;
        }
        start();
        waitFor(mark);
    }
    ~ServerProcess() { end(); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    bool up() const { return listens; }
    const std::string& whyNot() const { return reason; }
    const std::string& word() const { return found; }

    // As if its machine had lost power.
    void end() {
        if (pid > 0) {
            kill(pid, SIGKILL);
            while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
            }
        }
        if (output >= 0) close(output);
        pid = 0;
        output = -1;
    }

private:
    static constexpr std::chrono::seconds kPatience{30};  // a busy machine starts slowly

    void start() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        pid = fork();
        if (pid < 0) throw std::runtime_error("no process");
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(ends[1], 1);
            dup2(ends[1], 2);
            execv(argv.front(), argv.data());
            _exit(127);
        }
        close(ends[1]);
        output = ends[0];
    }

    // Reads line by line. Servers that say little afterwards never fill the pipe.
    void waitFor(const std::string& mark) {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        std::string said;
        while (std::chrono::steady_clock::now() < deadline) {
            pollfd wait{output, POLLIN, 0};
            if (poll(&wait, 1, 100) <= 0) continue;
            char bytes[512];
            const ssize_t size = read(output, bytes, sizeof bytes);
            if (size <= 0) break;
            said.append(bytes, static_cast<std::size_t>(size));
            const std::size_t at = said.find(mark);
            const std::size_t lineEnd = at == std::string::npos ? at : said.find('\n', at);
            if (lineEnd == std::string::npos) continue;
            const std::size_t begin = at + mark.size();
            found = said.substr(begin, said.find_first_of(" \n", begin) - begin);
            listens = true;
            return;
        }
        reason = arguments.front() + " does not listen; it said: " + said;
    }

    std::vector<std::string> arguments;
    pid_t pid = 0;
    int output = -1;
    bool listens = false;
    std::string reason;
    std::string found;
};

#endif  // TESTS_AGENT_SUPPORT_SERVERPROCESS_H
