// SqliteFile: one connection to an SQLite database, with statements that are prepared once.
//
//   SqliteFile file(path, SqliteFile::Mode::kWrite);
//   SqliteFile::Transaction step(file);
//   file.prepared("INSERT INTO t VALUES (?, ?)").bind(1, 7).bind(2, "text").run();
//   step.commit();                                       // without it the destructor rolls back
//   Statement& rows = file.prepared("SELECT a, b FROM t");
//   while (rows.step()) use(rows.number(0), rows.text(1));
//
// Threads  One at a time per object.
// Errors   SqliteError, with the library's extended result code.
#ifndef AGENT_SPOOL_SQLITEFILE_H
#define AGENT_SPOOL_SQLITEFILE_H

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

class SqliteError : public std::runtime_error {
public:
    SqliteError(int codeIN, int systemErrorIN, const std::string& text)
        : std::runtime_error(text), code(codeIN), systemError(systemErrorIN) {}

    // The contents are not those of a sound database.
    bool isDamage() const;
    // Damage, or what damage in the header of a file that we may write looks like.
    bool isMisread() const;
    bool isFull() const;
    bool isBusy() const;

    int code;
    int systemError;  // errno behind it, 0 for none
};

// A prepared statement. Bound texts are copied; any bytes may be in them.
class Statement {
public:
    Statement(sqlite3* handleIN, const std::string& sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int place, std::int64_t number);  // places count from 1
    Statement& bind(int place, const std::string& text);

    // True while there is a row; afterwards the statement can be used again.
    bool step();
    void run();  // to its end, rows are ignored

    std::int64_t number(int column) const;  // columns count from 0
    std::string text(int column) const;

    void reset();  // forgets a row half read and what was bound

private:
    [[noreturn]] void fail() const;

    sqlite3* handle;
    sqlite3_stmt* statement = nullptr;
};

class SqliteFile {
public:
    enum class Mode { kWrite, kRead, kReadFrozen };  // frozen: nobody writes meanwhile

    SqliteFile(const std::string& path, Mode mode);  // ":memory:" for one that nobody keeps
    ~SqliteFile();
    SqliteFile(const SqliteFile&) = delete;
    SqliteFile& operator=(const SqliteFile&) = delete;

    void run(const char* sql);  // any number of statements, nothing bound
    // Made at the first use and kept; ready for binding.
    Statement& prepared(const std::string& sql);
    // The first column of the first row; 0 or "" without a row.
    std::int64_t number(const std::string& sql);
    std::string text(const std::string& sql);
    bool isReadOnly() const;           // known after the first reading
    std::int64_t changedRows() const;  // of the last statement

    // Writes of one scope: all of them or, without commit(), none.
    class Transaction {
    public:
        explicit Transaction(SqliteFile& fileIN);
        ~Transaction();
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        void commit();

    private:
        SqliteFile& file;
        bool open = true;
    };

    sqlite3* get() { return handle; }

private:
    sqlite3* handle = nullptr;
    std::map<std::string, Statement> statements;
};

#endif  // AGENT_SPOOL_SQLITEFILE_H
