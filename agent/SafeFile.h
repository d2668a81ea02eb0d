// SafeFile: small files that must be whole after a power cut.
//
//   writeSafely(folder + "/state.json", text);      // temporary file, fsync, rename, fsync
//
// A reader finds the old contents or the new ones, never a part. A symbolic link at the name is
// replaced, never followed; the same holds for reading: a link is refused.
//
// Errors   std::system_error with the name of the file; the old file is untouched and no temporary
//          file stays. Any thread.
#ifndef AGENT_SAFEFILE_H
#define AGENT_SAFEFILE_H

#include <string>

enum class SafeWrite {
    kReplace,
    kKeepExisting,  // when somebody else made the file meanwhile, his stays
};

void writeSafely(const std::string& file, const std::string& text,
                 SafeWrite how = SafeWrite::kReplace, unsigned mode = 0644);

// False when there is no such regular file, or it cannot be read; errno tells why.
bool readSafely(const std::string& file, std::string& text);

#endif  // AGENT_SAFEFILE_H
