#include "agent/commands/Flags.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

#include <CLI/CLI.hpp>

#include "agent/SafeText.h"

namespace {

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 failed, 2 bad use (wrong flags, a faulty configuration, a path or a "
    "source that cannot be used).";

// What the help calls the value of a flag.
struct ValueWord {
    const char* flag;
    const char* word;
};

// clang-format off
constexpr ValueWord kValueWords[] = {
    {"--ca",            "FILE"},
    {"--cert",          "FILE"},
    {"--code",          "CODE"},
    {"--config",        "FILE"},
    {"--creds",         "FILE"},
    {"--failures",      "N"},
    {"--for",           "DURATION"},
    {"--key",           "FILE"},
    {"--lang",          "LANGUAGE"},
    {"--limit",         "N"},
    {"--logs",          "DIR"},
    {"--machine",       "NAME"},
    {"--name",          "NAME"},
    {"--nkey",          "KEY"},
    {"--nkey-seed",     "FILE"},
    {"--object",        "OBJECT"},
    {"--pace",          "NUMBER"},
    {"--password-file", "FILE"},
    {"--root",          "DIR"},
    {"--server",        "URL"},
    {"--severity",      "SEVERITY"},
    {"--silent-after",  "DURATION"},
    {"--since",         "TIME"},
    {"--sink",          "NAME"},
    {"--source",        "SOURCE"},
    {"--stale-after",   "DURATION"},
    {"--state",         "DIR"},
    {"--stream",        "NAME"},
    {"--subject",       "NAME"},
    {"--token-file",    "FILE"},
    {"--until",         "TIME"},
    {"--user",          "NAME"},
    {"--wait",          "SECONDS"},
    {"--within",        "DURATION"},
};
// clang-format on

// A place has its name only.
std::string valueWord(const std::string& name) {
    if (name[0] != '-') return "";
    for (const ValueWord& row : kValueWords) {
        if (name == row.flag) return row.word;
    }
    return "TEXT";
}

std::string quoted(const std::string& value) { return "\"" + safeText(value) + "\""; }

template <class Number>
std::string mustBeNumber(const std::string& value) {
    Number number{};
    if (CLI::detail::lexical_cast(value, number)) return "";
    return quoted(value) + (std::is_integral_v<Number> ? " is no whole number" : " is no number");
}

template <class Value>
CLI::Option* addOption(CLI::App& app, const std::string& name, Value& value,
                       const std::string& help) {
    return app.add_option(name, value, help)->type_name(valueWord(name));
}

// "0.5", "3600"
std::string shortNumber(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

std::string listed(const std::vector<std::string>& words) {
    std::string list;
    for (const std::string& word : words) list += (list.empty() ? "" : ", ") + word;
    return list;
}

}  // namespace

Flags::Flags(CLI::App& appIN, const Common& commonIN) : app(&appIN), common(commonIN) {
    app->footer(kExitCodes);
    app->add_flag("--no-color", common.noColour,
                  "no colours (as with NO_COLOR in the environment)");
    addOption(*app, "--config", common.configFile,
              "configuration file (default: /etc/raidwatch/raidwatch.toml)");
}

Flags::Option& Flags::Option::required() {
    option->required();
    return *this;
}

Flags::Option& Flags::Option::showDefault() {
    option->capture_default_str();
    return *this;
}

Flags::Option& Flags::Option::between(double lowest, double highest) {
    const std::string range = shortNumber(lowest) + " to " + shortNumber(highest);
    option->check([=](const std::string& value) -> std::string {
        double number = 0;
        const bool fits =
            CLI::detail::lexical_cast(value, number) && number >= lowest && number <= highest;
        return fits ? "" : quoted(value) + " does not fit; give a number, " + range;
    });
    option->description(option->get_description() + ", " + range);
    return *this;
}

Flags::Option& Flags::Option::among(const std::vector<std::string>& values) {
    option->check([=](const std::string& value) -> std::string {
        if (std::find(values.begin(), values.end(), value) != values.end()) return "";
        return quoted(value) + " is none of " + listed(values);
    });
    return *this;
}

Flags::Option& Flags::Option::check(std::string (*test)(const std::string& value)) {
    option->check(test);
    return *this;
}

bool Flags::Option::given() const { return option->count() > 0; }

Flags::Option Flags::option(const std::string& name, std::string& value, const std::string& help) {
    return Option(addOption(*app, name, value, help));
}

Flags::Option Flags::option(const std::string& name, int& value, const std::string& help) {
    return Option(addOption(*app, name, value, help)->check(mustBeNumber<int>));
}

Flags::Option Flags::option(const std::string& name, std::int64_t& value, const std::string& help) {
    return Option(addOption(*app, name, value, help)->check(mustBeNumber<std::int64_t>));
}

Flags::Option Flags::option(const std::string& name, double& value, const std::string& help) {
    return Option(addOption(*app, name, value, help)->check(mustBeNumber<double>));
}

Flags::Option Flags::option(const std::string& name, std::vector<std::string>& value,
                            const std::string& help) {
    return Option(addOption(*app, name, value, help)->delimiter(','));
}

Flags::Option Flags::option(const std::string& name, std::vector<int>& value,
                            const std::string& help) {
    return Option(addOption(*app, name, value, help)->delimiter(',')->check(mustBeNumber<int>));
}

Flags::Option Flags::words(const std::string& name, std::vector<std::string>& value,
                           const std::string& help) {
    return Option(addOption(*app, name, value, help));
}

void Flags::exitCodes(const std::string& text) { app->footer(text); }

Flags::Option Flags::flag(const std::string& name, bool& value, const std::string& help) {
    return Option(app->add_flag(name, value, help));
}

Flags Flags::verb(const std::string& name, const std::string& purpose, std::string& chosen) {
    app->require_subcommand(1);
    CLI::App* const verb = app->add_subcommand(name, purpose)->group("Commands");
    verb->callback([&chosen, name] { chosen = name; });
    return Flags(*verb, common);
}

bool Flags::given() const { return app->parsed(); }
