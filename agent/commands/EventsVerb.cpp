#include "agent/commands/EventsVerb.h"

#include <algorithm>
#include <chrono>

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/StopSignal.h"
#include "agent/TimeWords.h"
#include "agent/spool/RecordJson.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kUsual = 100;  // how many are shown when nothing limits them
constexpr int kUsualToFollow = 10;
constexpr int kPage = 1000;
constexpr std::chrono::seconds kPause{1};

struct SeverityName {
    const char* word;
    int severity;
};

constexpr SeverityName kSeverities[] = {
    {"error", kEventError},
    {"warning", kEventWarning},
    {"info", kEventInformation},
};

// A severity and all that are worse.
std::vector<int> severitiesFrom(const std::string& word) {
    for (const SeverityName& row : kSeverities) {
        if (word != row.word) continue;
        std::vector<int> list;
        for (int severity = kEventError; severity <= row.severity; ++severity) {
            list.push_back(severity);
        }
        return list;
    }
    throw Failure(Failure::kBadUse,
                  "--severity: give error, warning or info; worse ones are shown with it");
}

}  // namespace

void EventsVerb::declare(Flags& flags) {
    flags.option("--since", since, "from then on: 2h, yesterday, boot, \"2026-11-21 05:30\"");
    flags.option("--until", until, "before then");
    flags.option("--severity", severity, "error, warning or info, and what is worse");
    flags.option("--object", object, "about md0, /dev/sdb, a serial number, c1:e2:s4, ...");
    flags.option("--code", codes, "of these codes: 401,404");
    flags.flag("--undelivered", undelivered, "what a sink has yet to take, or gave up");
    flags.flag("-f,--follow", follow, "go on with those that come, until interrupted");
    flags.option("--limit", limit, "the last so many (default: 100, with --since all)");
    flags.flag("--all", all, "no limit; notices and events of code 406 too");
    flags.flag("--json", json, "one JSON object per line, notices included");
}

Json EventsVerb::request(Ask& agent) const {
    Json wanted{{"do", "events"}, {"notices", json || all || undelivered}};
    std::int64_t begin = 0;
    if (!since.empty()) {
        begin = momentOf("--since", since, now());
        wanted["since"] = std::max<std::int64_t>(begin, 0) * 1000;
    }
    if (!until.empty()) {
        const std::int64_t end = momentOf("--until", until, now());
        if (end <= begin) throw Failure(Failure::kBadUse, "--until must be later than --since");
        wanted["until"] = end * 1000;
    }
    if (!until.empty() && follow) {
        throw Failure(Failure::kBadUse, "--follow does not end; leave out --until");
    }
    if (!severity.empty()) wanted["severities"] = severitiesFrom(severity);
    if (!codes.empty()) wanted["codes"] = codes;
    if (undelivered) wanted["undelivered"] = true;
    if (!object.empty()) wanted["object"] = objectMeant(agent, object).key;
    return wanted;
}

int EventsVerb::work(const Context& context, Ask& agent) {
    Json wanted = request(agent);
    const bool everything = limit.empty() && (all || !since.empty());
    std::int64_t most =
        limit.empty() ? (follow ? kUsualToFollow : kUsual) : numberGiven("--limit", limit);
    if (!limit.empty() && most == 0) {
        throw Failure(Failure::kBadUse, "--limit: give a number from 1, or --all");
    }
    using Form = RecordPrinter::Form;
    RecordPrinter printer(context, json ? Form::kJson : all ? Form::kTextAll : Form::kText);
    Json page = wanted;
    page["limit"] = everything ? kPage : most;
    page["newest"] = !everything;
    wanted["after"] = printAll(page, agent, printer);
    if (follow) followOn(context, agent, printer, wanted);
    printer.tellMuted();
    if (printer.shown() == 0 && !json) context.note("no such event is recorded");
    if (!everything && limit.empty() && printer.shown() >= most) {
        context.note("these are the last " + std::to_string(most) +
                     "; --limit N or --all shows more");
    }
    return Failure::kDone;
}

std::int64_t EventsVerb::printAll(Json wanted, Ask& agent, RecordPrinter& printer) const {
    // Asked for first: what comes meanwhile is not missed, but shown by who follows.
    std::int64_t last = 0;
    if (follow) last = agent.ask({{"do", "position"}}).value("last", std::int64_t{0});
    const bool paged = !wanted.value("newest", false);
    for (;;) {
        const Json list = agent.ask(wanted);
        std::int64_t sequence = 0;
        for (const Json& record : list) {
            printer.print(record);
            sequence = recordFromObject(record).sequence;
        }
        last = std::max(last, sequence);
        if (!paged || list.size() < static_cast<std::size_t>(kPage)) return last;
        wanted["after"] = sequence;
    }
}

// A daemon that is restarted is waited for.
void EventsVerb::followOn(const Context& context, Ask& agent, RecordPrinter& printer,
                          Json wanted) const {
    std::string trouble;
    while (!context.stop.waitFor(kPause)) {
        context.out.check();
        try {
            for (const Json& record : agent.ask(wanted)) {
                printer.print(record);
                wanted["after"] = recordFromObject(record).sequence;
            }
            trouble.clear();
        } catch (const Failure& e) {
            if (trouble != e.what()) context.note(std::string(e.what()) + " (waiting)");
            trouble = e.what();
        }
    }
}
