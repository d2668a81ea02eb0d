#include "agent/daemon/Daemon.h"

#include "agent/daemon/DaemonRun.h"
#include "agent/daemon/IdleMemory.h"

int Daemon::run(const Context& context) const {
    limitHeap();
    DaemonRun life(options, context);
    return options.once ? life.once() : life.watch();
}
