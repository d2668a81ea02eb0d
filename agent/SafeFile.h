// SafeFile: small files that must be whole after a power cut.
//
//   writeSafely(folder + "/state.json", text);      // temporary file, fsync, rename, fsync
//
// A reader finds the old contents or the new ones, never a part. A symbolic link at the name is
// replaced, never followed; the same holds for reading: a link is refused.
//
// What is damaged is never deleted; it gets another name:
//
//   std::rename(file.c_str(), asideName(file).c_str());     // spool.db.damaged-20261121-053012
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

// Of a Unix socket that was just made. What stands at the name and is none, as a link that somebody
// has put there meanwhile, is left as it is. False with errno.
bool setSocketMode(const std::string& file, unsigned mode);

// A name beside the file that nothing has: with ".damaged-" and the time in UTC, and -2, -3, ...
// behind it when that is taken.
std::string asideName(const std::string& file);

#endif  // AGENT_SAFEFILE_H
