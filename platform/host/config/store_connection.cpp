#include "config/store_connection.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <new>

#include "base/host_directory.h"
#include "base/report.h"

namespace tarn::host {
namespace {

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

} // namespace

void StoreConnection::disconnect() {
    const std::lock_guard lock(mutex_);
    database_.close();
    turn_.close();
}

void StoreConnection::beforeFork() {
    mutex_.lock();
    database_.close(true);
    turn_.close();
}

int StoreConnection::ready() {
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

// Begins a write as soon as it is this thread's turn; whoever waits for the database keeps the turn meanwhile.
int StoreConnection::beginWrite(bool& hasTurn) {
    const int error = ready();
    if (error != 0) {
        return error;
    }
    hasTurn = hasTurn || turn_.take(path_ + "-turn");
    return hasTurn ? database_.run(Query::BeginWrite) : EBUSY;
}

// See ChangeFeed.
void StoreConnection::wakeReaders() {
    const int error = utimensat(AT_FDCWD, path_.c_str(), nullptr, 0) == 0 ? 0 : errno;
    if (toldWaking_.isNews(error)) {
        report("others are not told of the changes in %s: %s", path_.c_str(), std::strerror(error));
    }
}

// A connection that met a damaged file or a failing disk is given up, so that a mended file is seen.
int StoreConnection::settle(int error) {
    if (error != 0 && error != EBUSY && error != ENOENT) {
        database_.close(true);
    }
    return error;
}

int StoreConnection::tell(int error) {
    const bool isTrouble = error != 0 && error != ENOENT;
    if (isTrouble && error != toldError_ && trouble_ == Trouble::Told) {
        report("cannot use the configuration file %s: %s; %s", path_.c_str(), nameOf(error), configFileAdvice(error));
    }
    toldError_ = isTrouble ? error : 0;
    return error;
}

} // namespace tarn::host
