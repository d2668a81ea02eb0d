// HookCheck: may this program be run by us? Only when nobody else could have changed it: the file,
// each symbolic link on the way, and every folder above belong to root or to the user who will run
// it, and neither group nor others may write them. A folder such as /tmp, where others may write
// but not rename what is not theirs, is good enough for what stands in it.
//
//   const std::string trouble = hookTrouble("/etc/raidwatch/hooks/page", uid);
//   // "/etc/raidwatch/hooks is writable by its group; run: chmod go-w /etc/raidwatch/hooks"
//
// Threads: any. Errors: the result, one safe line, "" when all is well.
#ifndef AGENT_SINKS_HOOKCHECK_H
#define AGENT_SINKS_HOOKCHECK_H

#include <sys/types.h>

#include <string>
#include <vector>

// `path` from / on.
std::string hookTrouble(const std::string& path, uid_t user);

// The same for a folder of hooks.
std::string hookFolderTrouble(const std::string& path, uid_t user);

// The programs of a folder in the order of their names. Hidden files, files that an editor or the
// package system left behind, and files that nobody may execute are no hooks.
std::vector<std::string> hooksIn(const std::string& folder);

#endif  // AGENT_SINKS_HOOKCHECK_H
