// AlertmanagerSink: incidents as alerts of Prometheus Alertmanager, posted when a notice comes,
// again about every minute while the incident is open, and with their end when it is resolved.
//
// An alert that we stop to repeat ends by itself after five minutes: an agent that died leaves no
// alert behind. Each address is told; one that takes it is enough.
//
//   auto sink = std::make_unique<AlertmanagerSink>(settings);   // of type "alertmanager"
//   sink->knowOpen(incidents);                                  // after a restart
//
// Threads and ownership as in Sink.h.
// Errors   As in Sink.h. What tick() could not tell is told with the next one.
#ifndef AGENT_SINKS_ALERTMANAGERSINK_H
#define AGENT_SINKS_ALERTMANAGERSINK_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/EventReference.h"
#include "agent/incidents/Incident.h"
#include "agent/settings/AgentSettings.h"
#include "agent/sinks/HttpClient.h"
#include "agent/sinks/Sink.h"

class AlertmanagerSink : public Sink {
public:
    static constexpr std::int64_t kRepeatSeconds = 60;
    static constexpr std::int64_t kAliveSeconds = 300;

    // Throws BadSinkSetting.
    explicit AlertmanagerSink(const SinkSettings& settings);

    void knowOpen(const std::vector<Incident>& incidents) override;
    void keepOnly(const std::vector<Incident>& incidents) override;

    bool wants(const Record& record) const override;
    Answer deliver(const Record& record, const std::string& id) override;
    void cancel() override { cancelled = true; }
    void tick() override;
    std::string problem() override;

private:
    using Json = nlohmann::ordered_json;

    Json labelsOf(const Incident& incident, Origin origin) const;
    Json alertOf(const Notice& notice, Origin origin, std::int64_t endsAt) const;
    std::string action(int code) const;
    Answer post(const Json& alerts) const;

    std::atomic<bool> cancelled{false};
    HttpClient client;
    HttpClient::Request common;  // what all requests share
    std::vector<std::string> urls;
    std::map<std::string, std::string> labels;  // configured
    EventReference reference{""};

    std::map<std::int64_t, Json> open;  // the alerts to repeat, by incident, as last accepted
    std::int64_t repeatAt = 0;
};

std::unique_ptr<Sink> makeAlertmanagerSink(const SinkSettings& settings);

#endif  // AGENT_SINKS_ALERTMANAGERSINK_H
