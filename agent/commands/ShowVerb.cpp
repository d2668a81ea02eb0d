#include "agent/commands/ShowVerb.h"

#include <nlohmann/json.hpp>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/commands/CommandSettings.h"
#include "agent/state/ObjectKeys.h"
#include "agent/status/Look.h"
#include "agent/status/ObjectText.h"
#include "util/Clock.h"

namespace {

// The one object that is meant; anything else is an error that names what to say instead.
ObjectKey theOne(const MachineState& state, const std::string& wanted) {
    const std::vector<ObjectKey> found = findObjects(state, wanted);
    if (found.empty()) {
        throw Failure(Failure::kFailed, "nothing here is called \"" + safeText(wanted) +
                                            "\"; \"raidwatch list\" shows names, serial numbers "
                                            "and places");
    }
    if (found.size() == 1) return found.front();
    std::string line = "\"" + safeText(wanted) + "\" names more than one thing; say which:";
    for (const ObjectKey& each : found) line += " \"" + safeText(each.key) + "\"";
    throw Failure(Failure::kFailed, line);
}

}  // namespace

void ShowVerb::declare(Flags& flags) {
    flags
        .option("OBJECT", object,
                "md0, /dev/sdb, a serial number, a WWN, c1:e2:s4, ld0, controller 1")
        .required();
    flags.option("--source", source, "read this source once, now, instead of asking the daemon");
    flags.flag("--json", json, "one JSON document");
}

int ShowVerb::run(const Context& context) {
    const Look look(readSettings(context));
    const MachineState state = look.now(source).state;
    const ObjectKey wanted = theOne(state, object);
    if (json) {
        context.out.line(objectJson(state, wanted.key)
                             .dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    } else {
        context.out.write(objectText(state, wanted.key, Clock::current().now()));
    }
    return Failure::kDone;
}
