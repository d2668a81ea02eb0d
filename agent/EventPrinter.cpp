#include "agent/EventPrinter.h"

#include "agent/EventJson.h"
#include "agent/Output.h"

namespace {

constexpr int kUnsupportedDrive = 406;

}  // namespace

void EventPrinter::print(const std::vector<QELEvent>& events) {
    if (form != Form::kJson) {
        printText(events);
        return;
    }
    for (const QELEvent& event : events) out.line(eventJson(event));
}

void EventPrinter::printStep(const std::string& step, const std::vector<QELEvent>& events) {
    if (form != Form::kJson) {
        out.write(text.stepHeader(step));
        printText(events);
        return;
    }
    for (const QELEvent& event : events) out.line(eventJson(event, step));
}

void EventPrinter::printText(const std::vector<QELEvent>& events) {
    for (const QELEvent& event : events) {
        if (form == Form::kText && event.eventCode == kUnsupportedDrive) {
            ++muted;
        } else {
            out.write(text.lines(event));
        }
    }
}

std::string EventPrinter::mutedSummary() const {
    if (muted == 0) return "";
    return std::to_string(muted) + (muted == 1 ? " event" : " events") +
           " 406 (drive of an unknown vendor) not shown; --all shows everything";
}
