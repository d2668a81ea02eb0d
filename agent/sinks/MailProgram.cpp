#include "agent/sinks/MailProgram.h"

#include <sys/eventfd.h>
#include <sysexits.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "agent/SafeText.h"
#include "agent/sinks/HookCheck.h"
#include "agent/sinks/HookProcess.h"

namespace {

constexpr std::size_t kShownColumns = 160;

std::string withoutReturns(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

// Mail programs look for their settings and their user there.
std::vector<std::string> ourEnvironment() {
    std::vector<std::string> all;
    for (char** variable = environ; *variable != nullptr; ++variable) all.emplace_back(*variable);
    return all;
}

// The last line that it said: the first are often mere talk.
std::string tailOf(const std::string& said) {
    const std::size_t end = said.find_last_not_of(" \t\r\n");
    if (end == std::string::npos) return std::string();
    const std::size_t before = said.find_last_of('\n', end);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    return ": " + cutText(safeText(said.substr(begin, end - begin + 1)), kShownColumns);
}

Answer::Kind kindOf(int exitCode) {
    if (exitCode == EX_OK) return Answer::Kind::kDelivered;
    const bool refused = exitCode == EX_DATAERR || exitCode == EX_NOUSER || exitCode == EX_NOHOST;
    return refused ? Answer::Kind::kRefused : Answer::Kind::kRetry;
}

Answer verdict(const HookResult& result, std::chrono::milliseconds timeout) {
    const std::string tail = tailOf(result.output);
    switch (result.end) {
        case HookResult::End::kExited:
            return {kindOf(result.status), "exit code " + std::to_string(result.status) + tail};
        case HookResult::End::kSignalled:
            return {Answer::Kind::kRetry,
                    "ended by signal " + std::to_string(result.status) + tail};
        case HookResult::End::kTimeOut:
            return {Answer::Kind::kRetry, "took longer than " +
                                              std::to_string(timeout.count() / 1000) +
                                              " s and was ended" + tail};
        case HookResult::End::kCancelled:
            return {Answer::Kind::kRetry, "ended, because the agent stops"};
        case HookResult::End::kNotStarted:
            break;
    }
    return {Answer::Kind::kRetry, safeText(result.error)};
}

}  // namespace

MailProgram::MailProgram(std::vector<std::string> argumentsIN, std::chrono::milliseconds timeoutIN)
    : arguments(std::move(argumentsIN)), timeout(timeoutIN), stopFd(eventfd(0, EFD_CLOEXEC)) {}

MailProgram::~MailProgram() {
    if (stopFd >= 0) close(stopFd);
}

void MailProgram::cancel() {
    (void)eventfd_write(stopFd, 1);  // without one, the time limit ends the program
}

Answer MailProgram::send(const std::string& text) const {
    const std::string others = whoElse();
    if (!others.empty()) return {Answer::Kind::kRetry, others};
    HookCall call;
    call.arguments = arguments;
    call.environment = ourEnvironment();
    call.input = withoutReturns(text);
    HookLimits limits;
    limits.time = timeout;
    Answer answer = verdict(runHook(call, limits, stopFd), timeout);
    answer.text = safeText(arguments.front()) + ": " + answer.text;
    return answer;
}

std::string MailProgram::problem() const {
    if (access(arguments.front().c_str(), X_OK) == 0) return whoElse();
    return safeText(arguments.front()) + ": " + std::strerror(errno) +
           "; install it or correct sendmail";
}

// It runs as we do, which may be root. What is not there is for others to tell.
std::string MailProgram::whoElse() const {
    if (access(arguments.front().c_str(), X_OK) != 0) return std::string();
    return hookTrouble(arguments.front(), geteuid());
}
