#include "scripted_platform.h"

#include <algorithm>
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
    countdowns_.clear();
    anyCountdown_ = 0;
    failedCall_.clear();
    copyFailureCode = kDefaultCopyFailure;
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

size_t ScriptedPlatform::count(const std::string& call) const {
    return static_cast<size_t>(std::ranges::count(calls(), call));
}

std::vector<std::string> ScriptedPlatform::logTexts() const {
    std::vector<std::string> texts;
    for (LogRecord& record : logs()) {
        texts.push_back(std::move(record.text));
    }
    return texts;
}

void ScriptedPlatform::clearLogs() {
    const std::lock_guard lock(mutex_);
    logs_.clear();
}

bool ScriptedPlatform::enter(const char* call, bool inSweep) {
    const std::lock_guard lock(mutex_);
    // A record's text is put together by these two in a row.
    const bool formatsRecord =
        std::strcmp(call, "vsnprintf_s") == 0 ||
        (std::strcmp(call, "sprintf_s") == 0 && !calls_.empty() && calls_.back() == "vsnprintf_s");
    calls_.emplace_back(call);
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

} // namespace tarn::test
