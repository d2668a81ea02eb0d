#include "agent/commands/FleetVerb.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/StopSignal.h"
#include "agent/TimeWords.h"
#include "agent/commands/CommandSettings.h"
#include "agent/commands/CommonFlags.h"
#include "agent/commands/RecordPrinter.h"
#include "agent/fleet/FleetModule.h"
#include "agent/fleet/FleetText.h"
#include "agent/settings/SecretFile.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr char kAlive[] = ".alive";
constexpr char kRival[] = ".rival";
constexpr const char* kSeverities[] = {"error", "warning", "info"};

[[noreturn]] void fail(const std::string& text) { throw Failure(Failure::kFailed, text); }

bool endsIn(const std::string& text, const std::string& end) {
    return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isSeverity(const std::string& word) {
    return std::any_of(std::begin(kSeverities), std::end(kSeverities),
                       [&](const char* each) { return word == each; });
}

Json countsJson(const FleetView::Counts& counts) {
    return {{"machines", counts.machines},  {"ok", counts.ok},
            {"warning", counts.warning},    {"critical", counts.critical},
            {"unknown", counts.unknown},    {"silent", counts.silent},
            {"conflicts", counts.conflicts}};
}

Json machineJson(const FleetView::Machine& machine) {
    return {{"machine", machine.id},
            {"host", machine.host},
            {"verdict", levelWord(machine.level)},
            {"sentence", machine.sentence},
            {"silent", machine.silent},
            {"heardAt", timeOrNull(machine.heardAt)},
            {"polledAt", timeOrNull(machine.polledAt)},
            {"survives", machine.survives < 0 ? Json(nullptr) : Json(machine.survives)},
            {"exposedSince", timeOrNull(machine.exposedSince)},
            {"conflict", machine.conflict.empty() ? Json(nullptr) : Json(machine.conflict)}};
}

Json exposureJson(const FleetView::Exposure& row, std::int64_t now) {
    const FleetSummary::Array& array = row.array;
    return {{"machine", row.machine},
            {"host", row.host},
            {"array", array.name},
            {"level", array.level},
            {"state", array.state},
            {"devices", array.devices},
            {"working", array.working},
            {"survives", array.survives < 0 ? Json(nullptr) : Json(array.survives)},
            {"fullSurvives", array.fullSurvives < 0 ? Json(nullptr) : Json(array.fullSurvives)},
            {"exposedSince", timeOrNull(array.exposedSince)},
            {"exposedSeconds", now - array.exposedSince}};
}

Json failuresJson(const FleetView::Failures& row) {
    return {{"vendor", row.vendor},
            {"model", row.model},
            {"firmware", row.firmware},
            {"failed", row.failed},
            {"machines", row.machines},
            {"inUse", row.inUse},
            {"firstAt", timeOrNull(row.firstAt)},
            {"lastAt", timeOrNull(row.lastAt)}};
}

// Leaves `secret` as it is when no file is named.
void readSecret(const char* flag, const std::string& file, std::string& secret) {
    if (file.empty()) return;
    const std::string wrong = readSecretFile(file, secret);
    if (wrong.empty()) return;
    throw Failure(Failure::kBadUse, std::string(flag) + " " + safeText(file) + " " + wrong);
}

template <typename Rows, typename Write>
Json listOf(const Rows& rows, const Write& write) {
    Json list = Json::array();
    for (const auto& row : rows) list.push_back(write(row));
    return list;
}

// Who it was stands before what happened.
void putHostInFront(Json& record, const std::string& host) {
    Json& data = record["data"];
    const std::pair<const char*, const char*> kinds[] = {{"event", "text"}, {"notice", "subject"}};
    for (const auto& [kind, text] : kinds) {
        if (!data.contains(kind) || !data[kind].is_object()) continue;
        data[kind][text] = host + ": " + textOf(data[kind], text);
        return;
    }
}

std::string documentText(const Json& document) {
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

void FleetVerb::declareServer(Flags& flags) {
    flags.option("--server", servers, "nats://HOST:4222 or tls://HOST:4222, instead of a sink's");
    flags.option("--sink", sink,
                 "the sink of type nats whose server is asked (default: the first)");
    flags.option("--creds", credentials, "a file with the credentials of an account");
    flags.option("--nkey", nkey, "the public key to log in with");
    flags.option("--nkey-seed", nkeySeed, "a file that holds the seed of --nkey");
    flags.option("--user", user, "the name to log in with");
    flags.option("--password-file", passwordFile, "a file that holds the password");
    flags.option("--token-file", tokenFile, "a file that holds the token to log in with");
    flags.option("--ca", caFile, "certificates to trust instead of the system's");
    flags.option("--cert", certFile, "our certificate");
    flags.option("--key", keyFile, "the key of our certificate");
    flags.option("--stream", stream, "the stream (default: RAIDWATCH)");
    flags.option("--subject", subject, "what its subjects begin with (default: raidwatch.v1)");
}

void FleetVerb::declare(Flags& flags) {
    Flags status = flags.verb("status", "the worst machines first (exit code 0 to 3)", chosen);
    status.exitCodes(kVerdictExitCodes);
    status.option("--limit", limit, "rows at the most").between(1, 1000000);
    status.option("--silent-after", silentAfter, "not heard for so long is silent").showDefault();
    status.option("--within", within, "drives of one model that failed within").showDefault();
    status.option("--failures", failuresFrom, "so many of them are worth a line").between(2, 1000);
    Flags events = flags.verb("events", "what happened, from the stream", chosen);
    events.option("--since", since, "from then on: 2h, yesterday").showDefault();
    events.option("--severity", severity, "error, warning or info, and what is worse");
    events.option("--machine", machine, "of one machine: its host name or id");
    events.flag("--notices", notices, "what people were told, instead of events");
    events.flag("-f,--follow", follow, "go on with those that come, until interrupted");
    Flags silent = flags.verb("silent", "machines that were not heard", chosen);
    silent.option("--silent-after", silentAfter, "for so long").showDefault();
    Flags top = flags.verb("top", "the arrays that are exposed most", chosen);
    top.option("--limit", limit, "rows at the most").between(1, 1000000);
    top.option("--within", within, "drives of one model that failed within").showDefault();
    top.option("--failures", failuresFrom, "so many of them are worth a line").between(2, 1000);
    for (Flags* verb : {&status, &events, &silent, &top}) {
        declareServer(*verb);
        verb->flag("--json", json, "one JSON document; of events one object per line");
    }
    statusFlags = std::make_unique<Flags>(status);
}

int FleetVerb::misused(const Context&, const std::string& why) const {
    const bool isStatus = statusFlags != nullptr && statusFlags->given();
    throw Failure(isStatus ? static_cast<int>(Verdict::kUnknown) : Failure::kBadUse, why);
}

int FleetVerb::run(const Context& context) {
    try {
        const FleetAccess access = fleetAccess(settingsGiven(context));
        const std::unique_ptr<FleetLink> link = openFleetLink(access.link);
        const std::string wrong = link->connect();
        if (!wrong.empty()) fail(access.link.urls.front() + ": " + safeText(wrong));
        if (chosen == "status") return status(context, *link, access.names);
        if (chosen == "events") return events(context, *link, access.names);
        return chosen == "silent" ? silent(context, *link, access.names)
                                  : top(context, *link, access.names);
    } catch (const Failure& e) {
        // Its exit code tells how the machines are; whatever keeps us from saying so is UNKNOWN.
        if (chosen != "status") throw;
        throw Failure(Verdict::kUnknown, e.what());
    }
}

SinkSettings FleetVerb::configuredSink(const Context& context) const {
    const AgentSettings settings = readSettings(context);
    for (const auto& [place, each] : settings.sinks) {
        if (each.type == "nats" && (sink.empty() || each.name == sink)) return each;
    }
    throw Failure(Failure::kBadUse, sink.empty()
                                        ? "no sink of type nats is configured; name a server with "
                                          "--server nats://HOST:4222"
                                        : "there is no sink " + safeText(sink) + " of type nats");
}

// Of the command line, or else of a configured sink.
SinkSettings FleetVerb::settingsGiven(const Context& context) const {
    SinkSettings given;
    given.name = "fleet";
    given.type = "nats";
    if (servers.empty()) given = configuredSink(context);
    if (!servers.empty()) given.lists["urls"] = servers;
    const std::pair<const char*, const std::string*> texts[] = {{"credentials_file", &credentials},
                                                                {"nkey", &nkey},
                                                                {"nkey_seed_file", &nkeySeed},
                                                                {"user", &user},
                                                                {"ca_file", &caFile},
                                                                {"cert_file", &certFile},
                                                                {"key_file", &keyFile},
                                                                {"stream", &stream},
                                                                {"subject", &subject}};
    for (const auto& [key, value] : texts) {
        if (!value->empty()) given.texts[key] = *value;
    }
    readSecret("--password-file", passwordFile, given.texts["password"]);
    readSecret("--token-file", tokenFile, given.texts["token"]);
    return given;
}

// --- reading ---

void FleetVerb::readMachines(FleetLink& link, const FleetNames& names, FleetView& view) const {
    std::string wrong = link.readBucket(names.stateBucket(),
                                        [&](const std::string& key, const FleetLink::Entry& entry) {
                                            if (FleetNames::isMachineId(key))
                                                view.addSummary(key, FleetSummary::of(entry.value));
                                        });
    if (wrong.empty()) {
        wrong = link.readBucket(
            names.aliveBucket(), [&](const std::string& key, const FleetLink::Entry& entry) {
                FleetBeat beat = FleetBeat::of(entry.value);
                beat.at = entry.at;
                // The key is what the account was allowed to write; what the value says may be
                // anything.
                beat.machine = key.substr(0, std::min(key.find('.'), key.size()));
                if (!FleetNames::isMachineId(beat.machine)) return;
                if (endsIn(key, kAlive)) view.addBeat(beat);
                if (endsIn(key, kRival)) view.addRival(beat);
            });
    }
    if (!wrong.empty()) fail("cannot read how the machines stand: " + safeText(wrong));
}

void FleetVerb::readFailures(FleetLink& link, const FleetNames& names, FleetView& view,
                             std::int64_t from) const {
    const std::string wrong = link.readStream(names.stream(), names.filter("*", "event", "error"),
                                              from, false, [&](const auto* message) {
                                                  if (message != nullptr) {
                                                      (void)view.addMessage(*message);
                                                  }
                                                  return true;
                                              });
    if (!wrong.empty()) fail("cannot read the events: " + safeText(wrong));
}

// --- the verbs ---

int FleetVerb::status(const Context& context, FleetLink& link, const FleetNames& names) const {
    const std::int64_t now = Clock::current().now();
    const std::int64_t after = spanOf("--silent-after", silentAfter);
    const std::int64_t from = now - spanOf("--within", within);
    FleetView view;
    readMachines(link, names, view);
    readFailures(link, names, view, from);
    const std::vector<FleetView::Machine> machines = view.machines(now, after);
    const std::vector<FleetView::Failures> failures = view.failures(from, failuresFrom);
    const FleetView::Counts counts = FleetView::count(machines);
    if (json) {
        Json document = {{"verdict", levelWord(FleetView::worst(counts))},
                         {"counts", countsJson(counts)}};
        document["machines"] = listOf(machines, machineJson);
        document["failures"] = listOf(failures, failuresJson);
        context.out.line(documentText(document));
    } else {
        context.out.write(FleetText(context.style)
                              .status(machines, failures, static_cast<std::size_t>(limit), now));
    }
    return FleetView::worst(counts);
}

int FleetVerb::silent(const Context& context, FleetLink& link, const FleetNames& names) const {
    const std::int64_t now = Clock::current().now();
    const std::int64_t after = spanOf("--silent-after", silentAfter);
    FleetView view;
    readMachines(link, names, view);
    std::vector<FleetView::Machine> machines = view.machines(now, after);
    machines.erase(std::remove_if(machines.begin(), machines.end(),
                                  [](const auto& each) { return !each.silent; }),
                   machines.end());
    std::stable_sort(machines.begin(), machines.end(),
                     [](const auto& a, const auto& b) { return a.heardAt < b.heardAt; });
    if (json) {
        context.out.line(documentText({{"machines", listOf(machines, machineJson)}}));
    } else {
        context.out.write(FleetText(context.style).silent(machines, now));
    }
    return Failure::kDone;
}

int FleetVerb::top(const Context& context, FleetLink& link, const FleetNames& names) const {
    const std::int64_t now = Clock::current().now();
    const std::int64_t from = now - spanOf("--within", within);
    FleetView view;
    readMachines(link, names, view);
    readFailures(link, names, view, from);
    const std::vector<FleetView::Exposure> exposures = view.exposures();
    const std::vector<FleetView::Failures> failures = view.failures(from, failuresFrom);
    if (json) {
        Json document;
        document["exposures"] =
            listOf(exposures, [&](const auto& row) { return exposureJson(row, now); });
        document["failures"] = listOf(failures, failuresJson);
        context.out.line(documentText(document));
        return Failure::kDone;
    }
    const FleetText text(context.style);
    context.out.write(text.top(exposures, static_cast<std::size_t>(limit), now));
    if (!failures.empty()) context.out.write("\n" + text.failures(failures, now));
    return Failure::kDone;
}

std::string FleetVerb::machineMeant(FleetLink& link, const FleetNames& names) const {
    if (machine.empty()) return "*";
    if (FleetNames::isMachineId(machine)) return machine;
    FleetView view;
    readMachines(link, names, view);
    std::vector<std::string> found;
    for (const FleetView::Machine& each : view.machines(0, 0)) {
        if (each.host == machine) found.push_back(each.id);
    }
    if (found.size() == 1) return found.front();
    throw Failure(Failure::kBadUse,
                  "--machine " + safeText(machine) +
                      (found.empty() ? " is no machine that sends here; give its host name or id"
                                     : " is the name of several machines; give the id of one"));
}

// What was said of a message, by the last word of its subject.
bool FleetVerb::isWanted(const std::string& messageSubject) const {
    if (severity.empty() || severity == "info") return true;
    const std::string said = messageSubject.substr(messageSubject.rfind('.') + 1);
    return said == "error" || (severity == "warning" && said == "warning");
}

void FleetVerb::print(const FleetLink::StreamMessage& message, const FleetNames& names,
                      FleetView& view, RecordPrinter& printer, const Context& context) const {
    const FleetView::Arrival arrival = view.addMessage(message);
    if (arrival == FleetView::Arrival::kRepeat || arrival == FleetView::Arrival::kNothing) return;
    Json record = Json::parse(message.body, nullptr, false);
    if (!json) putHostInFront(record, view.hostOf(names.machineOf(message.subject)));
    printer.print(record);
    if (arrival == FleetView::Arrival::kConflict) {
        context.note("two machines have sent different events as " +
                     safeText(textOf(record, "id")));
    }
}

int FleetVerb::events(const Context& context, FleetLink& link, const FleetNames& names) const {
    if (!severity.empty() && !isSeverity(severity)) {
        throw Failure(Failure::kBadUse, "--severity: give error, warning or info");
    }
    const std::int64_t from = momentOf("--since", since, Clock::current().now());
    const std::string filter = names.filter(machineMeant(link, names), notices ? "notice" : "event",
                                            severity == "error" ? "error" : "*");
    FleetView view;
    if (!json) readMachines(link, names, view);  // for their names
    RecordPrinter printer(context,
                          json ? RecordPrinter::Form::kJson : RecordPrinter::Form::kTextAll);
    const auto take = [&](const FleetLink::StreamMessage* message) {
        context.out.check();
        if (context.stop.requested()) return false;
        if (message != nullptr && isWanted(message->subject)) {
            print(*message, names, view, printer, context);
        }
        return true;
    };
    const std::string wrong = link.readStream(names.stream(), filter, from, follow, take);
    if (!wrong.empty() && !context.stop.requested()) {
        fail("cannot read the events: " + safeText(wrong));
    }
    if (printer.shown() == 0 && !json) context.note("no such event is in the stream");
    return Failure::kDone;
}
