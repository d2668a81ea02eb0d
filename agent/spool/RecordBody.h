// RecordBody: what a record holds besides the columns of the spool, as JSON text: every field of an
// event, or a notice with its incident. Nothing is rounded and no byte is lost; the form for other
// programs is RecordJson.
//
// Pure functions; any thread.
#ifndef AGENT_SPOOL_RECORDBODY_H
#define AGENT_SPOOL_RECORDBODY_H

#include <string>

#include "agent/spool/Record.h"

std::string recordBody(const Record& record);

// Fills the event or the notice, as `record.kind` says. False when `body` is damaged.
bool readRecordBody(const std::string& body, Record& record);

#endif  // AGENT_SPOOL_RECORDBODY_H
