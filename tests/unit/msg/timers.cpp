// Both timer families on a platform whose timers expire when the test says so.
#include "tarn_conference/conf_timer.h"

#include <atomic>
#include <cstring>
#include <future>
#include <thread>

#include "scripted_message.h"
#include "scripted_timer.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

constexpr uint32_t kPeriodic = 2;
constexpr char kReceiver[] = "meeting";
constexpr char kText[] = "sixteen letters."; // 17 bytes

uint32_t handler(uint32_t, void*, uint32_t) {
    return 0;
}

// What the n-th asynchronous message carried.
struct Sent {
    uint32_t msgId;
    std::string data;
    std::string receiver = kReceiver;
    ConfCommMsgHandler run = handler;

    bool operator==(const Sent&) const = default;
};

Sent sent(size_t index) {
    const SentMessage& message = scriptedMessages().asynchronous.at(index);
    ConfCommMsgPayload payload = {};
    std::memcpy(&payload, message.payload.data(), sizeof payload);
    const auto* data = reinterpret_cast<const char*>(message.payload.data()) + offsetof(ConfCommMsgPayload, data);
    return {payload.msgId, {data, payload.dataLength}, message.record.receiverName, payload.handler};
}

size_t sentCount() {
    return scriptedMessages().asynchronous.size();
}

class TimerTest : public ScriptedPlatformTest {
 protected:
    void SetUp() override {
        ScriptedPlatformTest::SetUp();
        timers = {};
        ASSERT_EQ(ConfCommTimerFuncInit(table, 2), 0U);
        ASSERT_EQ(ConfTimerInit(&timer, 9, CONF_TIMER_ONE_SHOT, kReceiver, handler), 0U);
        platform.reset();
    }

    void TearDown() override {
        platform.reset();
        timers.whileDeleting = nullptr;
        ConfCommTimerInit(table, 2); // some tests end it
        ConfTimerStop(&timer);
        ConfCommTimerFuncDeInit();
        ScriptedPlatformTest::TearDown();
    }

    static ConfCommTimerEntry row(uint32_t id, uint32_t mode, uint32_t duration, const char* receiver) {
        return {id, mode, duration, receiver, handler, nullptr, 0, nullptr, 0};
    }

    ScriptedTimers& timers = scriptedTimers();
    ConfCommTimerEntry table[2] = {row(70, CONF_TIMER_ONE_SHOT, 25, kReceiver),
                                   row(71, kPeriodic, 9, "a name of 16 ch.")};
    ConfTimer timer = {};
};

TEST_F(TimerTest, InitBlocksTheSignalsAndTakesTheTableThatDeInitEnds) {
    ASSERT_EQ(ConfCommTimerInit(table, 2), 0U);
    EXPECT_THAT(platform.calls(), ElementsAre("OsMutexInit", "OsSigEmptySet", "OsSigAddSet", "OsSigAddSet",
                                              "OsPthreadSigmask", "OsTmrManagerInit"));
    EXPECT_EQ(timers.managerInit, (std::array<uint32_t, 3>{0, 10000, 0}));
    EXPECT_EQ(timers.maskHow, 0);
    for (int signal = 1; signal < 32; ++signal) {
        EXPECT_EQ(sigismember(&timers.mask, signal) == 1, signal == 17 || signal == 10) << signal;
    }
    EXPECT_EQ(ConfCommTimerStart(70, 1, kText, sizeof kText) + ConfCommTimerStart(71, 1, kText, sizeof kText), 0U);
    ConfCommTimerDeInit();
    EXPECT_EQ(ConfCommTimerStart(70, 1, nullptr, 0), 1U);
    EXPECT_TRUE(timers.created[0].deleted && timers.created[1].deleted);
    EXPECT_THAT(Pointers({table[0].platformTimer, table[0].data, table[1].platformTimer, table[1].data}),
                Each(nullptr));
    EXPECT_EQ(platform.count("OsMutexDestroy"), 1U);
    platform.failNth("OsTmrManagerInit", 1);
    EXPECT_EQ(ConfCommTimerInit(table, 2), 1U);
    EXPECT_EQ(ConfCommTimerStart(70, 1, nullptr, 0), 0U) << "the table is taken all the same";
    platform.reset();
    EXPECT_EQ(ConfCommTimerFuncInit(nullptr, 2), 1U);
    EXPECT_THAT(platform.calls(), IsEmpty());
    EXPECT_EQ(ConfCommTimerInit(nullptr, 2), 1U);
    EXPECT_THAT(platform.calls(), ElementsAre("OsMutexInit"));
    EXPECT_EQ(ConfCommTimerInit(table, -1), 0U);
    EXPECT_EQ(ConfCommTimerStart(70, 1, nullptr, 0), 1U);
}

TEST_F(TimerTest, TableTimerIsCreatedWithItsRecord) {
    ASSERT_EQ(ConfCommTimerStart(70, 5, kText, sizeof kText), 0U);
    OsTimerParam expected = {};
    std::strcpy(expected.name, kReceiver);
    expected.userData[0] = 70;
    expected.userDataMarker = 1;
    expected.periodTicks = 2;
    expected.callback = timers.created[0].param.callback;
    EXPECT_EQ(std::memcmp(&timers.created[0].param, &expected, sizeof expected), 0);
    EXPECT_EQ(timers.created[0].ticks, 2U);

    ASSERT_EQ(ConfCommTimerStartEx(71, 0, 5, nullptr, 3), 0U);
    EXPECT_EQ(table[1].dataLen, 3U);
    EXPECT_EQ(timers.created[1].ticks, 0U);
    EXPECT_EQ(timers.created[1].param.repeat, 1U);
    EXPECT_STREQ(timers.created[1].param.name, "");
    EXPECT_THAT(takeLogs("ConfCommTimerStartEx"), ElementsAre("conf secure func failed, err = 34!\n"));
}

TEST_F(TimerTest, ExpirySendsWhatTheLastStartGave) {
    std::string data = "first";
    ASSERT_EQ(ConfCommTimerStartEx(70, 100, 5, data.data(), 5), 0U);
    data = "wiped";
    timers.fire(0);
    EXPECT_EQ(sent(0), (Sent{5, "first"}));

    // Still running, so only message id and data are new; so it is after the expiry of the one-shot.
    ASSERT_EQ(ConfCommTimerStartEx(70, 500, 6, "second", 6), 0U);
    EXPECT_EQ(timers.created.size(), 1U);
    timers.fire(0);
    EXPECT_EQ(sent(1), (Sent{6, "second"}));

    ASSERT_EQ(ConfCommTimerFree(70), 0U);
    EXPECT_EQ(table[0].data, nullptr);
    ASSERT_EQ(ConfCommTimerStartEx(70, 500, 7, nullptr, 0), 0U);
    EXPECT_EQ(timers.created[1].ticks, 50U);
    timers.fire(1);
    EXPECT_EQ(sent(2), (Sent{7, ""}));
    EXPECT_THAT(takeLogs(), IsEmpty());
}

TEST_F(TimerTest, WithoutItsDataATimerSendsNothingAndWithoutAHandleItFails) {
    platform.failNth("memcpy_s", 1);
    EXPECT_EQ(ConfCommTimerStart(70, 5, kText, sizeof kText), 1U);
    timers.fire(0);
    EXPECT_EQ(sentCount(), 0U);
    ConfCommTimerStop(70);
    takeLogs();
    timers.noHandle = true;
    EXPECT_EQ(ConfCommTimerStart(70, 5, kText, sizeof kText), 1U);
    EXPECT_EQ(ConfTimerStart(&timer, 10, 5, kText, sizeof kText), 1U);
    EXPECT_THAT(takeLogs("ConfTimerStart"),
                ElementsAre("1 [ConfCommTimerStartEx]OsTmrCreate fail! ret:0", "OsTmrCreate fail! ret:0"));
    EXPECT_FALSE(ConfTimerIsVaild(&timer));
}

TEST_F(TimerTest, FreeStandingOneShotReturnsToIdle) {
    ASSERT_EQ(ConfTimerStart(&timer, 25, 5, "first", 5), 0U);
    ConfTimer* address = nullptr;
    std::memcpy(&address, timers.created[0].param.userData, sizeof(void*));
    EXPECT_EQ(address, &timer);
    EXPECT_THAT(
        Codes({timers.created[0].param.userDataMarker, timers.created[0].param.repeat, timers.created[0].ticks}),
        ElementsAre(8, 0, 2));
    EXPECT_STREQ(timers.created[0].param.name, kReceiver);
    EXPECT_TRUE(ConfTimerIsVaild(&timer));

    platform.failNth("OsMsgAsynSend", 1);
    timers.fire(0);
    EXPECT_FALSE(ConfTimerIsVaild(&timer)) << "whether the send worked or not";
    ASSERT_EQ(ConfTimerStart(&timer, 30, 6, nullptr, 0), 0U);
    EXPECT_EQ(timers.created[1].ticks, 3U);
    timers.fire(1);
    EXPECT_EQ(sent(0), (Sent{6, ""}));
    EXPECT_FALSE(ConfTimerIsVaild(&timer));
}

TEST_F(TimerTest, FreeStandingPeriodicStaysUntilItIsStopped) {
    timer.mode = 0; // any but the one
    ASSERT_EQ(ConfTimerStart(&timer, 20, 5, "first", 5), 0U);
    EXPECT_EQ(timers.created[0].param.repeat, 1U);
    timers.fire(0);
    ASSERT_EQ(ConfTimerStart(&timer, 90, 6, "other", 5), 0U);
    timers.fire(0);
    EXPECT_EQ(timers.created.size(), 1U);
    EXPECT_EQ(sent(0), (Sent{5, "first"}));
    EXPECT_EQ(sent(1), (Sent{6, "other"}));
    EXPECT_TRUE(ConfTimerIsVaild(&timer));
    EXPECT_EQ(ConfTimerFree(&timer), 0U);
    EXPECT_TRUE(timers.created[0].deleted);
    EXPECT_FALSE(ConfTimerIsVaild(&timer));
    EXPECT_EQ(timer.data, nullptr);
}

TEST_F(TimerTest, UnknownIdsAndNullChangeNothing) {
    EXPECT_THAT(Codes({ConfCommTimerStart(72, 1, kText, sizeof kText), ConfCommTimerStop(UINT32_MAX),
                       ConfTimerInit(nullptr, 1, 1, kReceiver, handler), ConfTimerInit(&timer, 1, 2, nullptr, handler),
                       ConfTimerStart(nullptr, 1, 1, nullptr, 0), ConfTimerStop(nullptr)}),
                Each(1));
    EXPECT_FALSE(ConfTimerIsVaild(nullptr));
    EXPECT_EQ(timer.id, 9U);
    EXPECT_EQ(timer.mode, CONF_TIMER_ONE_SHOT);
    EXPECT_EQ(platform.count("OsMutexLock"), 0U);
    EXPECT_THAT(takeLogs("ConfTimerInit"),
                ElementsAre("1 [ConfCommTimerStartEx]timerId:72 invalid", "1 [ConfCommTimerStop]timerId:-1 invalid",
                            "Null ptr.", "Null ptr.", "1 [ConfTimerStart]Null ptr.", "1 [ConfTimerStop]Null ptr.",
                            "1 [ConfTimerIsVaild]Null ptr."));
    // Nor do expiries of such.
    ASSERT_EQ(ConfCommTimerStart(70, 1, nullptr, 0) + ConfTimerStart(&timer, 1, 1, nullptr, 0), 0U);
    OsTimerParam param = timers.created[0].param;
    param.userData[0] = 99;
    param.callback(&param);
    param.callback(nullptr);
    timers.created[1].param.callback(nullptr);
    EXPECT_EQ(sentCount(), 0U);
    EXPECT_THAT(takeLogs("ConfCommTimerOut"),
                ElementsAre("timerId:99 invalid", "Null ptr.", "1 [ConfCommTimerIDOut]Null ptr."));
}

TEST_F(TimerTest, ExpiryDuringItsOwnStartIsSentWithTheNewContent) {
    timers.whileCreating = [](ScriptedTimer& created) { created.param.callback(&created.param); };
    ASSERT_EQ(ConfTimerStart(&timer, 0, 5, "data", 4), 0U);
    EXPECT_FALSE(ConfTimerIsVaild(&timer)) << "it has expired";
    ASSERT_EQ(ConfCommTimerStart(70, 6, "more", 4), 0U);
    EXPECT_NE(table[0].platformTimer, nullptr);
    ASSERT_EQ(sentCount(), 2U);
    EXPECT_EQ(sent(0), (Sent{5, "data"}));
    EXPECT_EQ(sent(1), (Sent{6, "more"}));
}

// The handler may start its timer anew while the timer thread is still busy with the expiry that brought it.
TEST_F(TimerTest, StartBesideASendingExpiryMakesANewTimer) {
    ASSERT_EQ(ConfTimerStart(&timer, 10, 5, nullptr, 0), 0U);
    std::promise<void> sending;
    std::promise<void> startedAnew;
    scriptedMessages().whileSending = [&] {
        EXPECT_TRUE(ConfTimerIsVaild(&timer));
        sending.set_value();
        startedAnew.get_future().wait();
    };
    std::thread timerThread([&] { timers.fire(0); });
    sending.get_future().wait();
    EXPECT_EQ(ConfTimerStart(&timer, 10, 6, nullptr, 0), 0U);
    EXPECT_EQ(timers.created.size(), 2U);
    startedAnew.set_value();
    timerThread.join();
    EXPECT_TRUE(ConfTimerIsVaild(&timer)) << "the first expiry must not mark the second run idle";
    scriptedMessages().whileSending = nullptr;
    timers.fire(1);
    EXPECT_EQ(sent(1).msgId, 6U);
    EXPECT_FALSE(ConfTimerIsVaild(&timer));
}

// The platform waits in a deletion for the callback: with a lock in common the two would wait for each other.
TEST_F(TimerTest, ExpiryRunsWhileAStopWaitsForIt) {
    ASSERT_EQ(ConfCommTimerStart(70, 5, kText, sizeof kText), 0U);
    ASSERT_EQ(ConfTimerStart(&timer, 10, 6, kText, sizeof kText), 0U);
    timers.whileDeleting = [](ScriptedTimer& deleted) {
        std::thread([&] { deleted.param.callback(&deleted.param); }).join();
    };
    EXPECT_EQ(ConfCommTimerStop(70), 0U);
    EXPECT_EQ(ConfTimerStop(&timer), 0U);
    EXPECT_EQ(sentCount(), 2U);
    EXPECT_EQ(sent(1).data, std::string(kText, sizeof kText));
}

TEST_F(TimerTest, ExpiriesNeverSendAMixtureOfTwoStarts) {
    timer.mode = kPeriodic;
    ASSERT_EQ(ConfTimerStart(&timer, 10, 0, "", 0), 0U);
    ASSERT_EQ(ConfCommTimerStart(70, 0, "", 0), 0U);
    std::atomic<bool> done = false;
    std::thread timerThread([&] {
        while (!done) {
            timers.fire(0);
            timers.fire(1);
        }
    });
    for (uint32_t round = 1; round <= 300; ++round) {
        const std::string data(round, static_cast<char>('a' + round % 26));
        EXPECT_EQ(ConfTimerStart(&timer, 10, round, data.data(), round), 0U);
        EXPECT_EQ(ConfCommTimerStart(70, round, data.data(), round), 0U);
        EXPECT_TRUE(ConfTimerIsVaild(&timer));
    }
    done = true;
    timerThread.join();
    for (size_t index = 0; index < sentCount(); ++index) {
        const Sent message = sent(index);
        ASSERT_EQ(message.data, std::string(message.msgId, static_cast<char>('a' + message.msgId % 26)));
    }
}

TEST_F(TimerTest, SystemTimeCountsMonthsFromOneAndTheFullYear) {
    scriptedTime() = {.calendar = {999, 60, 59, 23, 31, 11, 126, 4, 364}, .seconds = 0xFFFFFFFF};
    ConfSysTime now = {};
    EXPECT_EQ(ConfBasicGetSysTime(&now), 0U);
    EXPECT_THAT(std::vector<int>({now.year, now.month, now.day, now.hour, now.minute, now.second, now.milliseconds}),
                ElementsAre(2026, 12, 31, 23, 59, 60, 999));
    EXPECT_EQ(ConfGetSysTimeSec(), 0xFFFFFFFF);

    EXPECT_EQ(ConfBasicGetSysTime(nullptr), 1U);
    EXPECT_THAT(takeLogs("ConfBasicGetSysTime"), ElementsAre("Null ptr."));
}

} // namespace
} // namespace tarn::test
