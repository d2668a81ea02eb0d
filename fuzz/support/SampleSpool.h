// A spool with something of everything in it.
//
//   Spool spool(folder + "/spool.db");
//   fillSample(spool);
#ifndef FUZZ_SUPPORT_SAMPLESPOOL_H
#define FUZZ_SUPPORT_SAMPLESPOOL_H

#include <string>

#include "agent/spool/Spool.h"

inline Record sampleRecord(int number) {
    Record record;
    record.at = 1763700000000 + number;
    record.object = "drive:S" + std::to_string(number % 5);
    record.objectName = "drive 0:0:" + std::to_string(number % 5);
    record.event = QELEvent(401 + number % 4, 1 + number % 3, "Drive failed.", "DRIVE_FAILED");
    if (number % 4 != 0) return record;
    record.kind = Record::Kind::kNotice;
    record.incident = 1 + number % 3;
    record.notice.kind = Notice::Kind::kWorse;
    record.notice.subject = "md0 is degraded";
    record.notice.body = "One more failure loses data.\n";
    record.notice.incident.id = record.incident;
    return record;
}

inline Incident sampleIncident(int number) {
    Incident incident;
    incident.id = number;
    incident.object = "array:md:0";
    incident.objectName = "md0";
    incident.condition = "redundancy";
    incident.value = "degraded";
    incident.severity = 1;
    incident.open = number != 2;
    incident.openedAt = 1763700000;
    incident.resolvedAt = incident.open ? 0 : 1763700060;
    incident.text = "The array has lost a drive.";
    return incident;
}

inline void fillSample(Spool& spool) {
    spool.beginWatch(1763700000);
    (void)spool.cursor("journal");
    (void)spool.cursor("mail");
    Spool::Batch batch;
    for (int i = 1; i <= 24; ++i) batch.records.push_back(sampleRecord(i));
    for (int i = 1; i <= 3; ++i) batch.incidents.push_back(sampleIncident(i));
    batch.polledAt = 1763700100;
    batch.snapshot = "<System/>\n";
    batch.snapshotMark = 20;
    spool.commit(batch);
    Receipt receipt;
    receipt.sink = "mail";
    receipt.at = 1763700200000;
    receipt.answer = "250 2.0.0 Ok";
    for (int i = 1; i <= 5; ++i) spool.deliver("mail", i, receipt);
    receipt.outcome = Receipt::Outcome::kFailed;
    receipt.tries = 2;
    spool.failed("mail", 6, receipt);
    Silence silence;
    silence.object = "array:md:0";
    silence.from = 1763700000;
    silence.until = 1763800000;
    silence.by = "ann";
    (void)spool.addSilence(silence);
    spool.endWatch(1763700300);
    spool.beginWatch(1763700400);
}

#endif  // FUZZ_SUPPORT_SAMPLESPOOL_H
