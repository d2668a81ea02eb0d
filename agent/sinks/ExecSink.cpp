#include "agent/sinks/ExecSink.h"

#include <grp.h>
#include <pwd.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include "agent/SafeText.h"
#include "agent/sinks/HookCheck.h"
#include "agent/sinks/SinkValues.h"

namespace {

constexpr std::size_t kShownOutput = 1000;  // columns of a receipt
constexpr const char* kOwnUsers[] = {"raidwatch", "nobody"};

std::string inherited(const char* name, const char* otherwise) {
    const char* const value = std::getenv(name);
    return std::string(name) + "=" + (value != nullptr && *value != '\0' ? value : otherwise);
}

bool lookUp(const std::string& name, HookUser& found) {
    std::vector<char> room(16384);
    passwd entry{};
    passwd* answer = nullptr;
    if (getpwnam_r(name.c_str(), &entry, room.data(), room.size(), &answer) != 0 ||
        answer == nullptr) {
        return false;
    }
    found.uid = entry.pw_uid;
    found.gid = entry.pw_gid;
    int count = 64;
    found.groups.resize(static_cast<std::size_t>(count));
    if (getgrouplist(name.c_str(), entry.pw_gid, found.groups.data(), &count) < 0) {
        found.groups.resize(static_cast<std::size_t>(count));
        (void)getgrouplist(name.c_str(), entry.pw_gid, found.groups.data(), &count);
    }
    found.groups.resize(static_cast<std::size_t>(count));
    return true;
}

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// "; it said: ..." of a program's output, on one line.
std::string said(const HookResult& result) {
    std::string output = result.output;
    while (!output.empty() && (output.back() == '\n' || output.back() == ' ')) output.pop_back();
    if (output.empty()) return std::string();
    std::replace(output.begin(), output.end(), '\n', ' ');
    const std::string shown = safeText(output);
    const std::string text = cutText(shown, kShownOutput);
    return "; it said: " + text + (result.cut || text.size() < shown.size() ? " ..." : "");
}

}  // namespace

ExecSink::ExecSink(const SinkSettings& settings, StateSource stateIN)
    : name(settings.name), state(std::move(stateIN)), stopFd(-1) {
    const SinkValues values(settings);
    const auto list = settings.lists.find("command");
    if (list != settings.lists.end()) command = list->second;
    dir = values.text("dir", "");
    if (command.empty() == dir.empty()) {
        throw values.wrong("command", "give either a command or a dir of hooks");
    }
    const std::string& path = command.empty() ? dir : command[0];
    if (path.empty() || path[0] != '/') {
        throw values.wrong(command.empty() ? "dir" : "command",
                           "\"" + safeText(path) + "\" is no whole path; write it from / on");
    }
    userName = values.text("user", "");
    style = hookStyle(values.oneOf("style", "raidwatch", {"raidwatch", "mdadm", "smartd"}));
    records = recordChoice(values.oneOf("send", "notices", {"notices", "events", "told", "both"}));
    jobs = static_cast<std::size_t>(values.number("jobs", 4, 1, 64));
    limits.time = std::chrono::seconds(settings.timeout);
    stopFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

ExecSink::~ExecSink() {
    if (stopFd >= 0) close(stopFd);
}

bool ExecSink::wants(const Record& record) const { return hookWants(style, records, record); }

void ExecSink::cancel() { (void)eventfd_write(stopFd, 1); }

std::string ExecSink::findUser(HookUser& found) const {
    const bool isRoot = geteuid() == 0;
    if (userName.empty() && !isRoot) {
        found.uid = geteuid();
        return std::string();
    }
    if (!userName.empty() && !lookUp(userName, found)) {
        return "there is no user \"" + safeText(userName) +
               "\"; make it, or name another in \"user\"";
    }
    if (!isRoot) {
        return found.uid == geteuid() ? std::string()
                                      : "only root can run hooks as " + safeText(userName);
    }
    bool known = !userName.empty();
    for (const char* own : kOwnUsers) known = known || lookUp(own, found);
    if (!known) return "there is no user to run hooks as; name one in \"user\"";
    found.change = true;
    return std::string();
}

std::vector<std::string> ExecSink::programs() const {
    return command.empty() ? hooksIn(dir) : std::vector<std::string>{command[0]};
}

std::string ExecSink::trouble() {
    if (stopFd < 0) return "there are no file descriptors left";
    HookUser user;
    std::string what = findUser(user);
    if (what.empty() && !dir.empty()) what = hookFolderTrouble(dir, user.uid);
    if (!what.empty()) return what;
    for (const std::string& program : programs()) {
        what = hookTrouble(program, user.uid);
        if (!what.empty()) return what;
    }
    return std::string();
}

std::string ExecSink::problem() {
    const std::string what = trouble();
    if (what.empty() && programs().empty()) return "there is no hook in " + safeText(dir);
    return what;
}

HookCall ExecSink::callFor(const Record& record, const std::string& id) const {
    const bool needsState = style != HookStyle::kRaidwatch || record.object.rfind("drive:", 0) == 0;
    const std::unique_ptr<MachineState> now = needsState && state ? state() : nullptr;
    const HookDevices devices = hookDevices(record, now.get());
    HookCall call;
    if (!command.empty()) call.arguments = command;
    const std::vector<std::string> told = hookArguments(style, record, id, devices);
    call.arguments.insert(call.arguments.end(), told.begin(), told.end());
    call.environment = hookVariables(style, record, id, devices);
    call.environment.push_back("RAIDWATCH_SINK=" + safeText(name));
    call.environment.push_back(inherited("PATH", "/usr/local/bin:/usr/bin:/bin"));
    call.environment.push_back(inherited("LANG", "C.UTF-8"));
    call.input = hookInput(style, record, id);
    return call;
}

Answer ExecSink::deliver(const Record& record, const std::string& id) {
    const std::string what = trouble();
    if (!what.empty()) return {Answer::Kind::kRetry, what};
    HookCall call = callFor(record, id);
    const std::string wrongUser = findUser(call.user);
    if (!wrongUser.empty()) return {Answer::Kind::kRetry, wrongUser};

    std::string told;
    for (const std::string& program : programs()) {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (done[id].count(program) != 0) continue;  // at an earlier try
        }
        HookCall one = call;
        if (command.empty()) one.arguments.insert(one.arguments.begin(), program);
        const Answer answer = ended(runHook(one, limits, stopFd), program, id);
        if (answer.kind != Answer::Kind::kDelivered) return answer;
        const std::lock_guard<std::mutex> lock(mutex);
        done[id].insert(program);
        told += (told.empty() ? "" : "; ") + answer.text;
    }
    const std::lock_guard<std::mutex> lock(mutex);
    done.erase(id);
    tries.erase(id);
    return {Answer::Kind::kDelivered,
            told.empty() ? "there was no hook to run in " + safeText(dir) : told};
}

// In our style a status other than 0 says "not delivered", but a hook that always fails must not
// hold up all that follow.
Answer ExecSink::failed(const std::string& id, const std::string& what) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (++tries[id] < kMostTries) return {Answer::Kind::kRetry, what};
    tries.erase(id);
    done.erase(id);
    return {Answer::Kind::kRefused, what + "; tried " + std::to_string(kMostTries) + " times"};
}

Answer ExecSink::ended(const HookResult& result, const std::string& program,
                       const std::string& id) {
    const std::string who = safeText(baseName(program));
    const bool statusCounts = style == HookStyle::kRaidwatch;
    switch (result.end) {
        case HookResult::End::kExited: {
            const std::string what =
                who + " ended with status " + std::to_string(result.status) + said(result);
            if (result.status == 0 || !statusCounts) return {Answer::Kind::kDelivered, what};
            return failed(id, what);
        }
        case HookResult::End::kSignalled: {
            const std::string what =
                who + " was ended by signal " + std::to_string(result.status) + said(result);
            if (!statusCounts) return {Answer::Kind::kDelivered, what};
            return failed(id, what);
        }
        case HookResult::End::kTimeOut:
            return failed(id, who + " took longer than " +
                                  std::to_string(limits.time.count() / 1000) +
                                  " s and was stopped" + said(result));
        case HookResult::End::kCancelled:
            return {Answer::Kind::kRetry, who + " was stopped, because raidwatch stops"};
        case HookResult::End::kNotStarted:
            break;
    }
    return {Answer::Kind::kRetry, safeText(result.error)};
}

// Records of one object form a chain; each thread takes whole chains.
std::vector<Answer> ExecSink::deliverAll(const std::vector<Parcel>& parcels) {
    std::vector<std::vector<std::size_t>> chains;
    std::map<std::string, std::size_t> chainOf;
    for (std::size_t i = 0; i < parcels.size(); ++i) {
        const auto [place, isNew] = chainOf.emplace(parcels[i].record->object, chains.size());
        if (isNew) chains.emplace_back();
        chains[place->second].push_back(i);
    }

    std::vector<Answer> answers(parcels.size());
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t c = next++; c < chains.size(); c = next++) {
            bool blocked = false;
            for (const std::size_t i : chains[c]) {
                answers[i] = blocked
                                 ? Answer{Answer::Kind::kRetry, "waits for the record before it"}
                                 : deliver(*parcels[i].record, parcels[i].id);
                blocked = answers[i].kind == Answer::Kind::kRetry;
            }
        }
    };
    std::vector<std::thread> threads;
    while (threads.size() + 1 < std::min(jobs, chains.size())) threads.emplace_back(work);
    work();
    for (std::thread& thread : threads) thread.join();
    return answers;
}

std::unique_ptr<Sink> makeExecSink(const SinkSettings& settings) {
    return std::make_unique<ExecSink>(settings);
}
