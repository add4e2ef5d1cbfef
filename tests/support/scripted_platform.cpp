#include "scripted_platform.h"

#include <cstring>

#include "scripted_message.h"

namespace tarn::test {

ScriptedPlatform& ScriptedPlatform::get() {
    static ScriptedPlatform platform;
    return platform;
}

void ScriptedPlatform::reset() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
    counts_.clear();
    countdowns_.clear();
    anyCountdown_ = 0;
    failedCall_.clear();
    failureCode_ = kDefaultFailureCode;
    logs_.clear();
    allocations_.clear();
}

void ScriptedPlatform::failNth(const std::string& call, size_t n) {
    const std::lock_guard lock(mutex_);
    countdowns_[call] = n;
    failedCall_.clear();
}

void ScriptedPlatform::failNthOfAny(size_t n) {
    const std::lock_guard lock(mutex_);
    anyCountdown_ = n;
    failedCall_.clear();
}

void ScriptedPlatform::setFailureCode(int code) {
    const std::lock_guard lock(mutex_);
    failureCode_ = code;
}

int ScriptedPlatform::failureCode() const {
    const std::lock_guard lock(mutex_);
    return failureCode_;
}

bool ScriptedPlatform::failed() const {
    return !failedCall().empty();
}

std::string ScriptedPlatform::failedCall() const {
    const std::lock_guard lock(mutex_);
    return failedCall_;
}

bool ScriptedPlatform::failedInRecord() const {
    const std::lock_guard lock(mutex_);
    return failedInRecord_ && !failedCall_.empty();
}

size_t ScriptedPlatform::count(const std::string& call) const {
    const std::lock_guard lock(mutex_);
    const auto found = counts_.find(call);
    return found == counts_.end() ? 0 : found->second;
}

std::vector<std::string> ScriptedPlatform::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

std::vector<LogRecord> ScriptedPlatform::logs() const {
    const std::lock_guard lock(mutex_);
    return logs_;
}

std::vector<std::string> ScriptedPlatform::logTexts() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> texts;
    for (const LogRecord& record : logs_) {
        texts.push_back(record.text);
    }
    return texts;
}

void ScriptedPlatform::clearLogs() {
    const std::lock_guard lock(mutex_);
    logs_.clear();
}

std::vector<Allocation> ScriptedPlatform::allocations() const {
    const std::lock_guard lock(mutex_);
    return allocations_;
}

size_t ScriptedPlatform::liveBlocks() const {
    const std::lock_guard lock(mutex_);
    return liveBlocks_;
}

int ScriptedPlatform::heldMutexes() const {
    const std::lock_guard lock(mutex_);
    return heldMutexes_;
}

bool ScriptedPlatform::enter(const char* call) {
    const std::lock_guard lock(mutex_);
    return enterLocked(call, true);
}

bool ScriptedPlatform::enterInfallible(const char* call) {
    const std::lock_guard lock(mutex_);
    return enterLocked(call, false);
}

bool ScriptedPlatform::enterLocked(const char* call, bool inSweep) {
    // A record's text is put together by these two in a row.
    const bool formatsRecord =
        std::strcmp(call, "vsnprintf_s") == 0 ||
        (std::strcmp(call, "sprintf_s") == 0 && !calls_.empty() && calls_.back() == "vsnprintf_s");
    calls_.emplace_back(call);
    ++counts_[call];
    bool fails = false;
    if (const auto planned = countdowns_.find(call); planned != countdowns_.end() && --planned->second == 0) {
        countdowns_.erase(planned);
        fails = true;
    }
    if (inSweep && anyCountdown_ != 0 && --anyCountdown_ == 0) {
        fails = true;
    }
    if (fails) {
        failedCall_ = call;
        failedInRecord_ = formatsRecord;
    }
    return fails;
}

void ScriptedPlatform::addLog(LogRecord record) {
    const std::lock_guard lock(mutex_);
    logs_.push_back(std::move(record));
}

void ScriptedPlatform::addAllocation(Allocation allocation) {
    const std::lock_guard lock(mutex_);
    allocations_.push_back(std::move(allocation));
}

void ScriptedPlatform::blockMade() {
    const std::lock_guard lock(mutex_);
    ++liveBlocks_;
}

void ScriptedPlatform::blockFreed() {
    const std::lock_guard lock(mutex_);
    --liveBlocks_;
}

void ScriptedPlatform::mutexTaken() {
    const std::lock_guard lock(mutex_);
    ++heldMutexes_;
}

void ScriptedPlatform::mutexGiven() {
    const std::lock_guard lock(mutex_);
    --heldMutexes_;
}

void ScriptedPlatformTest::SetUp() {
    platform.reset();
    scriptedMessages() = {};
    blocksBefore_ = platform.liveBlocks();
}

void ScriptedPlatformTest::TearDown() {
    EXPECT_EQ(platform.liveBlocks(), blocksBefore_) << "accounted blocks are left";
    EXPECT_EQ(platform.heldMutexes(), 0) << "a platform mutex is still held";
    platform.reset();
}

void sweepPlatformFailures(const std::function<void()>& operation,
                           const std::function<void(size_t n, bool failureHappened)>& check) {
    ScriptedPlatform& platform = ScriptedPlatform::get();
    constexpr size_t kEndless = 10'000;
    for (size_t n = 1; n < kEndless; ++n) {
        const size_t blocksBefore = platform.liveBlocks();
        platform.reset();
        platform.failNthOfAny(n);
        operation();
        const bool failureHappened = platform.failed();
        SCOPED_TRACE("platform call " + std::to_string(n) + " failing: " + platform.failedCall());
        EXPECT_EQ(platform.liveBlocks(), blocksBefore) << "accounted blocks are left";
        EXPECT_EQ(platform.heldMutexes(), 0) << "a platform mutex is still held";
        check(n, failureHappened);
        if (!failureHappened || testing::Test::HasFatalFailure()) {
            platform.reset();
            return;
        }
    }
    FAIL() << "the operation never ran through unharmed";
}

} // namespace tarn::test
