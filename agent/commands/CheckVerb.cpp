#include "agent/commands/CheckVerb.h"

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/commands/CommandSettings.h"
#include "agent/settings/Quantity.h"
#include "agent/state/CheckLine.h"
#include "agent/state/Verdict.h"
#include "agent/status/Look.h"
#include "util/Clock.h"

namespace {

constexpr int kUnknown = 3;

}  // namespace

void CheckVerb::declare(Flags& flags) {
    flags.option("--source", source, "read this source once, now, instead of asking the daemon");
    flags.option("--stale-after", staleAfter,
                 "a look older than this is UNKNOWN, for example 5m (default: configured)");
}

// A monitoring system reads standard output and an exit code; it must get both whatever happens.
int CheckVerb::run(const Context& context) {
    try {
        AgentSettings settings = readSettings(context);
        if (!staleAfter.empty() && !parseDuration(staleAfter, settings.staleAfter)) {
            throw Failure(Failure::kBadUse, "--stale-after \"" + staleAfter +
                                                "\" is no time; give for example 90s or 5m");
        }
        const Look look(settings);
        const Seen seen = source.empty() ? look.ofDaemon() : look.ofSource(source);
        const std::int64_t now = Clock::current().now();
        const Verdict found = verdict(seen.state, seen.incidents, now, settings.staleAfter);
        context.out.line(checkLine(seen.state, found, now));
        return found.exitCode();
    } catch (const Failure& e) {
        std::string reason = e.what();
        for (char& c : reason) {
            if (c == '\n' || c == '|') c = ' ';
        }
        context.out.line("RAID UNKNOWN - " + reason);
        return kUnknown;
    }
}
