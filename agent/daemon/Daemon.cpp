#include "agent/daemon/Daemon.h"

#include <cstdio>
#include <cstdlib>

#include "agent/Failure.h"
#include "agent/daemon/DaemonRun.h"
#include "agent/daemon/IdleMemory.h"

int Daemon::run(const Context& context) const {
    limitHeap();
    bool threadsLeft = false;
    int exitCode = Failure::kDone;
    {
        DaemonRun life(options, context);
        exitCode = options.once ? life.once() : life.watch();
        threadsLeft = life.leavesThreadsBehind();
    }
    // A sink that hangs still uses what an orderly exit takes down: libraries and static objects.
    if (threadsLeft) {
        std::fflush(nullptr);
        std::_Exit(exitCode);
    }
    return exitCode;
}
