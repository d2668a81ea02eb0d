#include "agent/commands/DiffVerb.h"

#include <vector>

#include <nlohmann/json.hpp>

#include "agent/Duration.h"
#include "agent/EventJson.h"
#include "agent/EventNames.h"
#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/TimeWords.h"
#include "agent/commands/RecordPrinter.h"
#include "agent/commands/WatchGaps.h"
#include "agent/spool/RecordJson.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kPage = 1000;

std::vector<WatchSpan> spansFrom(Ask& agent) {
    std::vector<WatchSpan> spans;
    for (const Json& row : agent.ask({{"do", "spans"}})) {
        WatchSpan span;
        span.began = timeOf(row, "began");
        span.lastPoll = timeOf(row, "lastPoll");
        span.ended = timeOf(row, "ended");
        span.bootId = textOf(row, "bootId");
        spans.push_back(span);
    }
    return spans;
}

std::string gapText(const WatchGap& gap) {
    std::string text =
        localTimeText(gap.from) + " to " + (gap.open ? std::string("now") : localTimeText(gap.to));
    return text + (gap.rebooted ? ", and the machine was restarted in it" : "");
}

// How long nobody watched, in one sentence.
std::string sentence(const std::vector<WatchGap>& gaps, std::int64_t since) {
    if (gaps.empty()) return "Watched without a gap since " + localTimeText(since) + ".";
    std::int64_t total = 0;
    for (const WatchGap& gap : gaps) total += gap.to - gap.from;
    std::string text = "Nobody watched for " + durationText(total);
    if (gaps.size() == 1) return text + ": " + gapText(gaps.front()) + ".";
    return text + " since " + localTimeText(since) + ", in " + std::to_string(gaps.size()) +
           " gaps; the last one: " + gapText(gaps.back()) + ".";
}

Json gapsJson(const std::vector<WatchGap>& gaps) {
    Json list = Json::array();
    for (const WatchGap& gap : gaps) {
        list.push_back({{"from", timeOrNull(gap.from)},
                        {"to", timeOrNull(gap.open ? 0 : gap.to)},
                        {"seconds", gap.to - gap.from},
                        {"rebooted", gap.rebooted}});
    }
    return list;
}

// Real events only: a test or a drill changed nothing.
std::vector<Json> eventsSince(Ask& agent, std::int64_t since) {
    std::vector<Json> events;
    Json request{{"do", "events"}, {"since", since * 1000}, {"notices", false}, {"limit", kPage}};
    for (;;) {
        const Json list = agent.ask(request);
        for (const Json& object : list) {
            const Record record = recordFromObject(object);
            request["after"] = record.sequence;
            if (record.origin == Origin::kLive || record.origin == Origin::kAtStart) {
                events.push_back(object);
            }
        }
        if (list.size() < static_cast<std::size_t>(kPage)) return events;
    }
}

// The generic companions say nothing that the event before them does not.
std::vector<Json> ofOrigin(const std::vector<Json>& events, Origin origin, bool all) {
    std::vector<Json> found;
    for (const Json& object : events) {
        const Record record = recordFromObject(object);
        if (record.origin != origin) continue;
        if (all || !isCompanion(record.event.eventCode)) found.push_back(object);
    }
    return found;
}

void say(const Context& context, const std::string& text) {
    for (const std::string& line : wrapText(text, context.style.pageWidth())) {
        context.out.line(line);
    }
}

void printEvents(const Context& context, const std::vector<Json>& events, bool firstRun, bool all) {
    RecordPrinter printer(context,
                          all ? RecordPrinter::Form::kTextAll : RecordPrinter::Form::kText);
    const auto print = [&](const std::vector<Json>& list, const char* heading) {
        context.out.line("");
        say(context, heading);
        for (const Json& record : list) printer.print(record);
    };
    const std::vector<Json> missed = ofOrigin(events, Origin::kAtStart, all);
    const std::vector<Json> watched = ofOrigin(events, Origin::kLive, all);
    if (missed.empty()) {
        say(context, "Nothing had changed meanwhile.");
    } else {
        print(missed, firstRun ? "Found at the first look:" : "Changed while nobody watched:");
    }
    if (!watched.empty()) print(watched, "And since then, while watched:");
    printer.tellMuted();
}

}  // namespace

void DiffVerb::declare(Flags& flags) {
    flags
        .option("--since", since,
                "last-run (the end of the last run), boot, 2h, yesterday, \"2026-11-21 05:30\"")
        .showDefault();
    flags.flag("--all", all, "companions and events of code 406 too");
    flags.flag("--json", json, "as one JSON object");
}

int DiffVerb::work(const Context& context, Ask& agent) {
    const std::int64_t present = now();
    const std::vector<WatchSpan> spans = spansFrom(agent);
    if (spans.empty()) {
        throw Failure(Failure::kFailed,
                      "nobody has ever watched this machine; systemctl start raidwatch begins");
    }
    const bool lastRun = since == "last-run";
    std::int64_t begin = lastRun ? lastRunEnd(spans, present) : momentOf("--since", since, present);
    const bool firstRun = lastRun && begin == 0;
    if (firstRun) begin = spans.front().began;
    const std::vector<WatchGap> gaps = watchGaps(spans, begin, present);
    const std::vector<Json> events = eventsSince(agent, begin);
    if (json) {
        Json answer{{"since", timeOrNull(begin)}, {"gaps", gapsJson(gaps)}};
        answer["events"] = events;
        context.out.line(jsonLine(answer));
        return Failure::kDone;
    }
    if (firstRun) say(context, "This is the first run; there is nothing to compare with.");
    say(context, sentence(gaps, begin));
    printEvents(context, events, firstRun, all);
    return Failure::kDone;
}
