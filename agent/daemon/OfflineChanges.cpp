#include "agent/daemon/OfflineChanges.h"

#include <algorithm>
#include <string>

#include "agent/Failure.h"
#include "agent/daemon/ChangeRequests.h"
#include "agent/incidents/IncidentBook.h"
#include "agent/incidents/IncidentJson.h"
#include "agent/spool/Spool.h"
#include "util/Clock.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kWords[] = {"ack", "unack", "silence-add", "silence-rm"};

}  // namespace

bool OfflineChanges::canDo(const Json& request) {
    const std::string word = ChangeRequests::wordOf(request);
    return std::find(std::begin(kWords), std::end(kWords), word) != std::end(kWords);
}

Json OfflineChanges::change(const Json& request) {
    const std::string word = ChangeRequests::wordOf(request);
    const std::int64_t now = Clock::current().now();
    if (word == "silence-add") {
        Silence silence = ChangeRequests::silenceOf(request, now);
        silence.id = spool.addSilence(silence);
        return silenceJson(silence);
    }
    if (word == "silence-rm") {
        const std::int64_t id = ChangeRequests::idOf(request);
        if (!spool.removeSilence(id)) {
            throw Failure(Failure::kFailed, "there is no silence " + std::to_string(id) +
                                                "; raidwatch silence list shows them");
        }
        return {{"id", id}};
    }
    IncidentBook book(settings, spool.openIncidents(), spool.lastIncident());
    IncidentBook::Effect effect;
    const AckRequest ack = ChangeRequests::ackOf(request);
    const bool found = word == "ack"
                           ? book.acknowledge(ack.id, ack.by, ack.comment, ack.until, now, effect)
                           : book.unacknowledge(ack.id, now, effect);
    if (!found) {
        throw Failure(Failure::kFailed, "there is no open incident " + std::to_string(ack.id) +
                                            "; raidwatch incidents lists them");
    }
    for (const Incident& changed : effect.changed) spool.putIncident(changed);
    return incidentJson(effect.changed.front());
}
