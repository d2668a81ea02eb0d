#include "agent/sinks/SinkFactory.h"

#include "agent/LateLibrary.h"
#include "agent/sinks/AlertmanagerSink.h"
#include "agent/sinks/ExecSink.h"
#include "agent/sinks/FileSink.h"
#include "agent/sinks/HookState.h"
#include "agent/sinks/JournalSink.h"
#include "agent/sinks/MailSink.h"
#include "agent/sinks/NatsSink.h"
#include "agent/sinks/SinkValues.h"
#include "agent/sinks/SyslogSink.h"
#include "agent/sinks/UnusableSink.h"
#include "agent/sinks/WebhookSink.h"

namespace {

struct Kind {
    const char* type;
    std::unique_ptr<Sink> (*make)(const SinkSettings& settings);
};

// One that knows no files of the daemon can be asked whether it could deliver.
std::unique_ptr<Sink> makeLookingNatsSink(const SinkSettings& settings) {
    return makeNatsSink(settings, {});
}

// Sorted by type.
// clang-format off
constexpr Kind kKinds[] = {
    {"alertmanager", makeAlertmanagerSink},
    {"exec", makeExecSink},
    {"file", makeFileSink},
    {"journal", makeJournalSink},
    {"mail", makeMailSink},
    {"nats", makeLookingNatsSink},
    {"syslog", makeSyslogSink},
    {"webhook", makeWebhookSink},
};
// clang-format on

template <typename Make>
std::unique_ptr<Sink> makeOrExplain(const Make& make) {
    try {
        return make();
    } catch (const LateLibrary::Missing& e) {
        return std::make_unique<UnusableSink>(std::string(e.what()) + ", then restart raidwatch");
    }
}

}  // namespace

std::unique_ptr<Sink> makeSink(const SinkSettings& settings) {
    std::string known;
    for (const Kind& kind : kKinds) {
        if (settings.type == kind.type) {
            return makeOrExplain([&] { return kind.make(settings); });
        }
        known += (known.empty() ? "" : ", ") + std::string(kind.type);
    }
    throw SinkValues(settings).wrong("type", settings.type.empty()
                                                 ? "is missing; it is one of " + known
                                                 : "\"" + settings.type + "\" is none of " + known);
}

std::unique_ptr<Sink> makeSink(const SinkSettings& settings, const SinkPlaces& places) {
    if (settings.type == "nats") {
        return makeOrExplain([&] { return makeNatsSink(settings, places); });
    }
    // Only hooks have words for devices that other records do not know.
    if (settings.type != "exec") return makeSink(settings);
    return std::make_unique<ExecSink>(settings, stateIn(places.stateFile));
}

std::vector<std::string> sinkTypes() {
    std::vector<std::string> types;
    for (const Kind& kind : kKinds) types.push_back(kind.type);
    return types;
}
