// LocalService: a program that runs beside a test, and is ended with it. waitUntil: for what such
// a program does in its own time.
//
//   LocalService rsyslog({"/usr/sbin/rsyslogd", "-n", "-f", config});
//   ASSERT_TRUE(waitUntil([&] { return dir.exists("log"); }));
#ifndef TESTS_AGENT_LOCALSERVICE_H
#define TESTS_AGENT_LOCALSERVICE_H

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

// False when the condition has not become true within ten seconds.
inline bool waitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

class LocalService {
public:
    explicit LocalService(const std::vector<std::string>& arguments) {
        std::vector<char*> words;
        for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        posix_spawn_file_actions_t quiet;
        posix_spawn_file_actions_init(&quiet);
        posix_spawn_file_actions_addopen(&quiet, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&quiet, 2, "/dev/null", O_WRONLY, 0);
        if (posix_spawn(&pid, words[0], &quiet, nullptr, words.data(), environ) != 0) pid = -1;
        posix_spawn_file_actions_destroy(&quiet);
    }
    ~LocalService() { stop(); }
    LocalService(const LocalService&) = delete;
    LocalService& operator=(const LocalService&) = delete;

    void stop() {
        if (pid <= 0) return;
        kill(pid, SIGTERM);
        int status = 0;
        const bool ended = waitUntil([&] { return waitpid(pid, &status, WNOHANG) == pid; });
        if (!ended) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
        }
        pid = -1;
    }

private:
    pid_t pid = -1;
};

// What a command of the shell prints.
inline std::string outputOf(const std::string& command) {
    std::string text;
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return text;
    char bytes[4096];
    for (std::size_t n = 0; (n = std::fread(bytes, 1, sizeof bytes, pipe)) > 0;) {
        text.append(bytes, n);
    }
    pclose(pipe);
    return text;
}

#endif  // TESTS_AGENT_LOCALSERVICE_H
