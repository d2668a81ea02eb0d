// UnusableSink: stands for a sink that cannot be made on this machine as it is, because a library
// of it is missing. It takes nothing, so its records wait for the day when it can be made; the
// other sinks go on.
//
//   return std::make_unique<UnusableSink>("cannot load libcurl.so.4 ...; install ...");
#ifndef AGENT_SINKS_UNUSABLESINK_H
#define AGENT_SINKS_UNUSABLESINK_H

#include <string>
#include <utility>

#include "agent/sinks/Sink.h"

class UnusableSink : public Sink {
public:
    explicit UnusableSink(std::string causeAndCureIN) : causeAndCure(std::move(causeAndCureIN)) {}

    bool wants(const Record&) const override { return true; }
    Answer deliver(const Record&, const std::string&) override {
        return {Answer::Kind::kRetry, causeAndCure};
    }
    std::string problem() override { return causeAndCure; }

private:
    std::string causeAndCure;
};

#endif  // AGENT_SINKS_UNUSABLESINK_H
