#include "config/store.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <thread>

#include "base/deadline.h"
#include "base/host_directory.h"
#include "base/report.h"

namespace tarn::host {
namespace {

constexpr uint32_t kPatienceMs = 2000;
constexpr std::chrono::microseconds kPause(500);
// How far the log of changes reaches back, and how often it is cut there.
constexpr int64_t kLogBytes = int64_t{8} * 1024 * 1024;
constexpr int64_t kCutBytes = int64_t{256} * 1024;

const char* configFileAdvice(int error) {
    switch (error) {
        case EBUSY:
            return "another process keeps it locked; find it with \"fuser -v FILE\", end it and try again";
        case EBADMSG:
            return "it is damaged or no configuration; move it away together with FILE-wal and FILE-shm, then bring "
                   "the values back with \"tarnctl config import\"";
        case ENOSPC:
            return "make room on its disk";
        default:
            return "check its permissions, its disk and its directory";
    }
}

const char* nameOf(int error) {
    return error == EBADMSG ? "unusable content" : std::strerror(error);
}

// Ends the transaction of an operation that failed.
class Transaction {
 public:
    explicit Transaction(Database& database) : database_(database) {}
    ~Transaction() {
        if (isOpen_) {
            database_.run(Query::Rollback);
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction(Transaction&&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    Transaction& operator=(Transaction&&) = delete;

    int commit() {
        const int error = database_.run(Query::Commit);
        isOpen_ = error != 0;
        return error;
    }

 private:
    Database& database_;
    bool isOpen_ = true;
};

std::string_view textOf(const ConfConfigOmKey& key) {
    return key.text;
}

std::string_view textOf(const ConfConfigOmValue& value) {
    return value.text;
}

// EBADMSG for a text that no client can have written; the value is then untouched.
int copyOut(std::string_view text, ConfConfigOmValue& value) {
    if (text.size() >= sizeof value.text) {
        return EBADMSG;
    }
    text.copy(value.text, text.size());
    value.text[text.size()] = '\0';
    value.length = static_cast<uint32_t>(text.size());
    return 0;
}

int readOne(Database& database, std::string_view key, ConfConfigOmValue& value) {
    Execution get(database, Query::Get);
    get.bind(key);
    if (!get.next()) {
        return get.error() != 0 ? get.error() : ENOENT;
    }
    const std::string_view held = get.text(0);
    return held.data() == nullptr ? ENOENT : copyOut(held, value);
}

int readEnd(Database& database, int64_t& end) {
    Execution query(database, Query::End);
    query.next();
    end = query.error() == 0 ? query.number(0) : 0;
    return query.error();
}

int putOne(Database& database, const ConfConfigOmRecord& record, int64_t start, std::string& packed) {
    const std::string_view key = textOf(record.key);
    const std::string_view value = textOf(record.value);
    Execution put(database, Query::Put);
    put.bind(key).bind(value).bind(start + 1).next();
    if (put.error() == 0 && database.changedRows() > 0) {
        packChange(packed, key, value);
    }
    return put.error();
}

int cutLog(Database& database, int64_t start, int64_t end) {
    if (start / kCutBytes == end / kCutBytes) {
        return 0;
    }
    Execution prune(database, Query::Prune);
    // The newest row stays whatever its size: positions go on from it.
    prune.bind(std::min(end - kLogBytes, start)).next();
    return prune.error();
}

int appendLog(Database& database, int64_t start, const std::string& packed) {
    const int64_t end = start + static_cast<int64_t>(packed.size());
    Execution append(database, Query::Append);
    append.bind(end).bindBytes(packed).next();
    return append.error() != 0 ? append.error() : cutLog(database, start, end);
}

std::vector<ConfigChange>& addChange(std::vector<ConfigChange>& changes, std::string_view key, std::string_view value,
                                     int64_t number) {
    ConfigChange& change = changes.emplace_back();
    change.key = key;
    if (value.data() != nullptr) {
        change.value = value;
    }
    change.number = number;
    return changes;
}

int readSince(Database& database, int64_t number, std::vector<ConfigChange>& changes) {
    Execution since(database, Query::Since);
    since.bind(number);
    while (since.next()) {
        addChange(changes, since.text(0), since.text(1), since.number(2));
    }
    return since.error();
}

// The row behind `offset`, if there is one; `start` is where it begins.
int readNext(Database& database, int64_t& offset, int64_t& start, std::vector<ConfigChange>& changes) {
    Execution next(database, Query::Next);
    next.bind(offset);
    start = offset;
    if (!next.next()) {
        return next.error();
    }
    const std::string_view packed = next.bytes(1);
    offset = next.number(0);
    start = offset - static_cast<int64_t>(packed.size());
    return unpackChanges(packed, start + 1, changes) ? 0 : EBADMSG;
}

} // namespace

// Called, as all below, with the lock held.
int Store::ready() {
    if (database_.isOpen() && !database_.hasMoved()) {
        return 0;
    }
    database_.close(true);
    turn_.close();
    try {
        const int error = makeHostSubdirectory("", path_);
        path_ += "/config.db";
        return error != 0 ? error : database_.open(path_);
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

// A connection that met a damaged file or a failing disk is given up, so that a mended file is seen.
int Store::settle(int error) {
    if (error != 0 && error != EBUSY && error != ENOENT) {
        database_.close(true);
    }
    return error;
}

int Store::tell(int error) {
    const bool isTrouble = error != 0 && error != ENOENT;
    if (isTrouble && error != toldError_ && trouble_ == Trouble::Told) {
        report("cannot use the configuration file %s: %s; %s", path_.c_str(), nameOf(error), configFileAdvice(error));
    }
    toldError_ = isTrouble ? error : 0;
    return error;
}

template <typename Operation>
int Store::read(Operation operation) {
    const Deadline deadline(kPatienceMs);
    while (true) {
        {
            const std::lock_guard lock(mutex_);
            int error = ready();
            if (error == 0) {
                error = operation(database_);
            }
            settle(error);
            if (error != EBUSY || deadline.passed()) {
                return tell(error);
            }
        }
        std::this_thread::sleep_for(kPause);
    }
}

// Begins a write as soon as it is this thread's turn; whoever waits for the database keeps the turn meanwhile.
int Store::beginWrite(bool& hasTurn) {
    const int error = ready();
    if (error != 0) {
        return error;
    }
    hasTurn = hasTurn || turn_.take(path_ + "-turn");
    return hasTurn ? database_.run(Query::BeginWrite) : EBUSY;
}

// `operation` gets the end of the log and fills the changes; without any nothing is written.
template <typename Operation>
int Store::write(Operation operation) {
    const auto change = [&](Database& database) {
        Transaction transaction(database);
        std::string packed;
        int64_t start = 0;
        int error = readEnd(database, start);
        if (error == 0) {
            error = operation(database, start, packed);
        }
        if (error != 0 || packed.empty()) {
            return error;
        }
        error = appendLog(database, start, packed);
        if (error == 0) {
            error = transaction.commit();
        }
        if (error == 0) {
            // Wakes the readers; see ChangeFeed.
            utimensat(AT_FDCWD, path_.c_str(), nullptr, 0);
        }
        return error;
    };
    const Deadline deadline(kPatienceMs);
    bool hasTurn = false;
    while (true) {
        {
            const std::lock_guard lock(mutex_);
            int error = beginWrite(hasTurn);
            const bool isOver = error != EBUSY || deadline.passed();
            if (isOver && hasTurn) {
                turn_.leave();
            }
            if (error == 0) {
                error = change(database_);
            }
            if (isOver) {
                return tell(settle(error));
            }
        }
        std::this_thread::sleep_for(kPause);
    }
}

int Store::connect() {
    return read([](Database& /*database*/) { return 0; });
}

void Store::disconnect() {
    const std::lock_guard lock(mutex_);
    database_.close();
    turn_.close();
}

int Store::get(std::string_view key, ConfConfigOmValue& value) {
    return read([&](Database& database) { return readOne(database, key, value); });
}

int Store::getAll(std::span<ConfConfigOmRecord> records) {
    return read([&](Database& database) {
        int error = database.run(Query::Begin);
        if (error != 0) {
            return error;
        }
        Transaction transaction(database);
        for (ConfConfigOmRecord& record : records) {
            error = readOne(database, textOf(record.key), record.value);
            if (error == ENOENT) {
                error = copyOut("", record.value);
            }
            if (error != 0) {
                return error;
            }
        }
        return transaction.commit();
    });
}

int Store::putAll(std::span<const ConfConfigOmRecord> records) {
    return write([&](Database& database, int64_t start, std::string& packed) {
        for (const ConfConfigOmRecord& record : records) {
            const int error = putOne(database, record, start, packed);
            if (error != 0) {
                return error;
            }
        }
        return 0;
    });
}

int Store::remove(std::string_view key) {
    return write([&](Database& database, int64_t start, std::string& packed) {
        Execution removal(database, Query::Remove);
        removal.bind(key).bind(start + 1).next();
        if (removal.error() != 0) {
            return removal.error();
        }
        if (database.changedRows() == 0) {
            return ENOENT;
        }
        packChange(packed, key, std::nullopt);
        return 0;
    });
}

int Store::list(std::string_view prefix, std::vector<ConfigChange>& items) {
    return read([&](Database& database) {
        items.clear();
        Execution list(database, Query::List);
        list.bind(prefix);
        while (list.next() && list.text(0).starts_with(prefix)) {
            if (list.text(1).data() != nullptr) {
                addChange(items, list.text(0), list.text(1), 0);
            }
        }
        return list.error();
    });
}

int Store::end(LogPosition& position) {
    return read([&](Database& database) {
        position.file = database.fileNumber();
        return readEnd(database, position.offset);
    });
}

int Store::next(LogPosition& position, std::vector<ConfigChange>& changes, bool& isWhole) {
    return read([&](Database& database) {
        const int begun = database.run(Query::Begin);
        if (begun != 0) {
            return begun;
        }
        Transaction transaction(database);
        changes.clear();
        LogPosition reached = position;
        int64_t start = 0;
        int64_t end = 0;
        int error = readEnd(database, end);
        if (error == 0) {
            error = readNext(database, reached.offset, start, changes);
        }
        if (error != 0) {
            return error;
        }
        isWhole = position.file == database.fileNumber() && start == position.offset && reached.offset <= end;
        if (!isWhole) {
            changes.clear();
            const bool isOtherFile = position.file != database.fileNumber() || position.offset > end;
            error = readSince(database, isOtherFile ? 0 : position.offset, changes);
            reached = {database.fileNumber(), end};
        }
        if (error == 0) {
            error = transaction.commit();
        }
        if (error == 0) {
            position = reached;
        }
        return error;
    });
}

void Store::beforeFork() {
    mutex_.lock();
    database_.close(true);
    turn_.close();
}

} // namespace tarn::host
