#include "agent/commands/RunVerb.h"

#include <CLI/CLI.hpp>

#include "agent/Failure.h"
#include "agent/settings/SettingsReader.h"
#include "agent/spool/Spool.h"

namespace {

constexpr int kLongestPatience = 86400;  // seconds
constexpr double kSlowestPace = 60;

}  // namespace

void RunVerb::declare(CLI::App& app) {
    app.add_option("--source", options.source,
                   "what to watch, instead of what the configuration says (see raidwatch watch)");
    app.add_flag("--once", options.once,
                 "compare once with the last run, tell everybody, then end (for cron)");
    app.add_option("--wait", patience, "with --once: seconds for the reading, and for the telling")
        ->check(CLI::Range(1, kLongestPatience))
        ->capture_default_str();
    app.add_option("--pace", options.pace,
                   "seconds that a second of the monitor takes; for trials with recorded or "
                   "simulated machines")
        ->check(CLI::Range(0.0, kSlowestPace))
        ->capture_default_str();
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
