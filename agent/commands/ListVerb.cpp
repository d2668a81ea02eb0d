#include "agent/commands/ListVerb.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/ConfigJson.h"
#include "agent/ConfigText.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/commands/CommandSettings.h"
#include "agent/settings/Spelling.h"
#include "agent/status/Look.h"
#include "agent/status/ObjectText.h"
#include "storlib/System.h"
#include "storlib/VantLib.h"
#include "util/Clock.h"

namespace {

std::string kindsText() {
    std::string text;
    for (const std::string& each : listKinds()) text += (text.empty() ? "" : ", ") + each;
    return text;
}

}  // namespace

void ListVerb::declare(Flags& flags) {
    flags.option("KIND", kind, "a table of one kind: " + kindsText());
    flags.option("--source", source,
                 "read this source once, now (default: what the daemon watches)");
    flags.flag("--json", json, "one JSON document, with every attribute");
}

int ListVerb::run(const Context& context) {
    const std::vector<std::string>& kinds = listKinds();
    if (kind.empty()) {
        printTree(context);
    } else if (std::find(kinds.begin(), kinds.end(), kind) != kinds.end()) {
        printKind(context);
    } else {
        throw Failure(Failure::kBadUse, "there is no list of \"" + safeText(kind) + "\"" +
                                            suggestion(kind, kinds, "; there is " + kindsText()));
    }
    return Failure::kDone;
}

void ListVerb::printTree(const Context& context) const {
    std::string error;
    const std::string from = source.empty() ? readSettings(context).source : source;
    const std::unique_ptr<VantLib> lib = VantLib::open(from, error);
    if (!lib) throw Failure(Failure::kBadUse, error);
    if (lib->getSystemConfig().status != Ret::kOk || lib->getSystem() == nullptr) {
        throw Failure(Failure::kFailed, "the storage cannot be read: " + lib->lastError());
    }
    const System& system = *lib->getSystem();
    context.out.write(json ? configJson(system) + "\n" : configText(system));
}

void ListVerb::printKind(const Context& context) const {
    const MachineState state = Look(readSettings(context)).now(source).state;
    if (json) {
        context.out.line(
            listJson(state, kind).dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    } else {
        context.out.write(listText(state, kind, Clock::current().now()));
    }
}
