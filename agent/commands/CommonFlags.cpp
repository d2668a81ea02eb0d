#include "agent/commands/CommonFlags.h"

#include "storlib/sources/SourceRegistry.h"

EventPrinter::Form FormFlags::form() const {
    if (json) return EventPrinter::Form::kJson;
    return all ? EventPrinter::Form::kTextAll : EventPrinter::Form::kText;
}

void addFormFlags(Flags& flags, FormFlags& form) {
    flags.flag("--json", form.json, "one JSON object per line, everything included");
    flags.flag("--all", form.all, "show events of code 406 (drive of an unknown vendor) too");
}

void addLanguageOption(Flags& flags, std::string& language) {
    flags.option("--lang", language,
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
