// Flags: what a verb says about its own flags. The library that reads the command line stays behind
// it, in one file: it takes seconds to compile.
//
//   void AckVerb::declare(Flags& flags) {
//       flags.option("ID", id, "number of the incident").required();
//       flags.option("--comment", comment, "why, for the others");
//       flags.flag("--json", json, "one JSON document");
//   }
//
// Values are references and outlive the parsing. Names that begin with "-" are flags, others are
// places. --help, --no-color and --config come by themselves. What the help calls a value ("TIME")
// goes by the name of the flag, so that it is the same word for every verb.
#ifndef AGENT_COMMANDS_FLAGS_H
#define AGENT_COMMANDS_FLAGS_H

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

class Flags {
public:
    // What every verb has; borrowed.
    struct Common {
        bool& noColour;
        std::string& configFile;
    };

    class Option {
    public:
        explicit Option(CLI::Option* optionIN) : option(optionIN) {}
        Option& required();
        Option& showDefault();                           // in the help
        Option& between(double lowest, double highest);  // said in the help, too
        Option& among(const std::vector<std::string>& values);
        // Returns "" for a value that is in order, else what is wrong with it.
        Option& check(std::string (*test)(const std::string& value));
        bool given() const;

    private:
        CLI::Option* option;
    };

    Flags(CLI::App& appIN, const Common& commonIN);

    Option option(const std::string& name, std::string& value, const std::string& help);
    Option option(const std::string& name, int& value, const std::string& help);
    Option option(const std::string& name, std::int64_t& value, const std::string& help);
    Option option(const std::string& name, double& value, const std::string& help);
    // May be given several times, or with commas.
    Option option(const std::string& name, std::vector<std::string>& value,
                  const std::string& help);
    Option option(const std::string& name, std::vector<int>& value, const std::string& help);
    // Words with spaces between, which need no quotes then.
    Option words(const std::string& name, std::vector<std::string>& value, const std::string& help);
    Option flag(const std::string& name, bool& value, const std::string& help);

    // What the help says of the exit codes, for a verb whose own differ from the usual ones.
    void exitCodes(const std::string& text);

    // A verb below this one, as in "scenario play"; one of them must be given then. `chosen` gets
    // its name when it is.
    Flags verb(const std::string& name, const std::string& purpose, std::string& chosen);
    bool given() const;  // this verb was asked for; after the parsing

private:
    CLI::App* app;
    Common common;
};

#endif  // AGENT_COMMANDS_FLAGS_H
