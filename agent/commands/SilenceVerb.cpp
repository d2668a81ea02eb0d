#include "agent/commands/SilenceVerb.h"

#include <nlohmann/json.hpp>

#include "agent/Duration.h"
#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/TimeWords.h"
#include "agent/incidents/IncidentJson.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kLongest = 366 * 86400;
constexpr std::size_t kMargin = 4;

std::string whatOf(const Silence& silence) {
    if (silence.object.empty()) return "everything";
    return safeText(silence.objectName.empty() ? silence.object : silence.objectName);
}

// "  3  md0 until 2026-11-21 07:30:00 (1 h 12 min), by ann" and the reason below it.
std::string lines(const Silence& silence, std::int64_t now, std::size_t columns) {
    const std::string margin(kMargin, ' ');
    std::string text = std::to_string(silence.id) + "  " + whatOf(silence) + " until " +
                       localTimeText(silence.until) + " (" + durationText(silence.until - now) +
                       ")";
    if (!silence.by.empty()) text += ", by " + safeText(silence.by);
    text += "\n";
    const std::size_t room = columns > kMargin + 20 ? columns - kMargin : 0;
    for (const std::string& line : wrapText(safeText(silence.reason), room)) {
        text += margin + line + "\n";
    }
    return text;
}

}  // namespace

void SilenceVerb::declare(Flags& flags) {
    Flags add = flags.verb("add", "be silent about an object for some time", chosen);
    add.option("--object", object, "md0, /dev/sdb, a serial number, c1:e2:s4, ...");
    add.flag("--all", everything, "about everything on this machine");
    add.option("--for", length, "how long: 90m, 2h, 7d").required();
    add.option("--reason", reason, "why, for those who wonder").required();
    add.flag("--json", json, "the silence as one JSON object");
    flags.verb("list", "the silences that hold now", chosen)
        .flag("--json", json, "one JSON object per silence");
    Flags rm = flags.verb("rm", "end a silence", chosen);
    rm.option("ID", id, "its number, see raidwatch silence list").required();
    rm.flag("--json", json, "its number as one JSON object");
}

int SilenceVerb::work(const Context& context, Ask& agent) {
    if (chosen == "add") return add(context, agent);
    return chosen == "rm" ? remove(context, agent) : list(context, agent);
}

int SilenceVerb::add(const Context& context, Ask& agent) const {
    if (object.empty() != everything) {
        throw Failure(Failure::kBadUse,
                      "give --object NAME for one object, or --all for everything");
    }
    if (reason.find_first_not_of(" \t\n") == std::string::npos) {
        throw Failure(Failure::kBadUse, "--reason: say why, for those who wonder");
    }
    Silence silence;
    silence.from = now();
    silence.until = silence.from + spanOf("--for", length);
    if (silence.until - silence.from > kLongest) {
        throw Failure(Failure::kBadUse, "--for: a silence lasts a year at most");
    }
    silence.reason = reason;
    silence.by = person();
    if (!everything) {
        const ObjectKey meant = objectMeant(agent, object);
        silence.object = meant.key;
        silence.objectName = meant.name;
    }
    Json request = silenceJson(silence);
    request["do"] = "silence-add";
    request.erase("id");
    const Json answer = agent.change(request);
    if (json) {
        silence.id = numberOf(answer, "id");
        context.out.line(jsonLine(silenceJson(silence)));
        return Failure::kDone;
    }
    context.out.line("silence " + std::to_string(numberOf(answer, "id")) +
                     ": nobody is told about " + whatOf(silence));
    context.out.line("until " + localTimeText(silence.until) + " (" +
                     durationText(silence.until - silence.from) + "); incidents are kept");
    return Failure::kDone;
}

int SilenceVerb::list(const Context& context, Ask& agent) const {
    const std::int64_t present = now();
    bool any = false;
    for (const Json& row : agent.ask({{"do", "silences"}})) {
        const Silence silence = silenceFromJson(row);
        if (silence.until <= present) continue;
        any = true;
        if (json) {
            context.out.line(jsonLine(row));
        } else {
            context.out.write(lines(silence, present, context.style.pageWidth()));
        }
    }
    if (!any && !json) context.out.line("There are no silences.");
    return Failure::kDone;
}

int SilenceVerb::remove(const Context& context, Ask& agent) const {
    const std::int64_t number = numberGiven("ID", id);
    const Json answer = agent.change({{"do", "silence-rm"}, {"id", number}});
    context.out.line(json ? jsonLine(answer) : "silence " + std::to_string(number) + " has ended");
    return Failure::kDone;
}
