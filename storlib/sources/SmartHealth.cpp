#include "storlib/sources/SmartHealth.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "storlib/sources/JsonNode.h"

namespace {

constexpr std::size_t kAnswerLimit = 256 * 1024;
constexpr std::size_t kMostHanging = 4;
constexpr std::int64_t kColdest = -60;  // degrees; what drives say beyond these is no measurement
constexpr std::int64_t kHottest = 150;

std::int64_t monotonicSeconds() {
    timespec now = {};
    (void)::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

std::string keyOf(const LinuxDrive& drive) { return drive.path + " " + drive.serial; }

const JsonNode* memberOf(const JsonNode* object, const char* name) {
    return object == nullptr ? nullptr : object->member(name);
}

// The program gets no input, no signals that the host blocked, and only a plain environment.
pid_t startProgram(const std::string& program, const std::string& node, int out) {
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&files);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, out, 1);
    posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    std::string words[] = {program, "--json", "-n", "standby", "-H", "-A", node};
    char* arguments[8] = {};
    for (std::size_t i = 0; i < 7; ++i) arguments[i] = &words[i][0];
    char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    char locale[] = "LC_ALL=C";
    char* environment[] = {path, locale, nullptr};
    pid_t child = 0;
    const int failed =
        posix_spawn(&child, program.c_str(), &files, &attributes, arguments, environment);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    return failed == 0 ? child : 0;
}

}  // namespace

SmartHealth::SmartHealth(const std::string& programPath, std::int64_t secondsBetween)
    : program(programPath), interval(secondsBetween) {}

SmartHealth::~SmartHealth() {
    if (child > 0) finish();
    reap();
    if (output >= 0) ::close(output);
}

std::string SmartHealth::findProgram() {
    for (const char* path : {"/usr/sbin/smartctl", "/sbin/smartctl", "/usr/bin/smartctl",
                             "/usr/local/sbin/smartctl"}) {
        if (::access(path, X_OK) == 0) return path;
    }
    return std::string();
}

SmartHealth::Answer SmartHealth::parse(const std::string& text) {
    Answer answer;
    std::string ignored;
    const std::unique_ptr<JsonNode> root = JsonNode::parse(text, ignored);
    if (!root) return answer;
    const JsonNode* passed = memberOf(root->member("smart_status"), "passed");
    if (passed != nullptr && passed->is(JsonNode::Type::kBool)) {
        answer.health = passed->flag ? kGood : kFailing;
    }
    const JsonNode* degrees = memberOf(root->member("temperature"), "current");
    const bool isCredible = degrees != nullptr && degrees->is(JsonNode::Type::kInteger) &&
                            degrees->integer > kColdest && degrees->integer < kHottest;
    if (isCredible) answer.temperature = static_cast<int>(degrees->integer);
    return answer;
}

SmartHealth::Health SmartHealth::of(const LinuxDrive& drive) const {
    const auto entry = entries.find(keyOf(drive));
    return entry == entries.end() ? kUnknown : entry->second.last.health;
}

int SmartHealth::temperatureOf(const LinuxDrive& drive) const {
    const auto entry = entries.find(keyOf(drive));
    return entry == entries.end() ? kNoTemperature : entry->second.last.temperature;
}

// Never waits: a program that hangs in a drive's driver cannot even be killed.
void SmartHealth::reap() {
    for (auto process = ended.begin(); process != ended.end();) {
        const bool alive = ::waitpid(*process, nullptr, WNOHANG) == 0;
        process = alive ? process + 1 : ended.erase(process);
    }
}

void SmartHealth::finish() {
    (void)::kill(child, SIGKILL);
    ended.push_back(child);
    child = 0;
    reap();
    ::close(output);
    output = -1;
    const Answer said = parse(answer);
    Answer& last = entries[question].last;
    if (said.health != kUnknown) last.health = said.health;
    if (said.temperature != kNoTemperature) last.temperature = said.temperature;
}

void SmartHealth::collect() {
    char block[4096];
    for (;;) {
        const ssize_t got = ::read(output, block, sizeof block);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && errno == EAGAIN) {
            if (monotonicSeconds() - started >= kPatienceSeconds) finish();
            return;
        }
        if (got <= 0) return finish();
        answer.append(block, static_cast<std::size_t>(got));
        if (answer.size() > kAnswerLimit) return finish();
    }
}

void SmartHealth::ask(const LinuxDrive& drive) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    (void)::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    child = startProgram(program, "/dev/" + drive.name, ends[1]);
    ::close(ends[1]);
    if (child <= 0) {
        ::close(ends[0]);
        return;
    }
    output = ends[0];
    answer.clear();
    question = keyOf(drive);
    started = monotonicSeconds();
}

void SmartHealth::step(const std::vector<LinuxDrive>& drives) {
    if (program.empty()) return;
    if (child > 0) collect();
    reap();
    if (child > 0 || ended.size() >= kMostHanging) return;
    const std::int64_t now = monotonicSeconds();
    for (const LinuxDrive& drive : drives) {
        if (drive.kind == LinuxDrive::Kind::kOther) continue;
        const auto known = entries.find(keyOf(drive));
        if (known != entries.end() && now - known->second.asked < interval) continue;
        entries[keyOf(drive)].asked = now;
        ask(drive);
        return;
    }
}
