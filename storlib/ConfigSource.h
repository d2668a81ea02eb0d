// ConfigSource: where configurations come from. A new kind of hardware is a new class of this
// kind and one row in storlib/sources/SourceRegistry.cpp.
//
// A source knows nothing of events or of what changed: it fills a System, lists the tasks at an
// address, and lists what a controller recorded.
//
// Obligations
//   - fill() hangs every drive and enclosure below a Channel, and logical drives below their
//     adapter, else a snapshot loses them.
//   - (pciBus, pciDevice, pciFunction) is unique and stable per adapter; the adapters of a family
//     monitor are VantAdapter objects.
//   - Identity texts are trimmed and harmless: use cleanText() of storlib/sources/CleanText.h.
//   - No real drive has a device number whose low byte is 255: such objects count as spurious.
//   - Sequence numbers of events() grow from 1, across refreshes, and never start again.
//   - A value that cannot be read is "not known". A source fails only when nothing can be read.
//
// Threads  One at a time. Errors: describe the last one in lastError(), one line for people.
#ifndef STORLIB_CONFIGSOURCE_H
#define STORLIB_CONFIGSOURCE_H

#include <string>

#include "storlib/Ret.h"

struct Addr;
class ProgressCollection;
class System;

class ConfigSource {
public:
    virtual ~ConfigSource() = default;

    // Adds everything below the empty `system`. On failure the caller throws the tree away.
    virtual Ret fill(System& system) = 0;
    // Appends the tasks that run on the object at `address`; none is success.
    virtual Ret tasks(const Addr& address, ProgressCollection& found) = 0;
    // Appends to `listing` the events of one controller from sequence number `first` on.
    virtual Ret events(unsigned int controllerID, long first, std::string& listing) = 0;

    // Why the last call failed: "" or one line that names the cause and the cure.
    virtual std::string lastError() const { return std::string(); }
};

#endif  // STORLIB_CONFIGSOURCE_H
