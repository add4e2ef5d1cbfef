#include "config/change_log.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace tarn::host {
namespace {

// How far the log of changes reaches back, and how often it is cut there.
constexpr int64_t kLogBytes = int64_t{8} * 1024 * 1024;
constexpr int64_t kCutBytes = int64_t{256} * 1024;

int cutLog(Database& database, int64_t start, int64_t end) {
    if (start / kCutBytes == end / kCutBytes) {
        return 0;
    }
    Execution prune(database, Query::Prune);
    // The newest row stays whatever its size: positions go on from it.
    prune.bind(std::min(end - kLogBytes, start)).next();
    return prune.error();
}

} // namespace

int readEnd(Database& database, int64_t& end) {
    Execution query(database, Query::End);
    query.next();
    end = query.error() == 0 ? query.number(0) : 0;
    return query.error();
}

int appendLog(Database& database, int64_t start, const std::string& packed) {
    const int64_t end = start + static_cast<int64_t>(packed.size());
    Execution append(database, Query::Append);
    append.bind(end).bindBytes(packed).next();
    return append.error() != 0 ? append.error() : cutLog(database, start, end);
}

int readSince(Database& database, int64_t number, std::vector<ConfigChange>& changes) {
    Execution since(database, Query::Since);
    since.bind(number);
    while (since.next()) {
        changes.push_back(makeChange(since.text(0), since.text(1), since.number(2)));
    }
    return since.error();
}

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

} // namespace tarn::host
