#include "agent/sinks/MailProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sysexits.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "agent/SafeText.h"

namespace {

using SteadyTime = std::chrono::steady_clock::time_point;

constexpr std::size_t kKeptBytes = 4096;  // of what the program says
constexpr std::size_t kShownColumns = 160;

// A file descriptor that is closed at the end of the scope.
class Descriptor {
public:
    explicit Descriptor(int fileIN) : file(fileIN) {}
    ~Descriptor() { release(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return file; }
    void release() {
        if (file >= 0) close(file);
        file = -1;
    }

private:
    int file;
};

[[noreturn]] void fail(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

std::string withoutReturns(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

// The mail as an input that needs nobody to write it while the program reads.
int memoryFile(const std::string& text) {
    const int file = memfd_create("mail", MFD_CLOEXEC);
    if (file < 0) fail(errno, "memfd_create");
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t now = write(file, text.data() + done, text.size() - done);
        if (now < 0) {
            const int error = errno;
            close(file);
            fail(error, "write");
        }
        done += static_cast<std::size_t>(now);
    }
    lseek(file, 0, SEEK_SET);
    return file;
}

// What the new process is given: input, output, a group of its own, ordinary signals.
class SpawnSetup {
public:
    SpawnSetup(int input, int output) {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input, 0);
        posix_spawn_file_actions_adddup2(&actions, output, 1);
        posix_spawn_file_actions_adddup2(&actions, output, 2);
        posix_spawn_file_actions_addclosefrom_np(&actions, 3);
        sigset_t none;
        sigemptyset(&none);
        sigset_t all;
        sigfillset(&all);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setflags(
            &attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

pid_t start(std::vector<std::string> arguments, int input, int output) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    const SpawnSetup setup(input, output);
    pid_t pid = 0;
    const int error =
        posix_spawn(&pid, argv.front(), &setup.actions, &setup.attributes, argv.data(), environ);
    if (error != 0) fail(error, argv.front());
    return pid;
}

int millisecondsUntil(SteadyTime deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3600000));
}

void readSome(int file, std::string& kept, bool& open) {
    char bytes[1024];
    const ssize_t size = read(file, bytes, sizeof bytes);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (size <= 0) {
        open = false;
        return;
    }
    kept.append(bytes, std::min(static_cast<std::size_t>(size), kKeptBytes - kept.size()));
}

// Reads what the process says until it ends or the time is up. A child that it leaves behind may
// hold the output open: its own end counts. True when it ended.
bool follow(pid_t pid, int output, SteadyTime deadline, std::string& said) {
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
    bool open = true;
    for (;;) {
        pollfd waits[] = {{process.get(), POLLIN, 0}, {open ? output : -1, POLLIN, 0}};
        const int ready = poll(waits, 2, millisecondsUntil(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return false;
        if (open && waits[1].revents != 0) {
            readSome(output, said, open);
            continue;  // first all that it has said
        }
        if (waits[0].revents != 0) return true;
    }
}

std::string lastLine(const std::string& said) {
    const std::size_t end = said.find_last_not_of(" \t\r\n");
    if (end == std::string::npos) return std::string();
    const std::size_t before = said.find_last_of('\n', end);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    return cutText(safeText(said.substr(begin, end - begin + 1)), kShownColumns);
}

Answer verdict(int status, const std::string& said) {
    const std::string line = lastLine(said);
    const std::string tail = line.empty() ? "" : ": " + line;
    if (!WIFEXITED(status)) {
        return {Answer::Kind::kRetry,
                "killed by signal " + std::to_string(WTERMSIG(status)) + tail};
    }
    const int code = WEXITSTATUS(status);
    const std::string text = "exit code " + std::to_string(code) + tail;
    if (code == EX_OK) return {Answer::Kind::kDelivered, text};
    const bool refused = code == EX_DATAERR || code == EX_NOUSER || code == EX_NOHOST;
    return {refused ? Answer::Kind::kRefused : Answer::Kind::kRetry, text};
}

Answer run(const std::vector<std::string>& arguments, const std::string& text,
           std::chrono::milliseconds timeout) {
    const SteadyTime deadline = std::chrono::steady_clock::now() + timeout;
    const Descriptor input(memoryFile(text));
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) fail(errno, "pipe");
    const Descriptor output(ends[0]);
    Descriptor theirs(ends[1]);
    fcntl(output.get(), F_SETFL, O_NONBLOCK);

    const pid_t pid = start(arguments, input.get(), theirs.get());
    theirs.release();
    std::string said;
    const bool ended = follow(pid, output.get(), deadline, said);
    if (!ended) kill(-pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (ended) return verdict(status, said);
    return {Answer::Kind::kRetry,
            "took longer than " + std::to_string(timeout.count() / 1000) + " s and was killed"};
}

}  // namespace

Answer MailProgram::send(const std::string& text) const {
    const std::string name = safeText(arguments.front()) + ": ";
    try {
        Answer answer = run(arguments, withoutReturns(text), timeout);
        answer.text = name + answer.text;
        return answer;
    } catch (const std::system_error& e) {
        return {Answer::Kind::kRetry, name + e.code().message()};
    }
}

std::string MailProgram::problem() const {
    if (access(arguments.front().c_str(), X_OK) == 0) return std::string();
    return safeText(arguments.front()) + ": " + std::strerror(errno) +
           "; install it or correct sendmail";
}
