#include "agent/spool/SqliteFile.h"

#include <sqlite3.h>

#include <cstdio>

namespace {

constexpr int kBusyMilliseconds = 20000;

[[noreturn]] void failOf(sqlite3* handle) {
    throw SqliteError(sqlite3_extended_errcode(handle), sqlite3_system_errno(handle),
                      sqlite3_errmsg(handle));
}

// As a file name inside a URI.
std::string quotedForUri(const std::string& path) {
    std::string quoted;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
                           (byte >= 'A' && byte <= 'Z') || c == '/' || c == '.' || c == '-';
        if (plain) {
            quoted += c;
            continue;
        }
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned>(byte));
        quoted += escape;
    }
    return quoted;
}

}  // namespace

bool SqliteError::isDamage() const {
    const int primary = code & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_FORMAT;
}

bool SqliteError::isMisread() const {
    const int primary = code & 0xff;
    return isDamage() || primary == SQLITE_ERROR || primary == SQLITE_READONLY;
}

bool SqliteError::isFull() const { return (code & 0xff) == SQLITE_FULL; }

bool SqliteError::isBusy() const {
    const int primary = code & 0xff;
    return primary == SQLITE_BUSY || primary == SQLITE_LOCKED;
}

Statement::Statement(sqlite3* handleIN, const std::string& sql) : handle(handleIN) {
    if (sqlite3_prepare_v2(handle, sql.data(), static_cast<int>(sql.size()), &statement, nullptr) !=
        SQLITE_OK) {
        fail();
    }
}

Statement::~Statement() { sqlite3_finalize(statement); }

Statement& Statement::bind(int place, std::int64_t number) {
    if (sqlite3_bind_int64(statement, place, number) != SQLITE_OK) fail();
    return *this;
}

Statement& Statement::bind(int place, const std::string& text) {
    if (sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8) != SQLITE_OK) {
        fail();
    }
    return *this;
}

bool Statement::step() {
    const int code = sqlite3_step(statement);
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) {
        const int extended = sqlite3_extended_errcode(handle);
        const int systemError = sqlite3_system_errno(handle);
        const std::string text = sqlite3_errmsg(handle);
        reset();  // may change what the handle says of its last error
        throw SqliteError(extended, systemError, text);
    }
    reset();
    return false;
}

void Statement::run() {
    while (step()) {
    }
}

std::int64_t Statement::number(int column) const { return sqlite3_column_int64(statement, column); }

std::string Statement::text(int column) const {
    const void* const bytes = sqlite3_column_text(statement, column);
    const int size = sqlite3_column_bytes(statement, column);
    if (bytes == nullptr || size <= 0) return std::string();
    return std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

void Statement::reset() {
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
}

void Statement::fail() const { failOf(handle); }

SqliteFile::SqliteFile(const std::string& path, Mode mode) {
    const std::string name =
        path == ":memory:"
            ? path
            : "file:" + quotedForUri(path) + (mode == Mode::kReadFrozen ? "?immutable=1" : "");
    const int access =
        mode == Mode::kWrite ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
    const int code = sqlite3_open_v2(name.c_str(), &handle,
                                     access | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
    if (code != SQLITE_OK) {
        const int extended = handle == nullptr ? code : sqlite3_extended_errcode(handle);
        const int systemError = handle == nullptr ? 0 : sqlite3_system_errno(handle);
        sqlite3_close(handle);
        throw SqliteError(extended, systemError, sqlite3_errstr(code));
    }
    sqlite3_extended_result_codes(handle, 1);
    sqlite3_busy_timeout(handle, kBusyMilliseconds);
}

SqliteFile::~SqliteFile() {
    statements.clear();
    sqlite3_close(handle);
}

void SqliteFile::run(const char* sql) {
    if (sqlite3_exec(handle, sql, nullptr, nullptr, nullptr) != SQLITE_OK) failOf(handle);
}

Statement& SqliteFile::prepared(const std::string& sql) {
    auto found = statements.find(sql);
    if (found == statements.end()) {
        found = statements
                    .emplace(std::piecewise_construct, std::forward_as_tuple(sql),
                             std::forward_as_tuple(handle, sql))
                    .first;
    }
    found->second.reset();
    return found->second;
}

std::int64_t SqliteFile::number(const std::string& sql) {
    Statement statement(handle, sql);
    return statement.step() ? statement.number(0) : 0;
}

std::string SqliteFile::text(const std::string& sql) {
    Statement statement(handle, sql);
    return statement.step() ? statement.text(0) : std::string();
}

bool SqliteFile::isReadOnly() const { return sqlite3_db_readonly(handle, "main") == 1; }

std::int64_t SqliteFile::changedRows() const { return sqlite3_changes64(handle); }

// Immediate: a reader that turns writer half-way could be refused at once.
SqliteFile::Transaction::Transaction(SqliteFile& fileIN) : file(fileIN) {
    file.run("BEGIN IMMEDIATE");
}

SqliteFile::Transaction::~Transaction() {
    if (open) sqlite3_exec(file.handle, "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqliteFile::Transaction::commit() {
    file.run("COMMIT");
    open = false;
}
