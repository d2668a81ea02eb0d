// RecordJson: a record for other programs: a CloudEvents 1.0 envelope around the event or the
// notice; docs/formats/record-json.md describes it.
//
//   file.line(recordJson(record, spool.idOf(record.sequence)));
//   {"specversion":"1.0","id":"<machine-id>:17","source":"urn:uuid:<machine-id>",
//    "type":"raidwatch.event",...}
//
// What recordObject() gives holds texts as they are; print it with jsonLine(), which replaces what
// is no UTF-8. Pure functions; any thread.
#ifndef AGENT_SPOOL_RECORDJSON_H
#define AGENT_SPOOL_RECORDJSON_H

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "agent/spool/Receipt.h"
#include "agent/spool/Record.h"

std::string recordJson(const Record& record, const std::string& id);  // one line, no line end
nlohmann::ordered_json recordObject(const Record& record, const std::string& id);

// Back again, for printing. Lenient: what is missing keeps its default.
Record recordFromObject(const nlohmann::ordered_json& object);

nlohmann::ordered_json receiptJson(const Receipt& receipt);
Receipt receiptFromJson(const nlohmann::ordered_json& json);

nlohmann::ordered_json sinkStatusJson(const SinkStatus& status);
SinkStatus sinkStatusFromJson(const nlohmann::ordered_json& json);

#endif  // AGENT_SPOOL_RECORDJSON_H
