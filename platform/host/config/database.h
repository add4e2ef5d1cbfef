// One SQLite connection to the configuration, with its prepared statements. Results are 0 or an errno: EBUSY while
// another process is in the way, EBADMSG for a file that is damaged or no configuration.
#pragma once

#include <sqlite3.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::host {

enum class Query : uint8_t {
    Begin,
    BeginWrite,
    Commit,
    Rollback,
    Get,    // key -> value
    Put,    // key, value, number; changes no row that holds the value already
    Remove, // key, number
    End,    // -> position
    Append, // position, packed changes
    Prune,  // position
    Next,   // position -> position, packed changes
    List,   // first key -> key, value
    Since,  // number -> key, value, number
    kCount,
};

class Database {
 public:
    Database() = default;
    ~Database() { close(); }
    Database(const Database&) = delete;
    Database(Database&&) = delete;
    Database& operator=(const Database&) = delete;
    Database& operator=(Database&&) = delete;

    // Opens the file and makes it a configuration when it is new.
    int open(const std::string& path);
    // Leaves the write-ahead log to others with `keepLog`, which makes it quick.
    void close(bool keepLog = false);

    bool isOpen() const { return connection_ != nullptr; }
    // Whether the file that is open is no longer the one of that name.
    bool hasMoved() const;
    // Tells files of the same name apart.
    uint64_t fileNumber() const { return fileNumber_; }

    // Runs a statement without parameters and rows.
    int run(Query query);
    int64_t changedRows() const { return sqlite3_changes64(connection_); }

 private:
    friend class Execution;

    int prepare(const std::string& path);
    int examine(int64_t& version);
    int adopt();
    int create();
    int execute(const char* sql);
    int readNumber(const char* sql, int64_t& number);
    int errorOf(int code) const;
    sqlite3_stmt* statement(Query query);

    sqlite3* connection_ = nullptr;
    std::array<sqlite3_stmt*, static_cast<size_t>(Query::kCount)> statements_ = {};
    uint64_t fileNumber_ = 0;
};

// One execution of a statement. What is bound must stay until its end.
class Execution {
 public:
    Execution(Database& database, Query query);
    ~Execution();
    Execution(const Execution&) = delete;
    Execution(Execution&&) = delete;
    Execution& operator=(const Execution&) = delete;
    Execution& operator=(Execution&&) = delete;

    Execution& bind(int64_t number);
    Execution& bind(std::string_view text);
    Execution& bindBytes(std::string_view bytes);

    // True with the next row; false at the end, and for a failure.
    bool next();
    int error() const { return error_; }

    int64_t number(int column) const;
    // Its data is null for a value that is not there.
    std::string_view text(int column) const;
    std::string_view bytes(int column) const;

 private:
    void keep(int code);

    Database& database_;
    sqlite3_stmt* statement_;
    int bound_ = 0;
    int error_ = 0;
};

} // namespace tarn::host
