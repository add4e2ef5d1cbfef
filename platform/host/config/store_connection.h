// The one connection of a process to the configuration, for any number of threads. Whoever uses it waits at most two
// seconds for other processes, without keeping the connection from other threads meanwhile. Results are 0 or an errno;
// trouble with the file is told once on standard error.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "base/deadline.h"
#include "base/told_error.h"
#include "config/change_log.h"
#include "config/database.h"
#include "config/transaction.h"
#include "config/write_turn.h"

namespace tarn::host {

class StoreConnection {
 public:
    enum class Trouble : uint8_t { Told, Silent };

    explicit StoreConnection(Trouble trouble) : trouble_(trouble) {}

    void disconnect();

    // `operation(database)` is run again while it answers EBUSY.
    template <typename Operation>
    int read(Operation operation);
    // `operation(database, start, packed)` gets the end of the change log and fills in the changes, within a
    // transaction; without any nothing is written.
    template <typename Operation>
    int write(Operation operation);

    // A connection must not meet a fork: SQLite's locks belong to the process, but the child would believe it has them.
    void beforeFork();
    void afterFork() { mutex_.unlock(); }

 private:
    static constexpr uint32_t kPatienceMs = 2000;
    static constexpr std::chrono::microseconds kPause{500};

    // These are called with the lock held.
    int ready();
    int beginWrite(bool& hasTurn);
    template <typename Operation>
    int change(Operation& operation);
    void wakeReaders();
    int settle(int error);
    int tell(int error);

    const Trouble trouble_;
    std::mutex mutex_;
    Database database_;
    WriteTurn turn_;
    std::string path_;
    int toldError_ = 0;
    ToldError toldWaking_;
};

template <typename Operation>
int StoreConnection::read(Operation operation) {
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

template <typename Operation>
int StoreConnection::write(Operation operation) {
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
                error = change(operation);
            }
            if (isOver) {
                return tell(settle(error));
            }
        }
        std::this_thread::sleep_for(kPause);
    }
}

// The write has begun; from here on nobody is in the way.
template <typename Operation>
int StoreConnection::change(Operation& operation) {
    Transaction transaction(database_);
    std::string packed;
    int64_t start = 0;
    int error = readEnd(database_, start);
    if (error == 0) {
        error = operation(database_, start, packed);
    }
    if (error != 0 || packed.empty()) {
        return error;
    }
    error = appendLog(database_, start, packed);
    if (error == 0) {
        error = transaction.commit();
    }
    if (error == 0) {
        wakeReaders();
    }
    return error;
}

} // namespace tarn::host
