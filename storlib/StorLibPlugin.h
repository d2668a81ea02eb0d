// StorLibPlugin: a storage library together with what else a monitor asks of it.
//
// Threads  One at a time; the monitor calls from its own thread only.
#ifndef STORLIB_STORLIBPLUGIN_H
#define STORLIB_STORLIBPLUGIN_H

#include "storlib/StorLib.h"

struct Addr;
class ProgressCollection;

class StorLibPlugin : public StorLib {
public:
    // The controller's own events from sequence number `firstSequence` on, as a listing: one
    // element <Event .../> each, oldest first (docs/formats/controller-events.md). On success
    // `buffer` is null when there are none, or a NUL-terminated text from new char[] that the
    // caller releases with delete[]; on failure it is null.
    virtual Ret getEvents(const Addr& controller, long firstSequence, char*& buffer) = 0;

    // Appends to `tasks` what runs on the object at `address`.
    virtual Ret getTasks(const Addr& address, ProgressCollection& tasks) = 0;
};

#endif  // STORLIB_STORLIBPLUGIN_H
