#include "agent/daemon/Daemon.h"

#include "agent/daemon/DaemonRun.h"

int Daemon::run(const Context& context) const {
    DaemonRun life(options, context);
    return options.once ? life.once() : life.watch();
}
