// The library's timers over the real timer manager and the real message service, within one process.
#include "tarn_conference/conf_timer.h"

#include "support/host_test.h"
#include "tarn_host/host_message.h"
#include "tarn_host/host_timer.h"
#include "tarn_platform/os_timer.h"

namespace {

using namespace tarn::test;

constexpr char kReceiver[] = "timer-test";
constexpr uint32_t kPeriodic = 2;

ConfTimer timer = {};
ConfCommTimerEntry noTable[1] = {};
std::atomic<uint32_t> received = 0;

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

class ConfTimerTest : public testing::Test {
 protected:
    void SetUp() override {
        pthread_sigmask(SIG_BLOCK, nullptr, &mask_);
        timer = {};
        received = 0;
        ASSERT_EQ(OsMsgReceiverStart(kReceiver, onRecord), 0U);
        ASSERT_EQ(ConfCommTimerFuncInit(noTable, 0), 0U);
    }
    void TearDown() override {
        EXPECT_EQ(ConfTimerStop(&timer), 0U);
        EXPECT_EQ(ConfCommTimerFuncDeInit(), 0U);
        EXPECT_EQ(OsMsgReceiverStop(kReceiver), 0U);
        EXPECT_EQ(TarnHostTimerManagerStop(), 0U);
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    }

 private:
    sigset_t mask_ = {};
};

// No start may be lost because the timer thread has not come to mark the last run over.
TEST_F(ConfTimerTest, HandlerStartsItsOneShotAnew) {
    const auto startAnew = [](uint32_t msgId, void* data, uint32_t dataLen) {
        return ++received < 30 ? ConfTimerStart(&timer, 0, msgId + 1, data, dataLen) : 0;
    };
    ASSERT_EQ(ConfTimerInit(&timer, 5, CONF_TIMER_ONE_SHOT, kReceiver, startAnew), 0U);
    ASSERT_EQ(ConfTimerStart(&timer, 0, 100, "data", 4), 0U);
    EXPECT_TRUE(comesTrue([] { return received == 30 && !ConfTimerIsVaild(&timer); }));
}

TEST_F(ConfTimerTest, TimersOutliveAnAbsentReceiver) {
    const auto count = [](uint32_t, void*, uint32_t) -> uint32_t {
        ++received;
        return 0;
    };
    ASSERT_EQ(ConfTimerInit(&timer, 6, kPeriodic, kReceiver, count), 0U);
    ASSERT_EQ(OsMsgReceiverStop(kReceiver), 0U);
    ASSERT_EQ(ConfTimerStart(&timer, 10, 12, "two", 3), 0U);
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    ASSERT_EQ(OsMsgReceiverStart(kReceiver, onRecord), 0U);
    EXPECT_TRUE(comesTrue([] { return received >= 2; }));
}

} // namespace
