// SafeSnapshot: a copy of the engine's snapshot whose events are all in the spool. The engine
// writes its own snapshot before anybody has taken the events of that poll; who is killed in
// between would lose them. So the daemon starts the engine from this copy, and what was not spooled
// is found again.
//
//   safe.restore(spool.snapshot());                   // before the monitor is constructed
//   const std::string shown = safe.readCurrent();     // on the monitoring thread, when a poll ends
//   ... take the events, spool.commit(batch) ...
//   safe.keep(shown);                                 // temporary file, fsync, rename
//
// Threads  readCurrent() and putBack() on any thread; the rest on one. Errors: Failure.
#ifndef AGENT_SPOOL_SAFESNAPSHOT_H
#define AGENT_SPOOL_SAFESNAPSHOT_H

#include <string>

class SafeSnapshot {
public:
    // `engineFile` is what the engine reads and writes; the copy stands beside it with ".safe".
    explicit SafeSnapshot(std::string engineFile);

    // Puts `committed`, or when that is "" the copy, in the place of the engine's file. Returns ""
    // or a note for people: that the copy was damaged and is set aside, or differs from what the
    // engine last wrote; or that what the engine wrote is damaged and nothing can replace it. On a
    // full disk the copy itself takes the place, or the old file is overwritten where it lies;
    // keep() makes a copy when there is room again.
    std::string restore(const std::string& committed = std::string());
    // The whole text of the engine's file; "" when there is none or it is not complete.
    std::string readCurrent() const;
    // Makes `text` the copy, safe against a power cut. Nothing happens when it has not changed.
    void keep(const std::string& text);
    // Puts `text` in the place of the engine's file; the copy stays as it is.
    void putBack(const std::string& text) const;

    const std::string& copyFile() const { return copy; }

private:
    std::string copyText();  // "" when there is no good copy; what was found goes into `remark`
    void tellOfCut();
    void putInPlace(const std::string& text);

    std::string remark;
    std::string file;
    std::string copy;
    std::string kept;  // what the copy holds, once known
};

#endif  // AGENT_SPOOL_SAFESNAPSHOT_H
