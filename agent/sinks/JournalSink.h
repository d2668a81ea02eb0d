// JournalSink: each record as an entry of the systemd journal, with fields to search for and a
// MESSAGE_ID that `journalctl -x` explains. Type "journal"; docs/formats/sinks.md has its fields.
//
//   journalctl -t raidwatch RAIDWATCH_OBJECT_NAME=md0
//
// Errors: Answers; the constructor throws Failure for wrong settings. Threads: as every sink.
#ifndef AGENT_SINKS_JOURNALSINK_H
#define AGENT_SINKS_JOURNALSINK_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/RecordWords.h"
#include "agent/sinks/Sink.h"

class JournalSink : public Sink {
public:
    explicit JournalSink(const SinkSettings& settings);

    bool wants(const Record& record) const override { return isChosen(records, record); }
    Answer deliver(const Record& record, const std::string& id) override;
    std::string problem() override;

    using Fields = std::vector<std::pair<std::string, std::string>>;
    // What an entry holds; fields without a value are left out.
    static Fields fields(const Record& record, const std::string& id);

private:
    RecordChoice records;
};

std::unique_ptr<Sink> makeJournalSink(const SinkSettings& settings);

#endif  // AGENT_SINKS_JOURNALSINK_H
