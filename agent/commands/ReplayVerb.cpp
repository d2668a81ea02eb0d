#include "agent/commands/ReplayVerb.h"

#include "agent/Failure.h"
#include "agent/Recording.h"
#include "agent/Replayer.h"
#include "agent/StopSignal.h"

void ReplayVerb::declare(Flags& flags) {
    flags.option("PATH", options.path, "folder of steps (folders or .tar.xz)").required();
    addFormFlags(flags, form);
    addLanguageOption(flags, options.language);
}

int ReplayVerb::run(const Context& context) {
    const Recording recording(options.path, [&context] { return context.stop.requested(); });
    EventPrinter printer(context.out, form.form(), context.style);
    Replayer replayer(recording.path(), options.language);
    while (!context.stop.requested() && replayer.next()) {
        printer.printStep(replayer.step(), replayer.events());
        if (!replayer.problem().empty()) {
            context.note("step " + replayer.step() + " cannot be read: " + replayer.problem());
        }
    }
    if (context.stop.requested()) throw Failure(Failure::kFailed, "interrupted");
    const std::string summary = printer.mutedSummary();
    if (!summary.empty()) context.note(summary);
    return Failure::kDone;
}
