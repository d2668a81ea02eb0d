#include "agent/commands/StatusVerb.h"

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/commands/CommandSettings.h"
#include "agent/commands/CommonFlags.h"
#include "agent/state/Verdict.h"
#include "agent/status/Look.h"
#include "agent/status/StatusJson.h"
#include "util/Clock.h"

void StatusVerb::declare(Flags& flags) {
    flags.exitCodes(kVerdictExitCodes);
    flags.option("--source", source, "read this source once, now, instead of asking the daemon");
    flags.flag("--json", json, "one JSON document");
}

// Its exit code tells how the storage is; whatever keeps us from saying so is UNKNOWN.
int StatusVerb::run(const Context& context) {
    try {
        return show(context);
    } catch (const Failure& e) {
        throw Failure(Verdict::kUnknown, e.what());
    }
}

int StatusVerb::misused(const Context&, const std::string& why) const {
    throw Failure(Verdict::kUnknown, why);
}

int StatusVerb::show(const Context& context) const {
    const AgentSettings settings = readSettings(context);
    const Look look(settings);
    const Seen seen = source.empty() ? look.ofDaemon() : look.ofSource(source);
    const std::int64_t now = Clock::current().now();
    const Verdict found = verdict(seen.state, seen.incidents, now, settings.staleAfter);
    if (json) {
        const nlohmann::ordered_json document =
            statusJson(found, seen.watched, seen.incidents, seen.state);
        context.out.line(document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    } else {
        context.out.write(statusText(
            seen, std::string(levelWord(found.level)) + ": " + found.sentence, now, context.style));
    }
    return found.level;
}
