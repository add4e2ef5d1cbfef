// A platform for unit tests: it does what it is asked inside the test program, records every call, and makes the calls
// fail that a test picks.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace tarn::test {

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
    uint32_t line;
    std::string file;
};

class ScriptedPlatform {
 public:
    static ScriptedPlatform& get();

    // Back to a platform that fails nothing and remembers nothing. Live blocks stay counted.
    void reset();

    // The n-th call of this name from now on fails, n from 1.
    void failNth(const std::string& call, size_t n);
    // The n-th call from now on of any that can fail does fail.
    void failNthOfAny(size_t n);
    // What a bounds-checked copy returns when it fails as planned; 400 unless a test says otherwise.
    void setFailureCode(int code);
    int failureCode() const;
    // Whether a planned failure has happened.
    bool failed() const;
    // The last call that failed as planned; empty when none did.
    // Whether that call was to format a record for the log.
    bool failedInRecord() const;
    std::string failedCall() const;

    size_t count(const std::string& call) const;
    std::vector<std::string> calls() const;

    std::vector<LogRecord> logs() const;
    // Texts of the records, "[function]message", in order.
    std::vector<std::string> logTexts() const;
    void clearLogs();

    std::vector<Allocation> allocations() const;
    size_t liveBlocks() const;
    int heldMutexes() const;

    // For the scripted calls themselves: notes the call and says whether it is to fail.
    bool enter(const char* call);
    // The same for calls that never fail in a sweep over all calls, such as those that give something back.
    bool enterInfallible(const char* call);
    void addLog(LogRecord record);
    void addAllocation(Allocation allocation);
    void blockMade();
    void blockFreed();
    void mutexTaken();
    void mutexGiven();

 private:
    static constexpr int kDefaultFailureCode = 400;

    bool enterLocked(const char* call, bool inSweep);

    mutable std::mutex mutex_;
    std::vector<std::string> calls_;
    std::map<std::string, size_t> counts_;
    std::map<std::string, size_t> countdowns_;
    size_t anyCountdown_ = 0;
    std::string failedCall_;
    bool failedInRecord_ = false;
    int failureCode_ = kDefaultFailureCode;
    std::vector<LogRecord> logs_;
    std::vector<Allocation> allocations_;
    size_t liveBlocks_ = 0;
    int heldMutexes_ = 0;
};

// Starts from a fresh scripted platform, message service included, and ends with no block left and no mutex held.
class ScriptedPlatformTest : public testing::Test {
 protected:
    void SetUp() override;
    void TearDown() override;

    ScriptedPlatform& platform = ScriptedPlatform::get();

 private:
    size_t blocksBefore_ = 0;
};

// Runs `operation` again and again, making its first, second, ... platform call fail, until it runs through unharmed.
// After each run no block may be left beyond those before, and no mutex held. `check` sees how many calls there were to
// fail before the run ended (n) and whether this run had a failure in it.
void sweepPlatformFailures(const std::function<void()>& operation,
                           const std::function<void(size_t n, bool failureHappened)>& check);

} // namespace tarn::test
