#include "agent/commands/RunVerb.h"

<<<<<<< HEAD
#include <cstdlib>
#include <string>

=======
>>>>>>> main
#include "agent/Failure.h"
#include "agent/settings/SettingsReader.h"
#include "agent/spool/Spool.h"

namespace {

constexpr int kLongestWait = 86400;  // seconds
constexpr double kSlowestPace = 60;

std::string checkWait(const std::string& text) {
    const int seconds = std::atoi(text.c_str());
    const bool fits = seconds >= 1 && seconds <= kLongestWait;
    return fits ? "" : "\"" + text + "\" is no time to wait; give seconds from 1 to 86400";
}

std::string checkPace(const std::string& text) {
    char* end = nullptr;
    const double pace = std::strtod(text.c_str(), &end);
    const bool fits = !text.empty() && *end == 0 && pace >= 0 && pace <= kSlowestPace;
    return fits ? "" : "\"" + text + "\" is no pace; give seconds from 0 to 60";
}

}  // namespace

void RunVerb::declare(Flags& flags) {
    flags.option("--source", options.source,
                 "what to watch, instead of what the configuration says (see raidwatch watch)");
    flags.flag("--once", options.once,
               "compare once with the last run, tell everybody, then end (for cron)");
<<<<<<< HEAD
    flags
        .option("--wait", patience, "with --once: seconds for the reading, and for the telling")
        .check(checkWait)
=======
    flags.option("--wait", patience, "with --once: seconds for the reading, and for the telling")
        .between(1, kLongestPatience)
>>>>>>> main
        .showDefault();
    flags
        .option("--pace", options.pace,
                "seconds that a second of the monitor takes; for trials with recorded or "
                "simulated machines")
<<<<<<< HEAD
        .check(checkPace)
=======
        .between(0.0, kSlowestPace)
>>>>>>> main
        .showDefault();
}

int RunVerb::run(const Context& context) {
    options.configFile = context.configFile;
    options.patience = std::chrono::seconds(patience);
    try {
        return Daemon(options).run(context);
    } catch (const SettingsError& e) {
        for (const std::string& line : e.problems) context.note(line);
        throw Failure(Failure::kBadUse,
                      "the configuration cannot be used; mend it and start again");
    } catch (const SpoolError& e) {
        throw Failure(Failure::kFailed, e.what());
    }
}
