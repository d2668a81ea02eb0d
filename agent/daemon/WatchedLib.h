// WatchedLib: the storage library as the daemon uses it: it remembers whether its last reading
// worked. The engine goes on with the last good reading when one fails, so that a poll can end well
// and have seen nothing.
//
//   std::unique_ptr<WatchedLib> lib = WatchedLib::open("linux:/", error);
//   ...                                          // the engine polls
//   if (!lib->trouble().empty()) ...             // what it shows is old
//
// Threads  One at a time, as VantLib. Ownership and errors: as VantLib.
#ifndef AGENT_DAEMON_WATCHEDLIB_H
#define AGENT_DAEMON_WATCHEDLIB_H

#include <memory>
#include <string>

#include "storlib/VantLib.h"

class WatchedLib final : public VantLib {
public:
    using VantLib::VantLib;

    static std::unique_ptr<WatchedLib> open(const std::string& name, std::string& error);

    Ret getSystemConfig() override;

    const std::string& trouble() const { return failure; }  // "" or why the last reading failed

private:
    std::string failure;
};

#endif  // AGENT_DAEMON_WATCHEDLIB_H
