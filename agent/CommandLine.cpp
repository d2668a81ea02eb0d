#include "agent/CommandLine.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/commands/Flags.h"
#include "agent/commands/Verb.h"

namespace {

constexpr char kAbout[] = "raidwatch - watches RAID storage and tells what changed";

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
    app.require_subcommand(1);
    const char* const noColourWord = std::getenv("NO_COLOR");
    bool noColour = noColourWord != nullptr && *noColourWord != 0;
    const Flags::Common common{noColour, context.configFile};
    (void)Flags(app, common);

    const std::vector<std::unique_ptr<Verb>> verbs = allVerbs();
    std::vector<Flags> declared;
    for (const auto& verb : verbs) {
        declared.emplace_back(*app.add_subcommand(verb->name(), verb->purpose()), common);
        verb->declare(declared.back());
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
    for (std::size_t i = 0; i < verbs.size(); ++i) {
        if (declared[i].given()) return verbs[i]->run(context);
    }
    throw Failure(Failure::kBadUse, "no command" + helpHint(app));
}
