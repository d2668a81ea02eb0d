#include "agent/commands/ScenarioCommand.h"

#include <chrono>
#include <memory>
#include <utility>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/Replayer.h"
#include "agent/SafeText.h"
#include "agent/StopSignal.h"
#include "storlib/sources/Scenario.h"
#include "storlib/sources/ScenarioSource.h"

namespace {

std::unique_ptr<ScenarioSource> opened(const std::string& file) {
    std::string error;
    std::unique_ptr<ScenarioSource> source = ScenarioSource::open(file, error);
    if (!source) throw Failure(Failure::kBadUse, error);
    return source;
}

}  // namespace

int ScenarioCommand::run(const Context& context) const {
    return options.verb == Verb::kCheck ? check(context) : play(context);
}

int ScenarioCommand::check(const Context& context) const {
    const std::unique_ptr<ScenarioSource> source = opened(options.file);
    const std::size_t steps = source->stepCount();
    context.out.line(safeText(options.file + ": in order; \"" + source->getScenario().title() +
                              "\", " + std::to_string(steps) + (steps == 1 ? " step" : " steps")));
    return Failure::kDone;
}

int ScenarioCommand::play(const Context& context) const {
    std::unique_ptr<ScenarioSource> source = opened(options.file);
    const std::string title = source->getScenario().title();
    const std::string story = source->getScenario().story();
    EventPrinter printer(context.out, options.form, context.style);
    Replayer replayer(std::move(source), options.language);
    if (options.form != EventPrinter::Form::kJson) {
        context.note(title + (story.empty() ? "" : ". " + story));
    }
    const auto pause = std::chrono::milliseconds(static_cast<long>(options.pace * 1000));
    while (!context.stop.requested() && replayer.next()) {
        printer.printStep(replayer.step(), replayer.events());
        if (!replayer.problem().empty()) context.note(replayer.problem());
        if (options.pace > 0 && !replayer.atEnd()) (void)context.stop.waitFor(pause);
    }
    if (context.stop.requested()) throw Failure(Failure::kFailed, "interrupted");
    const std::string summary = printer.mutedSummary();
    if (!summary.empty()) context.note(summary);
    return Failure::kDone;
}
