// SpoolFile: a database file of the spool, opened, checked and of the present form; a damaged one
// is set aside. What Spool stands on.
//
// Every writer holds a shared lock on "<file>.lock". Who finds himself alone examines the file and,
// when it is damaged, renames it; so nobody loses a database that he has open. For the same reason
// nobody makes a new file under a name whose old file others still have open: when they close it,
// they remove the journal of that name.
//
// Threads  One at a time. Errors: SpoolError.
#ifndef AGENT_SPOOL_SPOOLFILE_H
#define AGENT_SPOOL_SPOOLFILE_H

#include <cstdint>
#include <memory>
#include <string>

#include "agent/spool/Spool.h"
#include "agent/spool/SqliteFile.h"

class SpoolFile {
public:
    SpoolFile(const std::string& fileIN, Spool::Access access);
    ~SpoolFile();
    SpoolFile(const SpoolFile&) = delete;
    SpoolFile& operator=(const SpoolFile&) = delete;

    SqliteFile& database() { return *connection; }
    const std::string& name() const { return file; }
    const std::string& note() const { return opened; }  // "" or what was done at the opening
    bool isNew() const { return fresh; }                // it replaces one that is lost
    bool isExamined() const { return examined; }        // nobody else had it open
    bool isCurrent() const;                             // the name still stands for this file
    std::uint64_t number() const { return inode; }

    // For people: what could not be done, why, and the cure.
    SpoolError explained(const SqliteError& error, const char* attempt) const;

private:
    void lockAndOpen(Spool::Access access);
    void openToRead();
    void openChecked();
    void connect();
    bool isSound();  // false: damaged
    void setAside(const std::string& why);
    void bringUpToDate();

    std::string file;
    std::string opened;
    bool fresh = false;
    bool examined = false;
    int lock = -1;
    std::uint64_t inode = 0;  // of the file that is open
    std::unique_ptr<SqliteFile> connection;
};

#endif  // AGENT_SPOOL_SPOOLFILE_H
