// Progress: one background task of a controller, as it stood when it was asked.
#ifndef STORLIB_PROGRESS_H
#define STORLIB_PROGRESS_H

#include "storlib/Addr.h"
#include "storlib/StorEnums.h"

// A value: tasks are copied out of the collection that a query filled, which dies with the call.
class Progress {
public:
    Progress() = default;
    Progress(EnumTaskType type, int percentDone, EnumTaskStatus taskStatus, const Addr& address)
        : taskType(type), percent(percentDone), status(taskStatus), deviceAddr(address) {}

    int getType() const { return taskType; }    // EnumTaskType; 0 means that nothing runs
    int getPercent() const { return percent; }  // 0 to 100
    int getStatus() const { return status; }    // EnumTaskStatus
    const Addr& getDeviceAddr() const { return deviceAddr; }  // of the logical drive at work

    int taskType = kTaskNone;
    int percent = 0;
    int status = kTaskRunning;
    Addr deviceAddr;
};

#endif  // STORLIB_PROGRESS_H
