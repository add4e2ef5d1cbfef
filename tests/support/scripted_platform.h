// A platform for unit tests: it does what it is asked inside the test program, records every call, and makes the calls
// fail that a test picks.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarn::test {

// The state of a service, the same for the whole program.
template <typename State>
State& stateOf() {
    static State state;
    return state;
}

// A record as the log client got it.
struct LogRecord {
    uint8_t level;
    uint16_t fileId;
    std::string file;
    uint32_t line;
    std::string text; // "[function]message"
    std::string format;

    friend std::ostream& operator<<(std::ostream& out, const LogRecord& record) {
        return out << record.file << ':' << record.line << " level " << int{record.level} << " \"" << record.text
                   << '"';
    }
};

// A block that was asked for and given.
struct Allocation {
    uint32_t size;
    std::string file;
};

class ScriptedPlatform {
 public:
    static ScriptedPlatform& get() { return stateOf<ScriptedPlatform>(); }

    // Back to a platform that fails nothing and remembers nothing. Live blocks stay counted.
    void reset();

    // The n-th call of this name from now on fails, n from 1.
    void failNth(const std::string& call, size_t n);
    // The n-th call from now on of any that can fail does fail.
    void failNthOfAny(size_t n) { failNth(kAnyCall, n); }
    // What a bounds-checked copy returns when it fails as planned.
    int copyFailureCode = 400;

    // The last call that failed as planned; empty when none did.
    std::string failedCall() const { return copied(state_.failedCall); }
    // Whether that call was to format a record for the log.
    bool failedInRecord() const { return copied(state_.failedInRecord) && !failedCall().empty(); }

    size_t count(const std::string& call) const;
    std::vector<std::string> calls() const { return copied(state_.calls); }
    std::vector<LogRecord> logs() const { return copied(state_.logs); }
    // Texts of the records, "[function]message", in order.
    std::vector<std::string> logTexts() const;
    void clearLogs();
    std::vector<Allocation> allocations() const { return copied(state_.allocations); }
    size_t liveBlocks() const { return liveBlocks_; }
    int heldMutexes() const { return heldMutexes_; }

    // For the scripted calls themselves: notes the call and says whether it is to fail.
    bool enter(const char* call) { return enter(call, true); }
    // The same for calls that never fail in a sweep over all calls, such as those that give something back.
    void enterInfallible(const char* call) { enter(call, false); }
    void addLog(LogRecord record);
    void addAllocation(Allocation allocation);
    void blockMade() { ++liveBlocks_; }
    void blockFreed() { --liveBlocks_; }
    void mutexTaken() { ++heldMutexes_; }
    void mutexGiven() { --heldMutexes_; }

 private:
    static constexpr const char* kAnyCall = "";

    struct State {
        std::vector<std::string> calls;
        std::map<std::string, size_t> countdowns;
        std::string failedCall;
        bool failedInRecord = false;
        std::vector<LogRecord> logs;
        std::vector<Allocation> allocations;
    };

    template <typename Value>
    Value copied(const Value& value) const {
        const std::lock_guard lock(mutex_);
        return value;
    }
    bool enter(const char* call, bool inSweep);

    mutable std::mutex mutex_;
    State state_;
    std::atomic<size_t> liveBlocks_ = 0;
    std::atomic<int> heldMutexes_ = 0;
};

// For the scripted calls: notes the call and says whether it is to fail.
inline bool isToFail(const char* call) {
    return ScriptedPlatform::get().enter(call);
}

// A call that answers `failure` when it is to fail, else what `work` does, or 0 where that is nothing.
template <typename Result, typename Work>
Result scriptedCall(const char* call, Result failure, Work work) {
    if (isToFail(call)) {
        return failure;
    }
    if constexpr (std::is_void_v<decltype(work())>) {
        work();
        return 0;
    } else {
        return static_cast<Result>(work());
    }
}

// Starts from a fresh scripted platform, message service included, and ends with no block left and no mutex held.
class ScriptedPlatformTest : public testing::Test {
 protected:
    void SetUp() override;
    void TearDown() override;

    ScriptedPlatform& platform = ScriptedPlatform::get();

 private:
    size_t blocksBefore_ = 0;
};

} // namespace tarn::test
