// RecordWords: what several sinks say of a record, in the same words. All results are safe (see
// SafeText) and one line.
//
// Pure functions; any thread.
#ifndef AGENT_SINKS_RECORDWORDS_H
#define AGENT_SINKS_RECORDWORDS_H

#include <cstdint>
#include <string>

#include "agent/spool/Record.h"

// Which records a sink is for: the key `send`.
enum class RecordChoice {
    kNotices,  // "notices": what people should read
    kEvents,   // "events": everything that the engine raised, companions too
    kBoth,     // "both"
    kTold,     // "told": both, without companions and without percentages; they repeat
};

bool isChosen(RecordChoice choice, const Record& record);
RecordChoice recordChoice(const std::string& word);  // of one of the four words

// The subject of a notice, the text of an event.
std::string messageOf(const Record& record);
// Of the drive that the event is about, else of its controller; "" when neither is known.
std::string serialOf(const Record& record);
int codeOf(const Record& record);  // 0 for none
std::string eventIdOf(const Record& record);
// "error", "warning", "info", "task", "progress", ...
std::string severityOf(const Record& record);
// When it happened, seconds since 1970-01-01 UTC.
std::int64_t timeOf(const Record& record);
// As syslog counts: 3 error, 4 warning, 5 notice, 6 informational, 7 debug.
int priorityOf(const Record& record);

#endif  // AGENT_SINKS_RECORDWORDS_H
