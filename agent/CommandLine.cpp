#include "agent/CommandLine.h"

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/commands/CaptureCommand.h"
#include "agent/commands/ExplainCommand.h"
#include "agent/commands/ListCommand.h"
#include "agent/commands/ReplayCommand.h"
#include "agent/commands/ScenarioCommand.h"
#include "agent/commands/Verb.h"
#include "agent/commands/WatchCommand.h"
#include "storlib/sources/SourceRegistry.h"

namespace {

constexpr char kAbout[] = "raidwatch - watches RAID storage and tells what changed";
constexpr double kLongestPace = 3600;  // seconds
constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 failed, 2 bad use (wrong flags, a path or a source that cannot be "
    "used).";

// What the flags fill; one set per verb, so that a verb knows only its own.
struct FormFlags {
    bool json = false;
    bool all = false;

    EventPrinter::Form form() const {
        if (json) return EventPrinter::Form::kJson;
        return all ? EventPrinter::Form::kTextAll : EventPrinter::Form::kText;
    }
};

void addFormFlags(CLI::App* verb, FormFlags& flags) {
    verb->add_flag("--json", flags.json, "one JSON object per line, everything included");
    verb->add_flag("--all", flags.all, "show events of code 406 (drive of an unknown vendor) too");
}

void addColourFlag(CLI::App* app, bool& noColour) {
    app->add_flag("--no-color", noColour, "no colours (as with NO_COLOR in the environment)");
}

void addLanguageOption(CLI::App* verb, std::string& language) {
    verb->add_option("--lang", language,
                     "language of the texts: de, en, es, fr, ja, zh_CN (default: as installed)");
}

std::string sourceHelp() {
    std::string help = "where the configuration comes from:";
    for (const SourceRegistry::Kind& kind : SourceRegistry::kinds()) {
        help += std::string(" ") + kind.name + ":" + kind.argument + ";";
    }
    help.back() = '.';
    return help;
}

CLI::App* addVerb(CLI::App& app, const char* name, const char* purpose) {
    CLI::App* verb = app.add_subcommand(name, purpose);
    verb->footer(kExitCodes);
    return verb;
}

std::string helpHint(const CLI::App& app) {
    std::string words = "; see raidwatch";
    for (auto verbs = app.get_subcommands(); !verbs.empty();) {
        words += " " + verbs.front()->get_name();
        verbs = verbs.front()->get_subcommands();
    }
    return words + " --help";
}

// Of a verb that has verbs of its own and got none of them.
bool lacksVerb(const CLI::App& app) {
    const auto verbs = app.get_subcommands();
    return !verbs.empty() && verbs.front()->get_require_subcommand_min() > 0 &&
           verbs.front()->get_subcommands().empty();
}

// "scenario needs one of its commands: check, play"
std::string needsVerb(const CLI::App& app) {
    const CLI::App* const verb = app.get_subcommands().front();
    std::string words = verb->get_name() + " needs one of its commands:";
    for (const CLI::App* own : verb->get_subcommands([](const CLI::App*) { return true; })) {
        words += " " + own->get_name() + ",";
    }
    words.pop_back();
    return words;
}

std::string checkPace(const std::string& text) {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool fits = !text.empty() && *end == 0 && seconds >= 0 && seconds <= kLongestPace;
    return fits ? "" : "\"" + text + "\" is no pace; give seconds from 0 to 3600";
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

// The parser calls an unknown verb a missing one.
std::string explain(const CLI::App& app, const CLI::ParseError& error, int argc,
                    const char* const* argv) {
    const bool noVerb = app.get_subcommands().empty();
    if (noVerb && argc < 2) return "no command" + helpHint(app);
    if (noVerb) {
        const char* const what =
            argv[1][0] == '-' ? "unknown flag or no command: " : "unknown command ";
        return what + std::string(argv[1]) + helpHint(app);
    }
    if (lacksVerb(app)) return needsVerb(app) + helpHint(app);
    return firstLine(error.what()) + helpHint(app);
}

}  // namespace

int CommandLine::run(int argc, const char* const* argv) {
    CLI::App app(kAbout, "raidwatch");
    app.set_version_flag("--version", std::string("raidwatch ") + version, "print the version");
    app.footer(kExitCodes);
    app.require_subcommand(1);
    const char* const noColourWord = std::getenv("NO_COLOR");
    bool noColour = noColourWord != nullptr && *noColourWord != 0;
    addColourFlag(&app, noColour);
    app.add_option("--config", context.configFile,
                   "configuration file (default: /etc/raidwatch/raidwatch.toml)");

    WatchCommand::Options watch;
    FormFlags watchForm;
    CLI::App* watchVerb =
        addVerb(app, "watch", "print each event as it happens, until interrupted");
    watchVerb->add_option("--source", watch.source, sourceHelp())->capture_default_str();
    watchVerb->add_flag("--once", watch.once, "compare once with the stored snapshot, then end");
    watchVerb->add_option("--state", watch.stateFolder,
                          "folder for snapshot, settings and logs (default: beside the library)");
    watchVerb->add_option("--logs", watch.logFolder, "folder for the engine's logs");
    addFormFlags(watchVerb, watchForm);

    ReplayCommand::Options replay;
    FormFlags replayForm;
    CLI::App* replayVerb = addVerb(app, "replay", "print the events of a recording, step by step");
    replayVerb->add_option("PATH", replay.path, "folder of steps (folders or .tar.xz)")->required();
    addFormFlags(replayVerb, replayForm);

    CaptureCommand::Options capture;
    CLI::App* captureVerb =
        addVerb(app, "capture", "write one step of a recording of this machine");
    captureVerb->add_option("DIR", capture.folder, "folder of the recording")->required();
    captureVerb->add_option("--root", capture.root, "read the tree below this folder")
        ->capture_default_str();
    captureVerb
        ->add_option("--name", capture.name,
                     "name of the step, after its number (letters, digits, - and _)")
        ->capture_default_str();

    ListCommand::Options list;
    CLI::App* listVerb = addVerb(app, "list", "print the storage configuration as it is now");
    listVerb->add_option("--source", list.source, sourceHelp())->capture_default_str();
    listVerb->add_flag("--json", list.json, "as one JSON document, with every attribute");

    ScenarioCommand::Options scenario;
    FormFlags scenarioForm;
    CLI::App* scenarioVerb = addVerb(app, "scenario", "simulated controllers from a file");
    scenarioVerb->require_subcommand(1);
    CLI::App* checkVerb = addVerb(*scenarioVerb, "check", "is this scenario file in order?");
    checkVerb->add_option("FILE", scenario.file, "scenario file")->required();
    CLI::App* playVerb = addVerb(*scenarioVerb, "play", "print the events of a scenario, by step");
    playVerb->add_option("FILE", scenario.file, "scenario file")->required();
    playVerb
        ->add_option("--pace", scenario.pace, "seconds to wait between two steps (default: none)")
        ->check(checkPace);
    addFormFlags(playVerb, scenarioForm);

    ExplainCommand::Options explained;
    CLI::App* explainVerb = addVerb(app, "explain", "what an event means, and what to do about it");
    explainVerb->add_option("EVENT", explained.event, "code, identifier or catalogue key");
    explainVerb->add_flag("--all", explained.all, "every event");
    explainVerb->add_flag("--json", explained.json, "one JSON object per event");

    addLanguageOption(watchVerb, watch.language);
    addLanguageOption(replayVerb, replay.language);
    addLanguageOption(playVerb, scenario.language);
    addLanguageOption(explainVerb, explained.language);

    const std::vector<std::unique_ptr<Verb>> verbs = allVerbs();
    std::vector<CLI::App*> declared;
    for (const auto& verb : verbs) {
        declared.push_back(addVerb(app, verb->name(), verb->purpose()));
        verb->declare(*declared.back());
        addColourFlag(declared.back(), noColour);
        declared.back()->add_option("--config", context.configFile, "configuration file");
    }

    for (CLI::App* verb :
         {watchVerb, replayVerb, captureVerb, listVerb, checkVerb, playVerb, explainVerb}) {
        addColourFlag(verb, noColour);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        context.out.write(app.help());
        return Failure::kDone;
    } catch (const CLI::CallForVersion& e) {
        context.out.line(e.what());
        return Failure::kDone;
    } catch (const CLI::ParseError& e) {
        throw Failure(Failure::kBadUse, explain(app, e, argc, argv));
    }
    if (noColour) context.style.colours = false;
    watch.form = watchForm.form();
    replay.form = replayForm.form();
    for (std::size_t i = 0; i < verbs.size(); ++i) {
        if (declared[i]->parsed()) return verbs[i]->run(context);
    }
    if (watchVerb->parsed()) return WatchCommand(watch).run(context);
    if (replayVerb->parsed()) return ReplayCommand(replay).run(context);
    if (captureVerb->parsed()) return CaptureCommand(capture).run(context);
    scenario.form = scenarioForm.form();
    if (checkVerb->parsed()) scenario.verb = ScenarioCommand::Verb::kCheck;
    if (playVerb->parsed()) scenario.verb = ScenarioCommand::Verb::kPlay;
    if (scenarioVerb->parsed()) return ScenarioCommand(scenario).run(context);
    if (explainVerb->parsed()) return ExplainCommand(explained).run(context);
    return ListCommand(list).run(context);
}
