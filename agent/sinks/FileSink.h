// FileSink: each record as one line of JSON at the end of a file, safe on disk before it counts as
// delivered. Type "file"; docs/formats/sinks.md has its keys and what it does with the file.
//
//   path = "/var/log/raidwatch/events.jsonl"
//   max_size = "10M"    # then events.jsonl becomes events.jsonl.1, and so on
//   keep = 5            # of the renamed ones
//
// Several processes must not share one file. Somebody else may rename it at any time.
// Errors: Answers; the constructor throws Failure for wrong settings. Threads: as every sink.
#ifndef AGENT_SINKS_FILESINK_H
#define AGENT_SINKS_FILESINK_H

#include <cstdint>
#include <memory>
#include <string>

#include "agent/settings/AgentSettings.h"
#include "agent/sinks/RecordWords.h"
#include "agent/sinks/Sink.h"

class FileSink : public Sink {
public:
    explicit FileSink(const SinkSettings& settings);
    ~FileSink() override;

    bool wants(const Record& record) const override { return isChosen(records, record); }
    Answer deliver(const Record& record, const std::string& id) override;
    std::string problem() override;

private:
    std::string append(const std::string& line);
    std::string prepare();  // "" when the file is open and is the one at the path
    std::string open();
    std::string rotate();
    bool isStillThere() const;
    bool endsMidLine() const;
    void close();
    std::string failure(const std::string& doing) const;  // with errno

    std::string path;
    std::string folder;
    std::string name;  // within the folder
    std::int64_t maxSize;
    int keep;
    RecordChoice records;

    std::string rotateTrouble;  // why the file could not be renamed, the last time it was due
    int folderFd = -1;
    int fd = -1;
};

std::unique_ptr<Sink> makeFileSink(const SinkSettings& settings);

#endif  // AGENT_SINKS_FILESINK_H
