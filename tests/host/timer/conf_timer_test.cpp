// Both timer families over the real timer manager and the real message service, within one process.
#include "tarn_conference/conf_timer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tarn_host/host_message.h"
#include "tarn_host/host_timer.h"

namespace {

using std::chrono::milliseconds;

constexpr char kReceiver[] = "timer-test";
constexpr uint32_t kPeriodic = 2;

std::mutex receivedMutex;
std::vector<std::pair<uint32_t, std::string>> received;
ConfTimer rearmed = {};
std::atomic<uint32_t> rearmings = 0;

template <typename Condition>
bool comesTrue(Condition condition) {
    for (int attempt = 0; attempt < 10'000; ++attempt) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
    return false;
}

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

uint32_t note(uint32_t msgId, void* data, uint32_t dataLen) {
    const std::lock_guard lock(receivedMutex);
    received.emplace_back(msgId, std::string(static_cast<const char*>(data), dataLen));
    return 0;
}

uint32_t startAnew(uint32_t msgId, void* data, uint32_t dataLen) {
    if (++rearmings < 30) {
        EXPECT_EQ(ConfTimerStart(&rearmed, 0, msgId + 1, data, dataLen), 0U);
    }
    return 0;
}

size_t receivedCount(uint32_t msgId) {
    const std::lock_guard lock(receivedMutex);
    return static_cast<size_t>(
        std::count_if(received.begin(), received.end(), [&](const auto& message) { return message.first == msgId; }));
}

class ConfTimerTest : public testing::Test {
 protected:
    void SetUp() override {
        received.clear();
        ASSERT_EQ(OsMsgReceiverStart(kReceiver, onRecord), 0U);
        ASSERT_EQ(ConfCommTimerFuncInit(table, 2), 0U);
    }

    void TearDown() override {
        EXPECT_EQ(ConfCommTimerFuncDeInit(), 0U);
        EXPECT_EQ(OsMsgReceiverStop(kReceiver), 0U);
        EXPECT_EQ(TarnHostTimerManagerStop(), 0U);
    }

    ConfCommTimerEntry table[2] = {{.timerId = 1,
                                    .mode = CONF_TIMER_ONE_SHOT,
                                    .defaultDurationMs = 20,
                                    .recvProcName = kReceiver,
                                    .handler = note,
                                    .platformTimer = nullptr,
                                    .msgId = 0,
                                    .data = nullptr,
                                    .dataLen = 0},
                                   {.timerId = 2,
                                    .mode = kPeriodic,
                                    .defaultDurationMs = 10,
                                    .recvProcName = kReceiver,
                                    .handler = note,
                                    .platformTimer = nullptr,
                                    .msgId = 0,
                                    .data = nullptr,
                                    .dataLen = 0}};
};

TEST_F(ConfTimerTest, BothFamiliesDeliverWhatTheyWereStartedWith) {
    ConfTimer oneShot = {};
    ConfTimer periodic = {};
    ASSERT_EQ(ConfTimerInit(&oneShot, 3, CONF_TIMER_ONE_SHOT, kReceiver, note), 0U);
    ASSERT_EQ(ConfTimerInit(&periodic, 4, kPeriodic, kReceiver, note), 0U);
    ASSERT_EQ(ConfCommTimerStart(1, 11, "one", 3), 0U);
    ASSERT_EQ(ConfCommTimerStart(2, 12, "two", 3), 0U);
    ASSERT_EQ(ConfTimerStart(&oneShot, 30, 13, "three", 5), 0U);
    ASSERT_EQ(ConfTimerStart(&periodic, 10, 14, nullptr, 0), 0U);
    EXPECT_TRUE(comesTrue([] {
        return receivedCount(11) == 1 && receivedCount(12) >= 5 && receivedCount(13) == 1 && receivedCount(14) >= 5;
    }));
    EXPECT_TRUE(comesTrue([&] { return !ConfTimerIsVaild(&oneShot); }));
    EXPECT_TRUE(ConfTimerIsVaild(&periodic));

    EXPECT_EQ(ConfTimerStop(&periodic), 0U);
    for (const uint32_t id : {1U, 2U}) {
        EXPECT_EQ(ConfCommTimerStop(id), 0U);
    }
    std::this_thread::sleep_for(milliseconds(30)); // what was under way arrives
    const size_t before = receivedCount(12) + receivedCount(14);
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_EQ(receivedCount(12) + receivedCount(14), before);
    EXPECT_EQ(receivedCount(11), 1U);
    for (const auto& [msgId, data] : received) {
        EXPECT_EQ(data, msgId == 11 ? "one" : msgId == 12 ? "two" : msgId == 13 ? "three" : "");
    }
    EXPECT_EQ(ConfTimerStop(&oneShot), 0U);
}

// No start may be lost because the timer thread has not come to mark the last run over.
TEST_F(ConfTimerTest, HandlerStartsItsOneShotAnew) {
    rearmed = {};
    rearmings = 0;
    ASSERT_EQ(ConfTimerInit(&rearmed, 5, CONF_TIMER_ONE_SHOT, kReceiver, startAnew), 0U);
    ASSERT_EQ(ConfTimerStart(&rearmed, 0, 100, "data", 4), 0U);
    EXPECT_TRUE(comesTrue([] { return rearmings == 30; }));
    EXPECT_TRUE(comesTrue([] { return !ConfTimerIsVaild(&rearmed); }));
    EXPECT_EQ(ConfTimerStop(&rearmed), 0U);
}

TEST_F(ConfTimerTest, TimersOutliveAnAbsentReceiver) {
    ASSERT_EQ(OsMsgReceiverStop(kReceiver), 0U);
    ASSERT_EQ(ConfCommTimerStart(2, 12, "two", 3), 0U);
    std::this_thread::sleep_for(milliseconds(40));
    ASSERT_EQ(OsMsgReceiverStart(kReceiver, onRecord), 0U);
    EXPECT_TRUE(comesTrue([] { return receivedCount(12) >= 2; }));
}

TEST_F(ConfTimerTest, InitBlocksTheSignalsInItsThread) {
    sigset_t mask = {};
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &mask), 0);
    EXPECT_EQ(sigismember(&mask, SIGCHLD), 1);
    EXPECT_EQ(sigismember(&mask, SIGUSR1), 1);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
}

TEST(ConfTime, IsTheLocalTimeOfTheSystem) {
    const std::time_t before = std::time(nullptr);
    ConfSysTime now = {};
    ASSERT_EQ(ConfBasicGetSysTime(&now), 0U);
    std::tm calendar = {};
    calendar.tm_year = now.year - 1900;
    calendar.tm_mon = now.month - 1;
    calendar.tm_mday = now.day;
    calendar.tm_hour = now.hour;
    calendar.tm_min = now.minute;
    calendar.tm_sec = now.second;
    calendar.tm_isdst = -1;
    const std::time_t told = std::mktime(&calendar);
    EXPECT_GE(told, before);
    EXPECT_LE(told, std::time(nullptr));
    EXPECT_LT(now.milliseconds, 1000);
    EXPECT_GE(ConfGetSysTimeSec(), static_cast<uint32_t>(before));
}

} // namespace
