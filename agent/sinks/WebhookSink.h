// WebhookSink: each record as one HTTP request, its body the record as CloudEvents JSON or a
// template of yours; docs/formats/sinks-network.md has the keys and examples.
//
//   std::unique_ptr<Sink> sink = makeWebhookSink(settings);   // of type "webhook"
//
// Threads, ownership and errors as in Sink.h.
#ifndef AGENT_SINKS_WEBHOOKSINK_H
#define AGENT_SINKS_WEBHOOKSINK_H

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/BodyTemplate.h"
#include "agent/sinks/HttpClient.h"
#include "agent/sinks/Sink.h"

class WebhookSink : public Sink {
public:
    // Throws BadSinkSetting.
    explicit WebhookSink(const SinkSettings& settings);

    bool wants(const Record& record) const override;
    Answer deliver(const Record& record, const std::string& id) override;
    void cancel() override { cancelled = true; }
    // Asks with a bare connection; no request is sent, so that nobody is alarmed.
    std::string problem() override;

private:
    struct Header {
        std::string name;
        BodyTemplate value;
    };

    void readHeaders(const SinkSettings& settings);
    void readBody(const SinkSettings& settings);

    std::atomic<bool> cancelled{false};
    HttpClient client;
    HttpClient::Request common;  // what all requests share
    std::vector<Header> headers;
    std::optional<BodyTemplate> body;  // none: the record as CloudEvents
    bool events = true;
    bool notices = true;
};

std::unique_ptr<Sink> makeWebhookSink(const SinkSettings& settings);

#endif  // AGENT_SINKS_WEBHOOKSINK_H
