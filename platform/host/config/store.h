// The configuration over one connection, for any number of threads. A call waits at most two seconds for other
// processes, without keeping the connection from other threads meanwhile. Results are 0 or an errno; trouble with the
// file is told once on standard error.
#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/change_record.h"
#include "config/database.h"
#include "config/write_turn.h"
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
    enum class Trouble : uint8_t { Told, Silent };

    explicit Store(Trouble trouble) : trouble_(trouble) {}

    int connect();
    void disconnect();

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

    // A connection must not meet a fork: SQLite's locks belong to the process, but the child would believe it has them.
    void beforeFork();
    void afterFork() { mutex_.unlock(); }

 private:
    int ready();
    int settle(int error);
    int tell(int error);
    int beginWrite(bool& hasTurn);
    template <typename Operation>
    int read(Operation operation);
    template <typename Operation>
    int write(Operation operation);

    const Trouble trouble_;
    std::mutex mutex_;
    Database database_;
    WriteTurn turn_;
    std::string path_;
    int toldError_ = 0;
};

} // namespace tarn::host
