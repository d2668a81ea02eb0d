#include "agent/spool/SpoolFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "agent/SafeFile.h"
#include "agent/spool/HighWater.h"

namespace {

constexpr std::int64_t kForm = 1;                  // of the tables; PRAGMA user_version
constexpr std::int64_t kApplication = 0x52574154;  // "RWAT"; PRAGMA application_id

// What is asked for is a column; the rest of a record or an incident is JSON in `body`.
constexpr char kTables[] = R"(
CREATE TABLE records (
    sequence INTEGER PRIMARY KEY,
    at INTEGER NOT NULL,
    kind INTEGER NOT NULL,
    origin INTEGER NOT NULL,
    object TEXT NOT NULL,
    object_name TEXT NOT NULL,
    incident INTEGER NOT NULL,
    severity INTEGER NOT NULL,
    code INTEGER NOT NULL,
    body TEXT NOT NULL
);
CREATE INDEX records_by_time ON records (at);
CREATE INDEX records_by_object ON records (object, sequence);
CREATE TABLE numbers (
    name TEXT PRIMARY KEY,
    value INTEGER NOT NULL
) WITHOUT ROWID;
CREATE TABLE texts (
    name TEXT PRIMARY KEY,
    value TEXT NOT NULL
);
CREATE TABLE sinks (
    sink TEXT PRIMARY KEY,
    cursor INTEGER NOT NULL,
    last_delivered INTEGER NOT NULL DEFAULT 0,
    tries INTEGER NOT NULL DEFAULT 0,
    last_answer TEXT NOT NULL DEFAULT '',
    ok INTEGER NOT NULL DEFAULT 1
) WITHOUT ROWID;
CREATE TABLE receipts (
    sequence INTEGER NOT NULL,
    sink TEXT NOT NULL,
    at INTEGER NOT NULL,
    outcome INTEGER NOT NULL,
    tries INTEGER NOT NULL,
    answer TEXT NOT NULL,
    PRIMARY KEY (sequence, sink)
) WITHOUT ROWID;
CREATE INDEX receipts_of_the_dead ON receipts (sink) WHERE outcome = 2;
CREATE TABLE incidents (
    id INTEGER PRIMARY KEY,
    open INTEGER NOT NULL,
    resolved_at INTEGER NOT NULL,
    body TEXT NOT NULL
);
CREATE INDEX incidents_open ON incidents (id) WHERE open = 1;
CREATE TABLE silences (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    until INTEGER NOT NULL,
    body TEXT NOT NULL
);
CREATE TABLE spans (
    id INTEGER PRIMARY KEY,
    began INTEGER NOT NULL,
    last_poll INTEGER NOT NULL,
    ended INTEGER NOT NULL,
    boot_id TEXT NOT NULL,
    first_sequence INTEGER NOT NULL
);
)";

constexpr char kHowToGetOne[] =
    "; start the daemon once, or see in its journal why it cannot make one";

constexpr std::int64_t kLastForm = 1000;  // what is above was never written by anybody
constexpr char kShape[] =
    "SELECT group_concat(sql, char(10)) FROM (SELECT sql FROM sqlite_schema ORDER BY name)";

bool exists(const std::string& name) {
    struct stat state {};
    return lstat(name.c_str(), &state) == 0;
}

// 0 when there is none.
std::uint64_t inodeOf(const std::string& name) {
    struct stat state {};
    return lstat(name.c_str(), &state) == 0 ? state.st_ino : 0;
}

std::string folderOf(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    return slash == std::string::npos ? "." : file.substr(0, slash + 1);
}

}  // namespace

SpoolFile::SpoolFile(const std::string& fileIN, Spool::Access access) : file(fileIN) {
    try {
        access == Spool::Access::kReadOnly ? openToRead() : lockAndOpen(access);
        inode = inodeOf(file);
    } catch (const SqliteError& e) {
        if (lock >= 0) close(lock);
        throw explained(e, "open");
    } catch (...) {
        if (lock >= 0) close(lock);
        throw;
    }
}

SpoolFile::~SpoolFile() {
    connection.reset();  // before the lock that protects it
    if (lock >= 0) close(lock);
}

bool SpoolFile::isCurrent() const { return inodeOf(file) == inode; }

void SpoolFile::lockAndOpen(Spool::Access access) {
    const std::string lockFile = file + ".lock";
    // Who may read the file may lock it, for ever if he likes.
    lock = open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (lock < 0) {
        const bool full = errno == ENOSPC || errno == EDQUOT;
        throw SpoolError("cannot open the spool " + file + ": " + std::strerror(errno) +
                             (full ? "; make room in " + folderOf(file)
                                   : "; see that the folder " + folderOf(file) +
                                         " is there and that this user may write to it"),
                         full ? SpoolError::Kind::kFull : SpoolError::Kind::kOther);
    }
    (void)fchmod(lock, 0600);  // as left by an older version
    const auto gone = [this] {
        return SpoolError("the spool " + file +
                          " is gone; raidwatch begins a new one as soon as "
                          "nobody has the old one open");
    };
    if (access == Spool::Access::kExisting && !exists(file)) throw gone();
    if (flock(lock, LOCK_EX | LOCK_NB) == 0) {
        openChecked();
        examined = true;
        (void)flock(lock, LOCK_SH);
        return;
    }
    while (flock(lock, LOCK_SH) != 0 && errno == EINTR) {
    }
    if (!exists(file) && exists(file + ".high")) throw gone();
    connect();
    bringUpToDate();
}

// A database that nobody has open has no side files; where we may not make them, it can be read
// as it is.
void SpoolFile::openToRead() {
    if (!exists(file)) {
        throw SpoolError("there is no spool " + file + kHowToGetOne);
    }
    const auto use = [this](SqliteFile::Mode mode) {
        connection = std::make_unique<SqliteFile>(file, mode);
        return connection->number("PRAGMA user_version");
    };
    std::int64_t form = 0;
    try {
        form = use(SqliteFile::Mode::kRead);
    } catch (const SqliteError& e) {
        if (e.isDamage() || e.isBusy() || exists(file + "-wal")) throw;
        form = use(SqliteFile::Mode::kReadFrozen);
    }
    if (form == 0) throw SpoolError("there is no spool in " + file + " yet" + kHowToGetOne);
    if (form > kForm) bringUpToDate();  // says so
}

void SpoolFile::openChecked() {
    struct stat state {};
    const bool used = exists(file + ".high");
    const bool lost = used && (lstat(file.c_str(), &state) != 0 || state.st_size == 0);
    if (lost && !exists(file + "-wal")) {
        fresh = true;
        opened = "the spool " + file + " is gone or empty; a new one begins";
    }
    std::string damage;
    try {
        connect();
        if (!isSound()) damage = "it is no sound spool";
    } catch (const SqliteError& e) {
        if (!e.isMisread() || access(file.c_str(), W_OK) != 0) throw;
        damage = e.what();
    }
    if (!damage.empty()) {
        connection.reset();
        setAside(damage);
        connect();
    }
    bringUpToDate();
}

// Serial numbers and what sinks answered are not for everybody on the machine. A file that is there
// is not opened here: closing it would take the locks away that other connections of this process
// have on it.
void SpoolFile::connect() {
    const int made = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0640);
    if (made >= 0) close(made);  // otherwise SQLite says what is wrong
    connection = std::make_unique<SqliteFile>(file, SqliteFile::Mode::kWrite);
    connection->run(
        "PRAGMA journal_mode = WAL;"
        "PRAGMA synchronous = FULL;"
        "PRAGMA journal_size_limit = 16777216");
}

bool SpoolFile::isSound() {
    if (connection->text("PRAGMA integrity_check(1)") != "ok") return false;
    const std::int64_t form = connection->number("PRAGMA user_version");
    if (form == 0) return connection->text(kShape).empty();  // new
    if (connection->number("PRAGMA application_id") != kApplication) return false;
    if (form != kForm) return form > kForm && form <= kLastForm;
    if (connection->isReadOnly() && access(file.c_str(), W_OK) == 0) return false;
    SqliteFile example(":memory:", SqliteFile::Mode::kWrite);
    example.run(kTables);
    if (connection->text(kShape) != example.text(kShape)) return false;
    return connection->number("SELECT max(sequence) FROM records") <= HighWater::kMost &&
           connection->number("SELECT max(value) FROM numbers") <= HighWater::kMost;
}

// The side files first: a journal that belongs to nothing must not meet a new database.
void SpoolFile::setAside(const std::string& why) {
    const std::string name = asideName(file);
    for (const char* side : {"-wal", "-shm", ""}) {
        if (!exists(file + side)) continue;
        if (std::rename((file + side).c_str(), (name + side).c_str()) != 0) {
            throw SpoolError("the spool " + file + side + " is damaged (" + why +
                             ") and cannot be renamed: " + std::strerror(errno) +
                             "; move it away by hand");
        }
    }
    fresh = true;
    opened = "the spool " + file + " was damaged (" + why + "); it is now " + name +
             " and a new one begins";
}

void SpoolFile::bringUpToDate() {
    std::int64_t form = connection->number("PRAGMA user_version");
    if (form > kForm) {
        throw SpoolError("the spool " + file + " was written by a newer raidwatch (form " +
                         std::to_string(form) + ", this one knows " + std::to_string(kForm) +
                         "); install that version again");
    }
    if (form == kForm) return;
    SqliteFile::Transaction step(*connection);
    form = connection->number("PRAGMA user_version");  // somebody may have been quicker
    if (form == kForm) return;
    connection->run(kTables);
    connection->run(("PRAGMA application_id = " + std::to_string(kApplication)).c_str());
    connection->run(("PRAGMA user_version = " + std::to_string(kForm)).c_str());
    step.commit();
}

SpoolError SpoolFile::explained(const SqliteError& error, const char* attempt) const {
    std::string text =
        std::string("cannot ") + attempt + " the spool " + file + ": " + error.what();
    if (error.systemError != 0) text += std::string(" (") + std::strerror(error.systemError) + ")";
    if (error.isFull() || error.systemError == ENOSPC || error.systemError == EDQUOT) {
        return SpoolError(text + "; make room in " + folderOf(file), SpoolError::Kind::kFull);
    }
    if (error.isBusy()) return SpoolError(text + "; another program holds it, try again");
    if (error.isDamage()) {
        return SpoolError(text + "; raidwatch sets it aside as soon as nobody else has it open",
                          SpoolError::Kind::kDamaged);
    }
    return SpoolError(text + "; see that " + folderOf(file) +
                      " is there and that this user may write to it");
}
