// NoticeText: subject and body of what people are told of an incident: what happened, which drive
// it is, how much redundancy is left, what to do.
//
//   const NoticeText text;
//   text.write(notice, state, drives, now);     // fills notice.subject and notice.body
//
//   DEGRADED md0 on stor7: survives 1 more drive failure
//   RESOLVED md0 on stor7: normal again after 3 h 12 min
//   DRILL OFFLINE md0 on stor7: its data cannot be reached
//
// Texts are English and safe to show (SafeText); the subject is one line of at most
// kSubjectColumns columns, the body has lines of at most kBodyColumns. Times are UTC.
//
// Threads  Any, once constructed. Errors: the constructor as EventReference.
#ifndef AGENT_INCIDENTS_NOTICETEXT_H
#define AGENT_INCIDENTS_NOTICETEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "agent/EventReference.h"
#include "agent/incidents/Notice.h"
#include "agent/state/MachineState.h"

class NoticeText {
public:
    static constexpr std::size_t kSubjectColumns = 150;
    static constexpr std::size_t kBodyColumns = 78;

    NoticeText() : reference("") {}

    // `drives` are those that the incident is about, as last seen.
    void write(Notice& notice, const MachineState& state, const std::vector<DriveState>& drives,
               std::int64_t now) const;

    // "md0", "fan 2 of enclosure 1:0:9"; raw.
    static std::string subjectOf(const Incident& incident);

private:
    std::string body(const Notice& notice, const MachineState& state,
                     const std::vector<DriveState>& drives, std::int64_t now) const;
    std::string advice(const Incident& incident) const;

    EventReference reference;
};

#endif  // AGENT_INCIDENTS_NOTICETEXT_H
