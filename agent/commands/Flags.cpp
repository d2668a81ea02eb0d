#include "agent/commands/Flags.h"

#include <CLI/CLI.hpp>

namespace {

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 failed, 2 bad use (wrong flags, a path or a source that cannot be "
    "used).";

}  // namespace

Flags::Flags(CLI::App& appIN, const Common& commonIN) : app(&appIN), common(commonIN) {
    app->footer(kExitCodes);
    app->add_flag("--no-color", common.noColour,
                  "no colours (as with NO_COLOR in the environment)");
    app->add_option("--config", common.configFile,
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
    option->check(CLI::Range(lowest, highest));
    return *this;
}

Flags::Option& Flags::Option::among(const std::vector<std::string>& values) {
    option->check(CLI::IsMember(values));
    return *this;
}

Flags::Option& Flags::Option::check(std::string (*test)(const std::string& value)) {
    option->check(test);
    return *this;
}

bool Flags::Option::given() const { return option->count() > 0; }

Flags::Option Flags::option(const std::string& name, std::string& value, const std::string& help) {
    return Option(app->add_option(name, value, help));
}

Flags::Option Flags::option(const std::string& name, int& value, const std::string& help) {
    return Option(app->add_option(name, value, help));
}

Flags::Option Flags::option(const std::string& name, std::int64_t& value, const std::string& help) {
    return Option(app->add_option(name, value, help));
}

Flags::Option Flags::option(const std::string& name, double& value, const std::string& help) {
    return Option(app->add_option(name, value, help));
}

Flags::Option Flags::option(const std::string& name, std::vector<std::string>& value,
                            const std::string& help) {
    return Option(app->add_option(name, value, help)->delimiter(','));
}

Flags::Option Flags::option(const std::string& name, std::vector<int>& value,
                            const std::string& help) {
    return Option(app->add_option(name, value, help)->delimiter(','));
}

Flags::Option Flags::words(const std::string& name, std::vector<std::string>& value,
                           const std::string& help) {
    return Option(app->add_option(name, value, help));
}

void Flags::exitCodes(const std::string& text) { app->footer(text); }

Flags::Option Flags::flag(const std::string& name, bool& value, const std::string& help) {
    return Option(app->add_flag(name, value, help));
}

Flags Flags::verb(const std::string& name, const std::string& purpose, std::string& chosen) {
    app->require_subcommand(1);
    CLI::App* const verb = app->add_subcommand(name, purpose);
    verb->callback([&chosen, name] { chosen = name; });
    return Flags(*verb, common);
}

bool Flags::given() const { return app->parsed(); }
