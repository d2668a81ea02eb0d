// SyslogSink: each record as one line for the machine's syslog service, sent to its socket in the
// form that local programs use: "<27>Nov 21 05:30:12 raidwatch[411]: text". Type "syslog";
// docs/formats/sinks.md has its keys.
//
// It speaks to the socket itself, because the C library's syslog() does not tell whether anybody
// took the line. Times are local, as everywhere in syslog.
// Errors: Answers; the constructor throws Failure for wrong settings. Threads: as every sink.
#ifndef AGENT_SINKS_SYSLOGSINK_H
#define AGENT_SINKS_SYSLOGSINK_H

#include <cstdint>
#include <memory>
#include <string>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/RecordWords.h"
#include "agent/sinks/Sink.h"

class SyslogSink : public Sink {
public:
    explicit SyslogSink(const SinkSettings& settings);

    bool wants(const Record& record) const override { return isChosen(records, record); }
    Answer deliver(const Record& record, const std::string& id) override;
    std::string problem() override;

    // The whole datagram for a record.
    std::string line(const Record& record, const std::string& id) const;

private:
    std::string path;
    std::string tag;
    int facility;
    std::int64_t timeout;  // seconds
    RecordChoice records;
};

std::unique_ptr<Sink> makeSyslogSink(const SinkSettings& settings);

#endif  // AGENT_SINKS_SYSLOGSINK_H
