// EventPrinter: events as they come, in the form that was asked for.
//
// As text, "unsupported drive" (406) is left out unless everything is asked for: the engine knows
// three vendors, and on a machine with other drives it says so of every one of them. The events
// left out are counted, so that a command can say how many. As JSON everything is printed.
//
// Ownership: the output is borrowed. Threads: one at a time. Errors: those of Output.
#ifndef AGENT_EVENTPRINTER_H
#define AGENT_EVENTPRINTER_H

#include <string>
#include <vector>

#include "agent/EventText.h"
#include "events/QELEvent.h"

class Output;

class EventPrinter {
public:
    enum class Form { kText, kTextAll, kJson };

    EventPrinter(Output& outIN, Form formIN, const EventText::Style& style)
        : out(outIN), form(formIN), text(style) {}

    void print(const std::vector<QELEvent>& events);
    // The same for what one step of a recording showed; text gets a header line, JSON a member.
    void printStep(const std::string& step, const std::vector<QELEvent>& events);

    int mutedCount() const { return muted; }
    // "12 events 406 (...) not shown; --all shows them", or "" when none were left out.
    std::string mutedSummary() const;

private:
    void printText(const std::vector<QELEvent>& events);

    Output& out;
    Form form;
    EventText text;
    int muted = 0;
};

#endif  // AGENT_EVENTPRINTER_H
