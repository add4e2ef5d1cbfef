#include "config/database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "base/fork_handlers.h"
#include "base/owned_descriptor.h"

namespace tarn::host {
namespace {

constexpr int64_t kSchemaVersion = 1;

// `item` is what is held now; a removed key stays as a row without a value, so that its removal can still be told.
// `change` is the log of writes. A position counts the bytes that were ever logged: a row ends at its position and
// begins where its predecessor ended, so a reader sees at once that rows before the next one are gone already.
constexpr const char* kSchema =
    "CREATE TABLE item(key TEXT PRIMARY KEY NOT NULL, value TEXT, number INTEGER NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE change(position INTEGER PRIMARY KEY, records BLOB NOT NULL);"
    "PRAGMA user_version=1;";

// A write is on the disk when it returns: what a person has set survives a power cut. The cache, in KiB, holds the
// pages that a configuration of an endpoint uses; SQLite's 2 MiB would only fill with the log of changes.
constexpr const char* kSettings =
    "PRAGMA synchronous=FULL;"
    "PRAGMA cache_size=-256;"
    "PRAGMA journal_size_limit=4194304;"
    "PRAGMA trusted_schema=OFF;";

constexpr std::array<const char*, static_cast<size_t>(Query::kCount)> kSql = {
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT value FROM item WHERE key=?1",
    "INSERT INTO item(key,value,number) VALUES(?1,?2,?3) ON CONFLICT(key) DO UPDATE "
    "SET value=excluded.value, number=excluded.number WHERE value IS NOT excluded.value",
    "UPDATE item SET value=NULL, number=?2 WHERE key=?1 AND value IS NOT NULL",
    "SELECT max(position) FROM change",
    "INSERT INTO change(position,records) VALUES(?1,?2)",
    "DELETE FROM change WHERE position<=?1",
    "SELECT position, records FROM change WHERE position>?1 ORDER BY position LIMIT 1",
    "SELECT key, value FROM item WHERE key>=?1 ORDER BY key",
    "SELECT key, value, number FROM item WHERE number>?1 ORDER BY number",
};

// Only one connection of the process is opened at a time; see createFile.
constinit std::mutex opening;
const HeldOverForks<opening> openingOverForks;

// SQLite would create the file with a mode that lets others read it. A file that is there already is not opened:
// closing it would take away the locks of the process's other connections.
int createFile(const std::string& path) {
    const OwnedDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return file || errno == EEXIST ? 0 : errno;
}

// EBADMSG for what is no file.
int numberOf(const std::string& path, uint64_t& fileNumber) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return errno;
    }
    fileNumber = status.st_ino;
    return S_ISREG(status.st_mode) ? 0 : EBADMSG;
}

} // namespace

int Database::errorOf(int code) const {
    switch (code & 0xFF) {
        case SQLITE_OK:
        case SQLITE_ROW:
        case SQLITE_DONE:
            return 0;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return EBUSY;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_ERROR: // A table that is not as it was made.
            return EBADMSG;
        case SQLITE_NOMEM:
            return ENOMEM;
        case SQLITE_FULL:
            return ENOSPC;
        case SQLITE_READONLY:
            return EROFS;
        case SQLITE_TOOBIG:
            return EMSGSIZE;
        default:
            break;
    }
    const int systemError = sqlite3_system_errno(connection_);
    return systemError != 0 ? systemError : EIO;
}

int Database::execute(const char* sql) {
    return errorOf(sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr));
}

int Database::readNumber(const char* sql, int64_t& number) {
    sqlite3_stmt* question = nullptr;
    int code = sqlite3_prepare_v2(connection_, sql, -1, &question, nullptr);
    if (code == SQLITE_OK) {
        code = sqlite3_step(question);
        number = sqlite3_column_int64(question, 0);
    }
    const int error = errorOf(code);
    sqlite3_finalize(question);
    return error;
}

// The version of the configuration, 0 for an empty file; EBADMSG for what is neither.
int Database::examine(int64_t& version) {
    int64_t tables = 0;
    int error = readNumber("PRAGMA user_version", version);
    if (error == 0) {
        error = readNumber("SELECT count(*) FROM sqlite_schema", tables);
    }
    const bool isOurs = version == kSchemaVersion || (version == 0 && tables == 0);
    return error == 0 && !isOurs ? EBADMSG : error;
}

// Makes an empty file a configuration, unless another process just did.
int Database::create() {
    int64_t version = 0;
    int error = execute("BEGIN IMMEDIATE");
    if (error == 0) {
        error = examine(version);
    }
    if (error == 0 && version == 0) {
        error = execute(kSchema);
    }
    return error == 0 ? execute("COMMIT") : error;
}

// Nothing is changed in a file that is no configuration.
int Database::adopt() {
    int64_t version = 0;
    // In one transaction, because another process may make the tables between two looks.
    int error = execute("BEGIN");
    if (error == 0) {
        error = examine(version);
    }
    if (error == 0) {
        error = execute("COMMIT");
    }
    if (error == 0) {
        // Readers then neither wait for a writer nor make it wait.
        error = execute("PRAGMA journal_mode=WAL");
    }
    int64_t isWal = 0;
    if (error == 0) {
        error = readNumber("SELECT journal_mode='wal' FROM pragma_journal_mode", isWal);
    }
    if (error == 0) {
        error = isWal != 0 ? execute(kSettings) : ENOTSUP; // No shared memory on this file system.
    }
    return error == 0 && version == 0 ? create() : error;
}

int Database::prepare(const std::string& path) {
    int error = createFile(path);
    if (error == 0) {
        error = numberOf(path, fileNumber_);
    }
    if (error != 0) {
        return error;
    }
    constexpr int kFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE;
    error = errorOf(sqlite3_open_v2(path.c_str(), &connection_, kFlags, nullptr));
    return error != 0 ? error : adopt();
}

int Database::open(const std::string& path) {
    const std::lock_guard lock(opening);
    const int error = prepare(path);
    if (error != 0) {
        close(true);
    }
    return error;
}

void Database::close(bool keepLog) {
    for (sqlite3_stmt*& statement : statements_) {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
    if (connection_ != nullptr && keepLog) {
        sqlite3_db_config(connection_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    sqlite3_close(connection_);
    connection_ = nullptr;
}

bool Database::hasMoved() const {
    int moved = 0;
    sqlite3_file_control(connection_, nullptr, SQLITE_FCNTL_HAS_MOVED, &moved);
    return moved != 0;
}

sqlite3_stmt* Database::statement(Query query) {
    const auto index = static_cast<size_t>(query);
    if (statements_[index] == nullptr) {
        sqlite3_prepare_v3(connection_, kSql[index], -1, SQLITE_PREPARE_PERSISTENT, &statements_[index], nullptr);
    }
    return statements_[index];
}

int Database::run(Query query) {
    Execution execution(*this, query);
    execution.next();
    return execution.error();
}

Execution::Execution(Database& database, Query query) : database_(database), statement_(database.statement(query)) {
    if (statement_ == nullptr) {
        keep(sqlite3_extended_errcode(database_.connection_));
    }
}

Execution::~Execution() {
    sqlite3_reset(statement_);
}

void Execution::keep(int code) {
    if (error_ == 0) {
        error_ = database_.errorOf(code);
    }
}

Execution& Execution::bind(int64_t number) {
    keep(sqlite3_bind_int64(statement_, ++bound_, number));
    return *this;
}

Execution& Execution::bind(std::string_view text) {
    keep(sqlite3_bind_text64(statement_, ++bound_, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}

Execution& Execution::bindBytes(std::string_view bytes) {
    keep(sqlite3_bind_blob64(statement_, ++bound_, bytes.data(), bytes.size(), SQLITE_STATIC));
    return *this;
}

bool Execution::next() {
    if (error_ != 0) {
        return false;
    }
    const int code = sqlite3_step(statement_);
    keep(code);
    return code == SQLITE_ROW;
}

int64_t Execution::number(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::string_view Execution::text(int column) const {
    const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return {data, static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
}

std::string_view Execution::bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return {data, static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
}

} // namespace tarn::host
