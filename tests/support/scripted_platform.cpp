#include "scripted_platform.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "scripted_message.h"

namespace tarn::test {

void ScriptedPlatform::reset() {
    const std::lock_guard lock(mutex_);
    state_ = {};
    copyFailureCode = 400;
}

void ScriptedPlatform::failNth(const std::string& call, size_t n) {
    const std::lock_guard lock(mutex_);
    state_.countdowns[call] = n;
    state_.failedCall.clear();
}

size_t ScriptedPlatform::count(const std::string& call) const {
    return static_cast<size_t>(std::ranges::count(calls(), call));
}

std::vector<std::string> ScriptedPlatform::logTexts() const {
    std::vector<std::string> texts;
    std::ranges::transform(logs(), std::back_inserter(texts), &LogRecord::text);
    return texts;
}

void ScriptedPlatform::clearLogs() {
    const std::lock_guard lock(mutex_);
    state_.logs.clear();
}

bool ScriptedPlatform::enter(const char* call, bool inSweep) {
    const std::lock_guard lock(mutex_);
    // A record's text is put together by these two in a row.
    const bool formatsRecord =
        std::strcmp(call, "vsnprintf_s") == 0 ||
        (std::strcmp(call, "sprintf_s") == 0 && !state_.calls.empty() && state_.calls.back() == "vsnprintf_s");
    state_.calls.emplace_back(call);
    const auto countsDown = [this](const char* name) {
        const auto planned = state_.countdowns.find(name);
        return planned != state_.countdowns.end() && planned->second != 0 && --planned->second == 0;
    };
    const bool failsAsNamed = countsDown(call);
    const bool fails = (inSweep && countsDown(kAnyCall)) || failsAsNamed;
    if (fails) {
        state_.failedCall = call;
        state_.failedInRecord = formatsRecord;
    }
    return fails;
}

void ScriptedPlatform::addLog(LogRecord record) {
    const std::lock_guard lock(mutex_);
    state_.logs.push_back(std::move(record));
}

void ScriptedPlatform::addAllocation(Allocation allocation) {
    const std::lock_guard lock(mutex_);
    state_.allocations.push_back(std::move(allocation));
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
