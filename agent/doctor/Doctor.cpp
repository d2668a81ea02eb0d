// The order of the looks; the configuration; who is told.
#include "agent/doctor/Doctor.h"

#include <unistd.h>

#include <exception>
#include <utility>

#include "agent/settings/SinkKeys.h"
#include "agent/sinks/SinkFactory.h"
#include "agent/spool/Spool.h"

Doctor::Doctor(ConfigCheck configurationIN, std::string rootIN)
    : configuration(std::move(configurationIN)),
      settings(configuration.settings),
      places(settings),
      root(std::move(rootIN)) {}

std::vector<Finding> Doctor::examine() {
    findings.clear();
    lookAtConfiguration();
    lookAtDaemon();
    lookAtPage();
    lookAtPeople();
    lookAtSinks();
    lookAtDeliveries();
    lookAtSource();
    lookAtMachineLock();
    lookAtSpool();
    lookAtEngineFolder();
    lookAtSnapshot();
    lookAtEngineSettings();
    lookAtCatalogue();
    lookAtLogs();
    lookAtRunFolder();
    lookAtSpace();
    lookAtClock();
    lookAtTools();
    return findings;
}

void Doctor::ok(const std::string& topic, const std::string& text) {
    findings.push_back({Finding::Kind::kOk, topic, text, ""});
}

void Doctor::advice(const std::string& topic, const std::string& text, const std::string& cure) {
    findings.push_back({Finding::Kind::kAdvice, topic, text, cure});
}

void Doctor::problem(const std::string& topic, const std::string& text, const std::string& cure) {
    findings.push_back({Finding::Kind::kProblem, topic, text, cure});
}

void Doctor::denied(const std::string& topic, const std::string& text, const std::string& cure) {
    if (geteuid() == 0) {
        problem(topic, text, cure);
    } else {
        advice(topic, text, "look again as root: sudo raidwatch doctor");
    }
}

void Doctor::lookAtConfiguration() {
    for (const std::string& line : configuration.problems) {
        problem("configuration", line, "correct it; what follows goes by the defaults");
    }
    if (configuration.problems.empty()) ok("configuration", configuration.verdict());
    if (!configuration.advice.empty()) {
        advice("configuration", configuration.advice, configuration.cure);
    }
}

void Doctor::lookAtPeople() {
    std::string names;
    for (const auto& [name, sink] : settings.sinks) {
        const SinkType* const type = findSinkType(sink.type);
        if (type != nullptr && type->human) names += (names.empty() ? "" : ", ") + name;
    }
    if (!names.empty()) {
        ok("who is told", names);
        return;
    }
    problem("who is told",
            settings.sinks.empty()
                ? "nobody will be told: there is no sink at all"
                : "nobody will be told: events only go where people have to look",
            "add a sink that reaches a person, as [sink.ops] with type = \"mail\"; "
            "raidwatch config schema lists the kinds");
}

void Doctor::lookAtSinks() {
    for (const auto& [name, sink] : settings.sinks) {
        std::string wrong;
        try {
            wrong = makeSink(sink, {places.stateFile(), settings.stateFolder})->problem();
        } catch (const std::exception& e) {
            wrong = e.what();
        }
        if (wrong.empty()) {
            ok("sink " + name, "can deliver (" + sink.type + ")");
        } else {
            denied("sink " + name, wrong, "correct it, then try raidwatch test " + name);
        }
    }
}

// What came of the last tries. Without a spool nothing was ever to be delivered.
void Doctor::lookAtDeliveries() {
    try {
        const Spool spool(RunFolder::spoolFile(settings), Spool::Access::kReadOnly);
        for (const SinkStatus& status : spool.sinkStatus()) {
            if (settings.sinks.count(status.sink) == 0) continue;
            if (!status.ok) {
                problem("sink " + status.sink,
                        std::to_string(status.waiting) + " records wait; the last of " +
                            std::to_string(status.tries) + " tries: " + status.lastAnswer,
                        "see to the other side; they are delivered when it answers");
            }
            if (status.dead > 0) {
                advice("sink " + status.sink,
                       std::to_string(status.dead) + " records were given up",
                       "raidwatch events --undelivered shows them");
            }
        }
    } catch (const SpoolError&) {
        // The look at the spool says what is wrong with it.
    }
}
