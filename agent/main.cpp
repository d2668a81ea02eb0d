// raidwatch: watches RAID storage and tells what changed.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <system_error>

#include "agent/CommandLine.h"
#include "agent/Context.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/StopSignal.h"

namespace {

void tell(const std::string& line) {
    std::fprintf(stderr, "raidwatch: %s\n", safeText(line).c_str());
}

int runProgram(int argc, char** argv) {
    Output out(STDOUT_FILENO);
    const StopSignal stop;
    const Context context{out, stop, tell, {out.columns(), out.isTerminal()}};
    return CommandLine(context, QEL_VERSION).run(argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
    (void)std::signal(SIGPIPE, SIG_IGN);  // a reader that goes shows as EPIPE
    try {
        return runProgram(argc, argv);
    } catch (const OutputClosed&) {
        return Failure::kDone;  // whoever read us has seen enough
    } catch (const Failure& e) {
        tell(e.what());
        return e.exitCode;
    } catch (const std::bad_alloc&) {
        tell(
            "not enough memory; raise the limit of this process (MemoryMax of the unit, ulimit "
            "-v)");
    } catch (const std::system_error& e) {
        const bool limited = e.code() == std::errc::resource_unavailable_try_again;
        tell(std::string("failed: ") + e.what() +
             (limited
                  ? "; raise the limits of this process: memory (ulimit -v), threads (ulimit -u)"
                  : ""));
    } catch (const std::exception& e) {
        tell(std::string("failed: ") + e.what());
    }
    return Failure::kFailed;
}
