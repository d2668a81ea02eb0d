#include "agent/commands/ExplainVerb.h"

#include <vector>

#include "agent/EventNames.h"
#include "agent/EventReference.h"
#include "agent/Failure.h"
#include "agent/Languages.h"
#include "agent/Output.h"
#include "agent/SafeText.h"
#include "agent/commands/CommonFlags.h"

namespace {

constexpr std::size_t kLabelWidth = 12;

// "What to do  Replace the drive ...", further lines below the first.
std::string paragraph(const std::string& label, const std::string& text, std::size_t columns) {
    const std::size_t width = columns > kLabelWidth + 20 ? columns - kLabelWidth : 0;
    std::string lines;
    std::string lead = label + std::string(kLabelWidth - label.size(), ' ');
    for (const std::string& line : wrapText(safeText(text), width)) {
        lines += lead + line + "\n";
        lead.assign(kLabelWidth, ' ');
    }
    return lines;
}

std::string asText(const EventReference::Entry& entry, std::size_t columns) {
    const std::string severity =
        std::to_string(entry.severity) + " (" + severityWord(entry.severity) + ")";
    std::string text = paragraph(
        "Event", std::to_string(entry.code) + (entry.eventId.empty() ? "" : "  " + entry.eventId),
        columns);
    text += paragraph("Severity", severity, columns);
    if (!entry.key.empty()) text += paragraph("Key", entry.key, columns);
    text += paragraph("Text", entry.text, columns);
    text += paragraph("When", entry.when, columns);
    text += paragraph("Meaning", entry.meaning, columns);
    text += paragraph("Cause", entry.cause, columns);
    text += paragraph("Risk", entry.risk, columns);
    text += paragraph("What to do", entry.action, columns);
    return text;
}

}  // namespace

void ExplainVerb::declare(Flags& flags) {
    flags.option("EVENT", options.event, "code, identifier or catalogue key");
    flags.flag("--all", options.all, "every event");
    flags.flag("--json", options.json, "one JSON object per event");
    addLanguageOption(flags, options.language);
}

int ExplainVerb::run(const Context& context) {
    if (options.all != options.event.empty()) {
        throw Failure(Failure::kBadUse,
                      "name one event (a code, an identifier or a catalogue key), "
                      "or use --all; see raidwatch explain --help");
    }
    const EventReference reference(Languages::catalogue(options.language));
    std::vector<const EventReference::Entry*> wanted;
    if (options.all) {
        for (const EventReference::Entry& entry : reference.all()) wanted.push_back(&entry);
    } else {
        wanted = reference.find(options.event);
    }
    if (wanted.empty()) {
        throw Failure(Failure::kBadUse, "no event is called " + options.event +
                                            "; raidwatch explain --all lists every event");
    }
    bool first = true;
    for (const EventReference::Entry* entry : wanted) {
        if (options.json) {
            context.out.line(EventReference::json(*entry));
            continue;
        }
        context.out.write((first ? "" : "\n") + asText(*entry, context.style.columns));
        first = false;
    }
    return Failure::kDone;
}
