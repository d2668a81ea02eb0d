#include "agent/commands/ScenarioVerb.h"

#include <chrono>
#include <cstdlib>
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

constexpr double kLongestPace = 3600;  // seconds

std::string checkPace(const std::string& text) {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool fits = !text.empty() && *end == 0 && seconds >= 0 && seconds <= kLongestPace;
    return fits ? "" : "\"" + text + "\" is no pace; give seconds from 0 to 3600";
}

std::unique_ptr<ScenarioSource> opened(const std::string& file) {
    std::string error;
    std::unique_ptr<ScenarioSource> source = ScenarioSource::open(file, error);
    if (!source) throw Failure(Failure::kBadUse, error);
    return source;
}

}  // namespace

void ScenarioVerb::declare(Flags& flags) {
    Flags check = flags.verb("check", "is this scenario file in order?", chosen);
    check.option("FILE", options.file, "scenario file").required();
    Flags play = flags.verb("play", "print the events of a scenario, by step", chosen);
    play.option("FILE", options.file, "scenario file").required();
    play.option("--pace", options.pace, "seconds to wait between two steps (default: none)")
        .check(checkPace);
    addFormFlags(play, form);
    addLanguageOption(play, options.language);
}

int ScenarioVerb::run(const Context& context) {
    return chosen == "check" ? check(context) : play(context);
}

int ScenarioVerb::check(const Context& context) const {
    const std::unique_ptr<ScenarioSource> source = opened(options.file);
    const std::size_t steps = source->stepCount();
    context.out.line(safeText(options.file + ": in order; \"" + source->getScenario().title() +
                              "\", " + std::to_string(steps) + (steps == 1 ? " step" : " steps")));
    return Failure::kDone;
}

int ScenarioVerb::play(const Context& context) const {
    std::unique_ptr<ScenarioSource> source = opened(options.file);
    const std::string title = source->getScenario().title();
    const std::string story = source->getScenario().story();
    EventPrinter printer(context.out, form.form(), context.style);
    Replayer replayer(std::move(source), options.language);
    if (form.form() != EventPrinter::Form::kJson) {
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
