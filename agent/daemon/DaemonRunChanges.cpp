// DaemonRun, continued: what changes a daemon that runs. The configuration is read anew, and what
// people ask for comes from the change desk.
#include "agent/daemon/DaemonRun.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "agent/Failure.h"
#include "agent/JsonFields.h"
#include "agent/Wording.h"
#include "agent/daemon/ChangeRequests.h"
#include "agent/incidents/IncidentJson.h"
#include "agent/settings/SettingsReader.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;
using Names = std::vector<std::string>;

bool sameWatching(const AgentSettings& a, const AgentSettings& b) {
    return a.source == b.source && a.language == b.language && a.stateFolder == b.stateFolder &&
           a.runFolder == b.runFolder && a.engineFolder == b.engineFolder &&
           a.controlGroup == b.controlGroup;
}

Json spanJson(const Pipeline::Span& span, const Names& sinks) {
    return {{"sequence", span.first}, {"last", span.last}, {"sinks", sinks}};
}

// Each carries out one kind of request; `sinks` are the names of those that are configured.

Json acknowledge(Pipeline& pipeline, const Json& request, const Names&) {
    const AckRequest ack = ChangeRequests::ackOf(request);
    return incidentJson(pipeline.acknowledge(ack.id, ack.by, ack.comment, ack.until));
}

Json unacknowledge(Pipeline& pipeline, const Json& request, const Names&) {
    return incidentJson(pipeline.unacknowledge(ChangeRequests::idOf(request)));
}

Json addSilence(Pipeline& pipeline, const Json& request, const Names&) {
    Silence silence = ChangeRequests::silenceOf(request, Clock::current().now());
    silence.id = pipeline.addSilence(silence);
    return silenceJson(silence);
}

Json removeSilence(Pipeline& pipeline, const Json& request, const Names&) {
    const std::int64_t id = ChangeRequests::idOf(request);
    pipeline.removeSilence(id);
    return {{"id", id}};
}

Json test(Pipeline& pipeline, const Json& request, const Names& sinks) {
    const Names wanted = ChangeRequests::sinksOf(request);
    for (const std::string& name : wanted) {
        if (std::find(sinks.begin(), sinks.end(), name) != sinks.end()) continue;
        std::string list;
        for (const std::string& each : sinks) list += " " + each;
        throw Failure(Failure::kBadUse, "there is no sink " + name +
                                            "; configured are:" + (list.empty() ? " none" : list));
    }
    return spanJson(pipeline.test(wanted), wanted.empty() ? sinks : wanted);
}

Json drill(Pipeline& pipeline, const Json& request, const Names& sinks) {
    const std::string name = textOf(request, "name", "drill");
    return spanJson(pipeline.drill(name, ChangeRequests::eventsOf(request)), sinks);
}

struct Change {
    const char* word;
    Json (*carryOut)(Pipeline& pipeline, const Json& request, const Names& sinks);
};

constexpr Change kChanges[] = {
    {"ack", acknowledge},          {"unack", unacknowledge}, {"silence-add", addSilence},
    {"silence-rm", removeSilence}, {"test", test},           {"drill", drill},
};

}  // namespace

std::vector<std::string> DaemonRun::reload() {
    SettingsReader reader = settingsReader();
    AgentSettings fresh = readSettings(reader);
    if (sinks) sinks->reload(fresh.sinks);
    if (pipeline) pipeline->use(fresh);
    if (!sameWatching(fresh, settings)) {
        note("what has changed in [monitor], [paths] and [access] holds after a restart");
    }
    // look() reads the source on the monitoring thread, and paths are in use: these stay.
    settings.keep = fresh.keep;
    settings.sinks = std::move(fresh.sinks);
    settings.httpListen = std::move(fresh.httpListen);
    settings.httpTokenHash = std::move(fresh.httpTokenHash);
    settings.httpHosts = std::move(fresh.httpHosts);
    settings.staleAfter = fresh.staleAfter;
    if (web) web->use(settings);
    return reader.files();
}

void DaemonRun::reloadOnSignal() {
    service.reloading();
    try {
        const std::vector<std::string> files = reload();
        setSettingsProblem("");
        note("the configuration is read again: " + counted(files.size(), "file") + ", " +
             counted(settings.sinks.size(), "sink"));
    } catch (const SettingsError& e) {
        for (const std::string& line : e.problems) note(line);
        note("the configuration has errors; the old one stays in force");
        setSettingsProblem("the new configuration is not in force: " +
                           (e.problems.empty() ? std::string(e.what()) : e.problems.front()));
    } catch (const std::exception& e) {
        note(std::string(e.what()) + "; the old configuration stays in force");
        setSettingsProblem(std::string("the new configuration is not in force: ") + e.what());
    }
    service.ready("watching " + settings.source);
}

void DaemonRun::setSettingsProblem(const std::string& line) {
    settingsTrouble = line;
    if (pipeline) pipeline->setProblem(kSettingsTopic, line);
}

Json DaemonRun::carryOut(const Json& request) {
    const std::string word = ChangeRequests::wordOf(request);
    if (word == "reload") {
        const std::vector<std::string> files = reload();
        setSettingsProblem("");
        return {{"files", files}};
    }
    if (!pipeline) throw Failure(Failure::kFailed, storeTrouble);
    Names names;
    for (const auto& [name, sink] : settings.sinks) names.push_back(name);
    for (const Change& change : kChanges) {
        if (word == change.word) return change.carryOut(*pipeline, request, names);
    }
    throw Failure(Failure::kBadUse, "unknown request \"" + word + "\"");
}
