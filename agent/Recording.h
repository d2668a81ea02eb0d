// Recording: a folder of recorded steps as a source can replay it. Steps are folders, or archives
// NN-name.tar.xz, which are unpacked into a temporary folder that lives as long as this object.
//
//   Recording recording(path, [&] { return stop.requested(); });
//   ReplaySource::open(recording.path(), error);
//
// Errors: Failure, with bad use for a path that holds no recording.
#ifndef AGENT_RECORDING_H
#define AGENT_RECORDING_H

#include <functional>
#include <memory>
#include <string>

#include "agent/TempFolder.h"

class Recording {
public:
    explicit Recording(const std::string& path, const std::function<bool()>& interrupted = nullptr);

    const std::string& path() const { return folder; }  // one folder per step below it

private:
    std::unique_ptr<TempFolder> unpacked;
    std::string folder;
};

#endif  // AGENT_RECORDING_H
