#include "agent/commands/RecordPrinter.h"

#include <ctime>
#include <string>

#include <nlohmann/json.hpp>

#include "agent/EventJson.h"
#include "agent/Output.h"
#include "agent/spool/RecordJson.h"

namespace {

constexpr int kUnknownVendor = 406;

const char* markOf(Origin origin) {
    switch (origin) {
        case Origin::kTest:
            return "TEST: ";
        case Origin::kDrill:
            return "DRILL: ";
        case Origin::kAtStart:
            return "(found at start) ";
        case Origin::kLive:
            break;
    }
    return "";
}

// A notice stands in the same columns as an event.
QELEvent eventFor(const Record& record) {
    if (record.kind == Record::Kind::kEvent) return record.event;
    QELEvent line(QELEvent::kNotSet, record.severity(), "Notice: " + record.notice.subject, "");
    line.timeStamp = static_cast<std::time_t>(record.at / 1000);
    return line;
}

}  // namespace

void RecordPrinter::print(const nlohmann::ordered_json& record) {
    if (form == Form::kJson) {
        context.out.line(jsonLine(record));
        ++printed;
        return;
    }
    const Record read = recordFromObject(record);
    QELEvent event = eventFor(read);
    if (event.eventCode == kUnknownVendor && form == Form::kText) {
        ++muted;
        return;
    }
    if (read.kind == Record::Kind::kEvent) event.text.insert(0, markOf(read.origin));
    context.out.write(text.lines(event));
    ++printed;
}

void RecordPrinter::tellMuted() const {
    if (muted == 0) return;
    context.note(std::to_string(muted) + (muted == 1 ? " event" : " events") +
                 " of code 406 (drive of an unknown vendor) not shown; --all shows them");
}
