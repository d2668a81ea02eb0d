#include "agent/sinks/NatsSink.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/Milliseconds.h"
#include "agent/SafeFile.h"
#include "agent/SafeText.h"
#include "agent/fleet/FleetModule.h"
#include "agent/fleet/FleetSummary.h"
#include "agent/sinks/HostName.h"
#include "agent/spool/RecordJson.h"
#include "agent/state/StateJson.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;
using Kind = FleetLink::Answer::Kind;

constexpr std::int64_t kAliveSeconds = 7 * 86400;  // how long a beat stays in its bucket
constexpr std::int64_t kWatchEvery = 5;            // seconds, while the place is taken

std::string machineOf(const std::string& id) { return id.substr(0, id.rfind(':')); }

FleetLink::Settings linkSettings(FleetLink::Settings settings, const std::string& machine) {
    if (!machine.empty()) {
        settings.client = "raidwatch " + machine;
        settings.inbox = FleetNames::inbox(machine);
    }
    return settings;
}

bool readInto(const std::string& file, MachineState& state) {
    std::string text;
    if (file.empty() || !readSafely(file, text)) return false;
    try {
        state = stateFromJson(Json::parse(text));
        return true;
    } catch (const std::exception&) {
        return false;  // others tell people that the file is damaged
    }
}

}  // namespace

std::unique_ptr<Sink> makeNatsSink(const SinkSettings& settings, const SinkPlaces& places) {
    const FleetAccess access = fleetAccess(settings);
    const std::string machine = FleetIdentity(places.stateFolder).machine();
    return std::make_unique<NatsSink>(settings, places,
                                      openFleetLink(linkSettings(access.link, machine)));
}

NatsSink::NatsSink(const SinkSettings& settings, SinkPlaces placesIN,
                   std::unique_ptr<FleetLink> linkIN)
    : access(fleetAccess(settings)),
      places(std::move(placesIN)),
      choice(recordChoice(access.send)),
      link(std::move(linkIN)),
      identity(places.stateFolder),
      presence(*link, access.names, identity, access.heartbeat) {}

bool NatsSink::wants(const Record& record) const { return isChosen(choice, record); }

Answer NatsSink::deliver(const Record& record, const std::string& id) {
    return deliverAll({{&record, id}}).front();
}

std::vector<Answer> NatsSink::deliverAll(const std::vector<Parcel>& parcels) {
    if (!places.stateFolder.empty() && !presence.isOurs()) beat();
    if (presence.isTaken()) {
        return std::vector<Answer>(parcels.size(), {Answer::Kind::kRetry, presence.conflict()});
    }
    readState();
    std::vector<FleetLink::Message> messages;
    for (const Parcel& parcel : parcels) {
        messages.push_back(messageOf(parcel));
        lastSequence = std::max(lastSequence, parcel.record->sequence);
    }
    return publish(messages, parcels);
}

std::vector<Answer> NatsSink::publish(const std::vector<FleetLink::Message>& messages,
                                      const std::vector<Parcel>& parcels) {
    std::vector<FleetLink::Answer> said = link->publish(messages);
    // A server that was set up anew, or never was: once, then as before.
    if (!said.empty() && said.front().kind == Kind::kNoStream) {
        std::string error;
        if (!makeAll(error)) {
            return std::vector<Answer>(parcels.size(), {Answer::Kind::kRetry, hint(error)});
        }
        for (std::size_t i = 0; i < said.size(); ++i) {
            // Sent twice now: that it is there already says nothing about a copy of us.
            if (said[i].kind != Kind::kNoStream) tried.insert(parcels[i].record->sequence);
        }
        said = link->publish(messages);
    }
    std::vector<Answer> answers;
    for (std::size_t i = 0; i < parcels.size(); ++i) {
        answers.push_back(answerTo(said[i], messages[i], parcels[i].record->sequence));
    }
    return answers;
}

Answer NatsSink::answerTo(const FleetLink::Answer& said, const FleetLink::Message& message,
                          std::int64_t sequence) {
    const std::string place = access.names.stream() + " " + std::to_string(said.position);
    switch (said.kind) {
        case Kind::kStored:
            tried.erase(sequence);
            return {Answer::Kind::kDelivered, withRemarks("stored as " + place)};
        case Kind::kDuplicate: {
            const bool ours = sequence <= identity.firstUnsent() || tried.count(sequence) != 0;
            if (!ours) return keepApart(message);
            tried.erase(sequence);
            return {Answer::Kind::kDelivered, withRemarks("was stored already, as " + place)};
        }
        case Kind::kNever:
            return {Answer::Kind::kRefused, said.text};
        case Kind::kNoStream:
            return {Answer::Kind::kRetry, hint(said.text)};
        case Kind::kUnclear:
            tried.insert(sequence);
            break;
        case Kind::kLater:
            break;
    }
    return {Answer::Kind::kRetry, said.text};
}

Answer NatsSink::keepApart(FleetLink::Message message) {
    const std::string whose =
        "; another machine has used the id " + message.id + ", see raidwatch doctor";
    nextBeat = 0;  // who holds the place now?
    message.id += ":" + identity.instance();
    const FleetLink::Answer said = link->publish({message}).front();
    if (said.kind != Kind::kStored && said.kind != Kind::kDuplicate) {
        return {Answer::Kind::kRetry, said.text};
    }
    return {Answer::Kind::kDelivered,
            "stored as " + access.names.stream() + " " + std::to_string(said.position) + whose};
}

std::string NatsSink::withRemarks(std::string text) const {
    for (const std::string& remark : {presence.conflict(), beatTrouble}) {
        if (!remark.empty()) text += "; " + remark;
    }
    return text;
}

FleetLink::Message NatsSink::messageOf(const Parcel& parcel) {
    const Record& record = *parcel.record;
    Json json = recordObject(record, parcel.id);
    json["data"]["host"] = ownHost();
    const auto drive = drives.find(record.object);
    if (drive != drives.end()) {
        json["data"]["drive"] = {{"vendor", drive->second.vendor},
                                 {"model", drive->second.model},
                                 {"firmware", drive->second.firmware},
                                 {"serial", drive->second.serial},
                                 {"wwn", drive->second.wwn}};
    }
    FleetLink::Message message;
    message.subject = access.names.subject(machineOf(parcel.id), record);
    message.id = parcel.id;
    message.headers = {{"Nats-Expected-Stream", access.names.stream()},
                       {"Content-Type", "application/cloudevents+json"}};
    if (!identity.instance().empty()) {
        message.headers.emplace_back("Raidwatch-Instance", identity.instance());
    }
    message.body = jsonLine(json);
    return message;
}

// --- how this machine stands ---

void NatsSink::readState() {
    const std::int64_t now = Clock::current().now();
    if (now == readAt) return;
    readAt = now;
    if (state.polledAt == 0 && drives.empty() && !places.stateFolder.empty()) {
        MachineState last;  // of the run before: drives that have gone since
        if (readInto(places.stateFolder + "/last-state.json", last)) {
            for (const DriveState& drive : last.drives) drives[drive.key] = drive;
        }
    }
    if (!readInto(places.stateFile, state)) return;
    for (const DriveState& drive : state.drives) drives[drive.key] = drive;
}

std::string NatsSink::ownHost() const { return state.host.empty() ? hostName() : state.host; }

void NatsSink::tick() {
    if (places.stateFolder.empty() || identity.machine().empty()) return;
    const std::int64_t now = Clock::current().now();
    const bool clockWentBack = nextBeat > now + access.heartbeat;
    if (now >= nextBeat || clockWentBack) beat();
}

void NatsSink::beat() {
    readState();
    const FleetPresence::Said said{ownHost(), state.polledAt, lastSequence};
    if (!presence.beat(said) && presence.lacksBucket()) {
        std::string error;
        if (makeAll(error)) (void)presence.beat(said);
        beatTrouble = error;
    } else {
        beatTrouble = presence.problem();
    }
    // A place that may become free is watched more closely.
    nextBeat = Clock::current().now() +
               (presence.isTaken() ? std::min(kWatchEvery, access.heartbeat) : access.heartbeat);
    if (presence.isOurs()) say();
}

void NatsSink::say() {
    if (state.polledAt == 0) return;
    const std::string summary = summaryOf(state, open).json();
    const std::int64_t now = Clock::current().now();
    if (summary == lastSummary && now >= summaryAt && now - summaryAt < kSummarySeconds) return;
    std::string error;
    if (link->put(access.names.stateBucket(), identity.machine(), summary, nullptr, error) !=
        FleetLink::Put::kDone) {
        beatTrouble = error;
        return;
    }
    lastSummary = summary;
    summaryAt = now;
}

bool NatsSink::makeAll(std::string& error) {
    if (!access.mayMake) {
        error = "there is no stream " + access.names.stream();
        return false;
    }
    FleetLink::Plan states;
    states.stream = access.names.stateBucket();
    states.copies = access.plan.copies;
    FleetLink::Plan beats = states;
    beats.stream = access.names.aliveBucket();
    beats.maxAgeSeconds = kAliveSeconds;
    error = link->makeStream(access.plan);
    if (error.empty()) error = link->makeBucket(states);
    if (error.empty()) error = link->makeBucket(beats);
    return error.empty();
}

// What went wrong, and what to type where this account may not make what is missing.
std::string NatsSink::hint(const std::string& error) const {
    std::string text = error + "; make it with an account that may:";
    for (const std::string& command : access.names.commands(access.plan))
        text += " " + command + ";";
    text.pop_back();
    return text;
}

std::string NatsSink::problem() {
    std::string error = link->connect();
    if (!error.empty()) return error;
    const std::string machine = identity.machine();
    if (machine.empty()) return std::string();  // the daemon has not made one yet
    bool found = false;
    FleetLink::Entry entry;
    error = link->get(access.names.aliveBucket(), FleetNames::rivalKey(machine), found, entry);
    if (!error.empty()) return access.mayMake ? std::string() : hint(error);
    if (!found) return std::string();
    FleetBeat rival = FleetBeat::of(entry.value);
    rival.at = entry.at;
    if (!FleetPresence::isAlive(rival, nowMilliseconds())) return std::string();
    if (rival.instance == identity.latest()) {  // we are the one that waits
        error = link->get(access.names.aliveBucket(), FleetNames::aliveKey(machine), found, entry);
        if (!error.empty() || !found) return error;
        rival = FleetBeat::of(entry.value);
        if (identity.isOwn(rival.instance)) return std::string();
    } else if (identity.isOwn(rival.instance) && rival.at / 1000 <= identity.latestBegan()) {
        return std::string();  // an earlier life of ours
    }
    return FleetPresence::conflictText(rival, machine);
}
