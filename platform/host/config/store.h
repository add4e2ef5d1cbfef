// The configuration: what can be asked of it and changed in it, from any number of threads. Results are 0 or an errno.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "config/change_record.h"
#include "config/store_connection.h"
#include "tarn_platform/om_config.h"

namespace tarn::host {

// A place in the change log of one file.
struct LogPosition {
    uint64_t file = 0;
    int64_t offset = 0;
    bool operator==(const LogPosition&) const = default;
};

class Store {
 public:
    using Trouble = StoreConnection::Trouble;

    explicit Store(Trouble trouble) : connection_(trouble) {}

    int connect();
    void disconnect() { connection_.disconnect(); }

    // ENOENT for a key that is not held.
    int get(std::string_view key, ConfConfigOmValue& value);
    // A key that is not held gets an empty value.
    int getAll(std::span<ConfConfigOmRecord> records);
    // All or none. What is held already is no change.
    int putAll(std::span<const ConfConfigOmRecord> records);
    int remove(std::string_view key);
    // All that is held below a prefix, sorted by key.
    int list(std::string_view prefix, std::vector<ConfigChange>& items);

    int end(LogPosition& position);
    // The next write behind the position, which moves behind it; no changes at the end of the log. When the log does
    // not reach back so far, `isWhole` is false and the changes are the present values of all that was written since.
    int next(LogPosition& position, std::vector<ConfigChange>& changes, bool& isWhole);

    void beforeFork() { connection_.beforeFork(); }
    void afterFork() { connection_.afterFork(); }

 private:
    StoreConnection connection_;
};

} // namespace tarn::host
