#include "agent/commands/CheckVerb.h"

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/commands/CommandSettings.h"
#include "agent/commands/CommonFlags.h"
#include "agent/settings/Quantity.h"
#include "agent/state/CheckLine.h"
#include "agent/state/Verdict.h"
#include "agent/status/Look.h"
#include "util/Clock.h"

void CheckVerb::declare(Flags& flags) {
    flags.exitCodes(kVerdictExitCodes);
    flags.option("--source", source, "read this source once, now, instead of asking the daemon");
    flags.option("--stale-after", staleAfter,
                 "a look older than this is UNKNOWN, for example 5m (default: configured)");
    flags.flag("--json", json, "one JSON document");
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
        tell(context, found.level, found.sentence,
             checkLine(found, seen.state, seen.incidents, now, settings.staleAfter));
        return found.level;
    } catch (const Failure& e) {
        return misused(context, e.what());
    }
}

int CheckVerb::misused(const Context& context, const std::string& why) const {
    std::string reason = safeText(why);
    for (char& c : reason) {
        if (c == '|') c = ' ';
    }
    tell(context, Verdict::kUnknown, reason, "RAID UNKNOWN - " + reason);
    return Verdict::kUnknown;
}

void CheckVerb::tell(const Context& context, Verdict::Level level, const std::string& sentence,
                     const std::string& line) const {
    if (!json) {
        context.out.line(line);
        return;
    }
    const nlohmann::ordered_json document = {{"verdict", levelWord(level)},
                                             {"exitCode", static_cast<int>(level)},
                                             {"sentence", sentence},
                                             {"line", line}};
    context.out.line(jsonLine(document));
}
