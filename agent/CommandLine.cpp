#include "agent/CommandLine.h"

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "agent/Failure.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/commands/Flags.h"
#include "agent/commands/Verb.h"
#include "agent/settings/Spelling.h"

namespace {

constexpr std::size_t kHelpWidth = 80;
constexpr std::size_t kHelpIndent = 30;  // of the parser: where the meaning of an option begins

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

std::vector<std::string> namesOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(verb->get_name());
    }
    return names;
}

// "scenario needs one of its commands: check, play"
std::string needsVerb(const CLI::App& app) {
    const CLI::App* const verb = app.get_subcommands().front();
    std::string words;
    for (const std::string& name : namesOf(*verb)) words += (words.empty() ? " " : ", ") + name;
    return verb->get_name() + " needs one of its commands:" + words;
}

// Words of the parser, and ours for them.
struct Saying {
    const char* theirs;
    const char* ours;
};

constexpr Saying kSayings[] = {
    {"The following argument was not expected: ", "unexpected: "},
    {"The following arguments were not expected: ", "unexpected: "},
};

std::string plainWords(const std::string& line) {
    for (const Saying& row : kSayings) {
        const std::string theirs = row.theirs;
        if (line.compare(0, theirs.size(), theirs) == 0) {
            return row.ours + line.substr(theirs.size());
        }
    }
    return line;
}

// Of the help: what an option means goes on below its beginning.
std::string wrapped(const std::string& help) {
    std::istringstream lines(help);
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        if (line.size() <= kHelpWidth) {
            text += line + "\n";
            continue;
        }
        const std::size_t margin = line.compare(0, 2, "  ") == 0 ? kHelpIndent : 0;
        std::string lead = line.substr(0, margin);
        for (const std::string& part : wrapText(line.substr(margin), kHelpWidth - margin)) {
            text += lead + part + "\n";
            lead.assign(margin, ' ');
        }
    }
    return text;
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

// Behind the flags that all verbs have, and their values; "" when nothing else stands there.
std::string firstUnknown(const CLI::App& app, int argc, const char* const* argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const std::size_t equals = word.find('=');
        const CLI::Option* const known = app.get_option_no_throw(word.substr(0, equals));
        if (known == nullptr) return word;
        if (equals == std::string::npos) i += known->get_items_expected_max();
    }
    return "";
}

// The parser calls an unknown verb a missing one.
std::string explain(const CLI::App& app, const CLI::ParseError& error, int argc,
                    const char* const* argv) {
    if (app.get_subcommands().empty()) {
        const std::string word = firstUnknown(app, argc, argv);
        if (word.empty()) return "no command" + helpHint(app);
        if (word[0] == '-') return "unknown flag or no command: " + word + helpHint(app);
        return "unknown command " + word + suggestion(word, namesOf(app), helpHint(app));
    }
    if (lacksVerb(app)) return needsVerb(app) + helpHint(app);
    return plainWords(firstLine(error.what())) + helpHint(app);
}

}  // namespace

int CommandLine::run(int argc, const char* const* argv) {
    CLI::App app(kAbout, "raidwatch");
    app.set_version_flag("--version", std::string("raidwatch ") + version, "print the version");
    app.require_subcommand(1);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    const char* const noColourWord = std::getenv("NO_COLOR");
    bool noColour = noColourWord != nullptr && *noColourWord != 0;
    const Flags::Common common{noColour, context.configFile};
    (void)Flags(app, common);

    const std::vector<std::unique_ptr<Verb>> verbs = allVerbs();
    std::vector<Flags> declared;
    for (const auto& verb : verbs) {
        declared.emplace_back(*app.add_subcommand(verb->name(), verb->purpose())->group("Commands"),
                              common);
        verb->declare(declared.back());
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        context.out.write(wrapped(app.help()));
        return Failure::kDone;
    } catch (const CLI::CallForVersion& e) {
        context.out.line(e.what());
        return Failure::kDone;
    } catch (const CLI::ParseError& e) {
        const std::string why = explain(app, e, argc, argv);
        const auto given = app.get_subcommands();
        for (const auto& verb : verbs) {
            if (!given.empty() && given.front()->get_name() == verb->name()) {
                return verb->misused(context, why);
            }
        }
        throw Failure(Failure::kBadUse, why);
    }
    if (noColour) context.style.colours = false;
    for (std::size_t i = 0; i < verbs.size(); ++i) {
        if (declared[i].given()) return verbs[i]->run(context);
    }
    throw Failure(Failure::kBadUse, "no command" + helpHint(app));
}
