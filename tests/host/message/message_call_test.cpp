// Synchronous calls between processes.
#include <errno.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <thread>

#include "message/message_support.h"
#include "tarn_host/host_process.h"

namespace {

using namespace message_test;

bool receive() {
    return OsMsgReceiverStart("callee", obey) == 0;
}

TEST(MessageCall, CarriesPayloadsOfEverySize) {
    const Child callee(receive);
    for (const size_t size :
         {size_t{0}, size_t{1}, size_t{64}, size_t{4096}, size_t{65536}, size_t{1} << 20, size_t{64} << 20}) {
        Bytes payload = size < sizeof(Order) ? Bytes(size, 9) : order(kEcho, 0, size);
        const Result result = call("callee", payload);
        ASSERT_EQ(result.code, 0U) << size;
        EXPECT_TRUE(result.bytes() == payload) << size;
        EXPECT_STREQ(result.answer->senderName, "callee");
        EXPECT_STREQ(result.answer->receiverName, "tester");
        EXPECT_EQ(result.answer->senderUid, getuid());
        EXPECT_EQ(result.answer->kind, 1U);
    }
}

TEST(MessageCall, RefusesBadRecords) {
    Bytes payload(8);
    OsMsgRecord* answer = nullptr;
    for (const char* name : {"", ".x", "a/b", "with blank", "sixteen-letters!"}) {
        OsMsgRecord record = makeRecord(name, payload);
        EXPECT_EQ(OsMsgSynSend(&record, &answer, 1000), uint32_t{EINVAL}) << name;
        EXPECT_EQ(OsMsgAsynSend(&record), uint32_t{EINVAL}) << name;
    }
    OsMsgRecord record = makeRecord("callee", payload);
    EXPECT_EQ(OsMsgSynSend(nullptr, &answer, 1000), uint32_t{EINVAL});
    EXPECT_EQ(OsMsgSynSend(&record, nullptr, 1000), uint32_t{EINVAL});
    EXPECT_EQ(OsMsgAsynSend(nullptr), uint32_t{EINVAL});
    std::memset(record.senderName, 'x', sizeof record.senderName);
    EXPECT_EQ(OsMsgAsynSend(&record), uint32_t{EINVAL});
    record = makeRecord("callee", payload);
    record.payload = nullptr;
    EXPECT_EQ(OsMsgSynSend(&record, &answer, 1000), uint32_t{EINVAL});
    record.payload = payload.data();
    record.payloadLength = (64U << 20) + 4097;
    EXPECT_EQ(OsMsgSynSend(&record, &answer, 1000), uint32_t{EMSGSIZE});
    OsMsgSynRespFree(nullptr);
}

TEST(MessageCall, FailsAtOnceWithoutAReceiver) {
    EXPECT_LT(elapsedMs([] {
                  EXPECT_EQ(call("nobody", order(kEcho)).code, uint32_t{ECONNREFUSED});
                  EXPECT_EQ(post("nobody", order(kEcho)), uint32_t{ECONNREFUSED});
              }),
              kAtOnceMs);
}

TEST(MessageCall, KeepsItsTimeoutAndDropsTheLateAnswer) {
    const Child callee(receive);
    for (const size_t size : {sizeof(Order), size_t{32} << 20}) {
        Bytes payload = order(kSleepThenEcho, 600, size);
        OsMsgRecord record = makeRecord("callee", payload);
        OsMsgRecord* answer = nullptr;
        const int64_t waited = elapsedMs([&] { EXPECT_EQ(OsMsgSynSend(&record, &answer, 300), uint32_t{ETIMEDOUT}); });
        EXPECT_GE(waited, 300);
        EXPECT_LT(waited, 550) << size;
        // The receiver is still busy with the call above.
        EXPECT_EQ(call("callee", order(kEcho, 1, size), 100).code, uint32_t{ETIMEDOUT});
        const Result next = call("callee", order(kEcho, 2));
        ASSERT_EQ(next.code, 0U);
        EXPECT_TRUE(next.bytes() == order(kEcho, 2));
    }
}

// Nobody reads what is sent: the whole payload does not fit the socket.
TEST(MessageCall, KeepsItsTimeoutWhileSending) {
    const Child callee(receive);
    callee.signal(SIGSTOP);
    const int64_t waited =
        elapsedMs([] { EXPECT_EQ(call("callee", order(kEcho, 0, size_t{32} << 20), 300).code, uint32_t{ETIMEDOUT}); });
    EXPECT_GE(waited, 300);
    EXPECT_LT(waited, 1000);
    callee.signal(SIGCONT);
    EXPECT_EQ(call("callee", order(kEcho)).code, 0U);
}

TEST(MessageCall, FailsAtOnceWhenTheReceiverDiesAndFindsTheNextOne) {
    Child first(receive);
    EXPECT_EQ(call("callee", order(kEcho)).code, 0U);
    EXPECT_LT(elapsedMs([] { EXPECT_EQ(call("callee", order(kDie)).code, uint32_t{ECONNRESET}); }), kAtOnceMs);
    first.end();
    const std::filesystem::path files = std::filesystem::path(TarnHostDir()) / "msg";
    EXPECT_TRUE(exists(files / "callee.socket")) << "a killed receiver leaves its socket file behind";
    EXPECT_EQ(call("callee", order(kEcho)).code, uint32_t{ECONNREFUSED});
    // The same names again, over the files that were left; this thread's connection to it is made anew.
    for (int restart = 0; restart < 2; restart++) {
        Child next(receive);
        EXPECT_EQ(call("callee", order(kEcho)).code, 0U);
        next.end();
    }
}

TEST(MessageCall, TellsTheSenderThatNoAnswerWillCome) {
    const Child callee(receive);
    EXPECT_LT(elapsedMs([] { EXPECT_EQ(call("callee", order(kKeepSilent)).code, uint32_t{ENOMSG}); }), kAtOnceMs);
    EXPECT_EQ(call("callee", order(kAnswerTwice)).code, 0U);
    EXPECT_EQ(call("callee", order(kRecall)).number(), uint32_t{EINVAL});
    EXPECT_LT(elapsedMs([] { EXPECT_EQ(call("callee", order(kCallSelf)).number(), uint32_t{EDEADLK}); }), kAtOnceMs);
    Bytes payload(8);
    const OsMsgRecord notReceived = makeRecord("callee", payload);
    EXPECT_EQ(OsMsgSynSendResp(&notReceived, payload.data(), 8), uint32_t{EINVAL});
    EXPECT_EQ(OsMsgSynSendResp(nullptr, payload.data(), 8), uint32_t{EINVAL});
}

int callManyTimes(uint32_t caller, int times) {
    int wrong = 0;
    for (int i = 0; i < times; i++) {
        const Bytes payload = order(kEcho, caller * 1000 + static_cast<uint32_t>(i), 8 + caller * 37 % 5000);
        const Result result = call("callee", payload);
        wrong += result.code == 0 && result.bytes() == payload ? 0 : 1;
    }
    return wrong;
}

TEST(MessageCall, ServesManyThreadsAtOnce) {
    const Child callee(receive);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < 24; i++) {
        threads.emplace_back([i, &wrong] { wrong += callManyTimes(i, 40); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST(MessageCall, ServesAHundredProcessesAtOnce) {
    const Child callee(receive);
    std::vector<pid_t> callers;
    for (uint32_t i = 0; i < 100; i++) {
        const pid_t pid = fork();
        if (pid == 0) {
            _exit(callManyTimes(i, 10));
        }
        callers.push_back(pid);
    }
    for (const pid_t pid : callers) {
        int status = -1;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
}

} // namespace
