#include "agent/commands/ListCommand.h"

#include <memory>

#include "agent/ConfigJson.h"
#include "agent/ConfigText.h"
#include "agent/Failure.h"
#include "agent/Output.h"
#include "storlib/System.h"
#include "storlib/VantLib.h"

int ListCommand::run(const Context& context) const {
    std::string error;
    const std::unique_ptr<VantLib> lib = VantLib::open(options.source, error);
    if (!lib) throw Failure(Failure::kBadUse, error);
    if (lib->getSystemConfig().status != Ret::kOk || lib->getSystem() == nullptr) {
        throw Failure(Failure::kFailed, "the storage cannot be read: " + lib->lastError());
    }
    const System& system = *lib->getSystem();
    context.out.write(options.json ? configJson(system) + "\n" : configText(system));
    return Failure::kDone;
}
