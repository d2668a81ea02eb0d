// EngineFile: the files beside the library as the engine first looks at them. Nothing here waits,
// also when a pipe lies in a file's place that nobody serves.
//
//   if (!EngineFile::canBeOpened(catalogue)) EngineFile::createEmpty(catalogue);
//
// Threads  Any. Errors: createEmpty() reports none; where there can be no file there simply is
// none.
#ifndef MONITOR_ENGINEFILE_H
#define MONITOR_ENGINEFILE_H

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace EngineFile {

inline bool canBeOpened(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor != -1) (void)close(descriptor);
    return descriptor != -1;
}

// What is there keeps its contents.
inline void createEmpty(const std::string& path) {
    constexpr int kMode = 0666;
    const int descriptor =
        open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, kMode);
    if (descriptor != -1) (void)close(descriptor);
}

}  // namespace EngineFile

#endif  // MONITOR_ENGINEFILE_H
