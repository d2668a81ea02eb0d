#include "agent/sinks/HookProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <utility>

namespace {

using Time = std::chrono::steady_clock;

// How often a process without a descriptor of its own is looked at, and how long one that survives
// SIGKILL (stuck in the kernel) is waited for.
constexpr std::chrono::milliseconds kLook(50);
constexpr std::chrono::milliseconds kAfterKill(1000);

class Descriptor {
public:
    explicit Descriptor(int fdIN = -1) : fd(fdIN) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd; }
    void reset(int other = -1) {
        if (fd >= 0) close(fd);
        fd = other;
    }

private:
    int fd;
};

bool makePipe(Descriptor& readEnd, Descriptor& writeEnd) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    readEnd.reset(ends[0]);
    writeEnd.reset(ends[1]);
    return true;
}

int inputFile(const std::string& input) {
    const int fd = memfd_create("hook-input", MFD_CLOEXEC);
    if (fd < 0) return -1;
    for (std::size_t at = 0; at < input.size();) {
        const ssize_t written = write(fd, input.data() + at, input.size() - at);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) {
            close(fd);
            return -1;
        }
        at += static_cast<std::size_t>(written);
    }
    if (lseek(fd, 0, SEEK_SET) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// What the child needs, made before it exists: between fork and exec nothing may be allocated.
struct Start {
    std::vector<char*> arguments;
    std::vector<char*> environment;
    int input = -1;
    int output = -1;
    int report = -1;  // of a failure, as one Failed
    const HookUser* user = nullptr;
};

struct Failed {
    int error;
    char step[24];
};

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> list;
    list.reserve(texts.size() + 1);
    for (const std::string& text : texts) list.push_back(const_cast<char*>(text.c_str()));
    list.push_back(nullptr);
    return list;
}

[[noreturn]] void giveUp(int report, const char* step) {
    Failed failed{};
    failed.error = errno;
    std::strncpy(failed.step, step, sizeof failed.step - 1);
    const ssize_t ignored = write(report, &failed, sizeof failed);
    (void)ignored;  // nobody is left to be told
    _exit(127);
}

// The system calls themselves: the library's functions would change all threads of a process,
// which is not safe here, and the child has one thread only.
bool become(const HookUser& user) {
    return syscall(SYS_setgroups, user.groups.size(), user.groups.data()) == 0 &&
           syscall(SYS_setresgid, user.gid, user.gid, user.gid) == 0 &&
           syscall(SYS_setresuid, user.uid, user.uid, user.uid) == 0;
}

// In the child. Only calls that are safe after fork() in a program with threads.
[[noreturn]] void runChild(const Start& start) {
    setpgid(0, 0);
    for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
    constexpr int kReport = 3;
    // Above the numbers that are filled next, so that none of them is closed by another.
    const int report = fcntl(start.report, F_DUPFD_CLOEXEC, 10);
    const int input = fcntl(start.input, F_DUPFD_CLOEXEC, 10);
    const int output = fcntl(start.output, F_DUPFD_CLOEXEC, 10);
    if (report < 0 || input < 0 || output < 0) giveUp(start.report, "prepare files for");
    if (dup2(input, 0) < 0 || dup2(output, 1) < 0 || dup2(output, 2) < 0 ||
        dup3(report, kReport, O_CLOEXEC) < 0) {
        giveUp(report, "prepare files for");
    }
    // Old kernels cannot; there everything of ours is closed by its own flag.
    (void)syscall(SYS_close_range, kReport + 1, UINT_MAX, 0);
    if (chdir("/") != 0) giveUp(kReport, "enter / for");
    umask(077);
    if (start.user->change && !become(*start.user)) giveUp(kReport, "become the user to run");
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execve(start.arguments[0], start.arguments.data(), start.environment.data());
    giveUp(kReport, "run");
}

// Forks with all signals held back, so that none of our handlers runs in the child. The work ends
// the child.
template <typename Work>
pid_t forkFor(const Work& work) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = fork();
    if (pid == 0) work();
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return pid;
}

// A daemon of root without CAP_KILL may not signal programs of another user; who is that user in
// effect may. The child stays root by its real user, so that the program cannot signal it back.
void signalGroup(pid_t group, int number, const HookUser& user) {
    if (kill(-group, number) == 0 || errno != EPERM || !user.change) return;
    const auto same = static_cast<uid_t>(-1);
    const pid_t pid = forkFor([&] {
        if (syscall(SYS_setresuid, same, user.uid, same) == 0) kill(-group, number);
        _exit(0);
    });
    if (pid < 0) return;
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) continue;
}

class Watch {
public:
    Watch(pid_t pidIN, const HookUser& userIN, int outputIN, const HookLimits& limitsIN,
          int cancelFdIN)
        : pid(pidIN),
          user(userIN),
          output(outputIN),
          limits(limitsIN),
          cancelFd(cancelFdIN),
          process(static_cast<int>(syscall(SYS_pidfd_open, pidIN, 0))) {
        fcntl(output, F_SETFL, O_NONBLOCK);
    }

    HookResult wait() {
        Time::time_point limit = Time::now() + limits.time;
        int stage = 0;  // 1: asked to end, 2: killed, 3: given up
        while (!hasEnded() && stage < 3) {
            look(limit, stage == 0);
            drain();
            const bool cancelNow = stage == 0 && cancelled;
            if (!cancelNow && Time::now() < limit) continue;
            if (++stage == 3) break;
            if (stage == 1) {
                result.end = cancelNow ? HookResult::End::kCancelled : HookResult::End::kTimeOut;
            }
            signalGroup(pid, stage == 1 ? SIGTERM : SIGKILL, user);
            limit = Time::now() + (stage == 1 ? limits.grace : kAfterKill);
        }
        if (stage != 0) signalGroup(pid, SIGKILL, user);  // its children too; it is not yet reaped
        drain();
        finish(stage);
        return std::move(result);
    }

private:
    bool hasEnded() const {
        siginfo_t info{};
        return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == pid;
    }

    void look(Time::time_point limit, bool mayCancel) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(limit - Time::now());
        auto wait = std::max(left + std::chrono::milliseconds(1), std::chrono::milliseconds(0));
        if (process.get() < 0) wait = std::min(wait, kLook);
        pollfd fds[] = {{open ? output : -1, POLLIN, 0},
                        {process.get(), POLLIN, 0},
                        {mayCancel ? cancelFd : -1, POLLIN, 0}};
        if (poll(fds, 3, static_cast<int>(std::min<std::int64_t>(wait.count(), INT_MAX))) <= 0)
            return;
        cancelled = cancelled || fds[2].revents != 0;
    }

    void drain() {
        char bytes[4096];
        while (open) {
            const ssize_t size = read(output, bytes, sizeof bytes);
            if (size < 0 && errno == EINTR) continue;
            if (size < 0) return;  // nothing for now
            if (size == 0) open = false;
            const std::size_t room = limits.output - std::min(limits.output, result.output.size());
            const std::size_t kept = std::min(room, static_cast<std::size_t>(size));
            result.output.append(bytes, kept);
            if (kept < static_cast<std::size_t>(size)) result.cut = true;
            if (hurry()) return;
        }
    }

    // One that never stops writing must not keep us from looking at the clock.
    bool hurry() { return ++reads % 16 == 0; }

    void finish(int stage) {
        int status = 0;
        const pid_t reaped = waitpid(pid, &status, stage == 3 ? WNOHANG : 0);
        if (reaped != pid) return;
        const bool signalled = WIFSIGNALED(status);
        result.status = signalled ? WTERMSIG(status) : WEXITSTATUS(status);
        if (stage != 0) return;  // we ended it: how it took that does not matter
        result.end = signalled ? HookResult::End::kSignalled : HookResult::End::kExited;
    }

    const pid_t pid;
    const HookUser& user;
    const int output;
    const HookLimits limits;
    const int cancelFd;
    Descriptor process;
    HookResult result;
    bool open = true;
    bool cancelled = false;
    unsigned reads = 0;
};

bool isReadable(int fd) {
    pollfd one = {fd, POLLIN, 0};  // of -1 nothing is ever read
    return poll(&one, 1, 0) > 0 && one.revents != 0;
}

HookResult notStarted(const std::string& doing, int error) {
    HookResult result;
    result.error = "cannot " + doing + ": " + std::strerror(error);
    return result;
}

}  // namespace

HookResult runHook(const HookCall& call, const HookLimits& limits, int cancelFd) {
    if (isReadable(cancelFd)) {
        HookResult result;
        result.end = HookResult::End::kCancelled;
        return result;
    }
    Descriptor outputRead;
    Descriptor outputWrite;
    Descriptor reportRead;
    Descriptor reportWrite;
    if (!makePipe(outputRead, outputWrite) || !makePipe(reportRead, reportWrite)) {
        return notStarted("make a pipe", errno);
    }
    Descriptor input(inputFile(call.input));
    if (input.get() < 0) return notStarted("keep the input in memory", errno);

    Start start;
    start.arguments = pointers(call.arguments);
    start.environment = pointers(call.environment);
    start.input = input.get();
    start.output = outputWrite.get();
    start.report = reportWrite.get();
    start.user = &call.user;
    const pid_t pid = forkFor([&] { runChild(start); });
    if (pid < 0) return notStarted("make a process", errno);
    setpgid(pid, pid);  // whoever comes first, child or we
    outputWrite.reset();
    reportWrite.reset();
    input.reset();

    Failed failed{};
    ssize_t size = 0;
    do {
        size = read(reportRead.get(), &failed, sizeof failed);
    } while (size < 0 && errno == EINTR);
    if (size == static_cast<ssize_t>(sizeof failed)) {
        waitpid(pid, nullptr, 0);
        failed.step[sizeof failed.step - 1] = '\0';
        return notStarted(std::string(failed.step) + " " + call.arguments[0], failed.error);
    }
    return Watch(pid, call.user, outputRead.get(), limits, cancelFd).wait();
}
