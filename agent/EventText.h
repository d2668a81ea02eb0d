// EventText: an event as people read it on a terminal:
//
//   2026-11-21 05:30:12  ERROR     401  drive 1:0:3      Drive failed: adapter 1, ...
//
// Time is local. A text too long for the line goes on below its own beginning. With colours the
// severity word is coloured and the generic companions (299, 399, 499) are dimmed. Every text is
// made safe first (SafeText), whatever a device says.
//
//   const EventText form({columns, colours});
//   out.write(form.lines(event));
//
// Pure; any thread.
#ifndef AGENT_EVENTTEXT_H
#define AGENT_EVENTTEXT_H

#include <cstddef>
#include <string>

#include "events/QELEvent.h"

class EventText {
public:
    struct Style {
        std::size_t columns = 0;  // 0: no limit, nothing is wrapped
        bool colours = false;

        // Of texts that are wrapped wherever they go.
        std::size_t pageWidth() const { return columns == 0 ? 80 : columns; }
    };

    explicit EventText(const Style& styleIN) : style(styleIN) {}

    // One event, each line with its line end.
    std::string lines(const QELEvent& event) const;
    // What stands above the events of one step of a recording.
    std::string stepHeader(const std::string& step) const;

private:
    std::string coloured(const char* colour, const std::string& text) const;

    Style style;
};

#endif  // AGENT_EVENTTEXT_H
