#include "agent/commands/RunVerb.h"

#include "agent/Failure.h"
#include "agent/settings/SettingsReader.h"
#include "agent/spool/Spool.h"

namespace {

constexpr int kLongestPatience = 86400;  // seconds
constexpr double kSlowestPace = 60;

}  // namespace

void RunVerb::declare(Flags& flags) {
    flags.option("--source", options.source,
                 "what to watch, instead of what the configuration says (see raidwatch watch)");
    flags.flag("--once", options.once,
               "compare once with the last run, tell everybody, then end (for cron)");
    flags.option("--wait", patience, "with --once: seconds for the reading, and for the telling")
        .between(1, kLongestPatience)
        .showDefault();
    flags
        .option("--pace", options.pace,
                "seconds that a second of the monitor takes; for trials with recorded or "
                "simulated machines")
        .between(0.0, kSlowestPace)
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
