// libraryFolder: the folder that holds the engine's library file, as the process map tells, with
// its trailing slash; "./" when the map cannot be read or does not name it (a static link).
//
// `mapFile` is "/proc/self/maps" but for tests. The first line that contains "libQEL" decides.
#ifndef MONITOR_LIBRARYFOLDER_H
#define MONITOR_LIBRARYFOLDER_H

#include <string>

std::string libraryFolder(const char* mapFile);

#endif  // MONITOR_LIBRARYFOLDER_H
