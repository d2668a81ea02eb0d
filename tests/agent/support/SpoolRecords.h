// SpoolRecords: records to put into a spool, and what tests ask of what comes back.
//
//   Spool spool(dir.file("spool.db"));
//   spoolRecords::fill(spool, 3);
#ifndef TESTS_AGENT_SUPPORT_SPOOLRECORDS_H
#define TESTS_AGENT_SUPPORT_SPOOLRECORDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "agent/spool/Spool.h"

namespace spoolRecords {

inline Record eventRecord(int code, const std::string& object, std::int64_t at = 0) {
    Record record;
    record.at = at;
    record.object = object;
    record.objectName = "name of " + object;
    record.event = QELEvent(code, kEventError, "text " + std::to_string(code), "EVENT_ID");
    return record;
}

inline Record noticeRecord(std::int64_t incident, std::int64_t at = 0) {
    Record record;
    record.kind = Record::Kind::kNotice;
    record.at = at;
    record.object = "array:0:0";
    record.incident = incident;
    record.notice.kind = Notice::Kind::kWorse;
    record.notice.subject = "subject";
    record.notice.body = "line\n";
    record.notice.incident.id = incident;
    record.notice.incident.severity = kEventWarning;
    record.notice.incident.code = 305;
    return record;
}

inline std::int64_t commitOne(Spool& spool, const Record& record) {
    Spool::Batch batch;
    batch.records.push_back(record);
    return spool.commit(batch);
}

// Records 1 to `count`, code = sequence.
inline void fill(Spool& spool, int count) {
    Spool::Batch batch;
    for (int i = 1; i <= count; ++i) batch.records.push_back(eventRecord(i, "drive:A"));
    spool.commit(batch);
}

inline std::vector<std::int64_t> sequencesOf(const std::vector<Record>& records) {
    std::vector<std::int64_t> sequences;
    for (const Record& record : records) sequences.push_back(record.sequence);
    return sequences;
}

using Sequences = std::vector<std::int64_t>;

inline std::string errorOf(const std::string& file, Spool::Access access) {
    try {
        const Spool spool(file, access);
    } catch (const SpoolError& e) {
        return e.what();
    }
    return "";
}

}  // namespace spoolRecords

#endif  // TESTS_AGENT_SUPPORT_SPOOLRECORDS_H
