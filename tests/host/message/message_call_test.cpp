// Synchronous calls between processes.
#include "message/message_support.h"

namespace {

using namespace message_test;

uint32_t codeOf(Command command, uint32_t timeoutMs = 20000) {
    return call("callee", order(command), timeoutMs).code;
}

TEST(MessageCall, CarriesPayloadsOfEverySize) {
    const Receiver callee("callee");
    for (const size_t size : {size_t{0}, size_t{1}, size_t{64}, size_t{4096}, size_t{65536}, kMiB, 64 * kMiB}) {
        const Bytes payload = size < sizeof(Order) ? Bytes(size, 9) : order(kEcho, 0, size);
        const Result result = call("callee", payload);
        ASSERT_EQ(result.code, 0U) << size;
        EXPECT_TRUE(result.bytes == payload) << size;
        EXPECT_STREQ(result.answer.senderName, "callee");
        EXPECT_STREQ(result.answer.receiverName, "tester");
        EXPECT_EQ(result.answer.senderUid, getuid());
        EXPECT_EQ(result.answer.kind, 1U);
    }
}

TEST(MessageCall, RefusesBadRecords) {
    Bytes payload(8);
    OsMsgRecord* answer = nullptr;
    const auto expectRefused = [&](OsMsgRecord record, uint32_t code, const char* what) {
        EXPECT_EQ(OsMsgSynSend(&record, &answer, 1000), code) << what;
        EXPECT_EQ(OsMsgAsynSend(&record), code) << what;
    };
    for (const char* name : {"", ".x", "a/b", "with blank", "sixteen-letters!"}) {
        expectRefused(makeRecord(name, payload), kInvalid, name);
    }
    OsMsgRecord record = makeRecord("callee", payload);
    EXPECT_EQ(OsMsgSynSend(nullptr, &answer, 1000), kInvalid);
    EXPECT_EQ(OsMsgSynSend(&record, nullptr, 1000), kInvalid);
    EXPECT_EQ(OsMsgAsynSend(nullptr), kInvalid);
    record.payloadLength = (64U << 20) + 4097;
    expectRefused(record, EMSGSIZE, "too large");
    record.payload = nullptr;
    record.payloadLength = 8;
    expectRefused(record, kInvalid, "no payload");
    record = makeRecord("callee", payload);
    std::memset(record.senderName, 'x', sizeof record.senderName);
    expectRefused(record, kInvalid, "sender without an end");
    OsMsgSynRespFree(nullptr);
}

TEST(MessageCall, KeepsItsTimeoutAndDropsTheLateAnswer) {
    const Receiver callee("callee");
    for (const size_t size : {sizeof(Order), 32 * kMiB}) {
        Bytes payload = order(kSleepThenEcho, 1500, size);
        EXPECT_GE(elapsedMs([&] { EXPECT_EQ(call("callee", payload, 300).code, uint32_t{ETIMEDOUT}); }), 300);
        // The receiver is still busy with the call above, which its sender did not wait for.
        EXPECT_EQ(call("callee", order(kEcho, 1, size), 100).code, uint32_t{ETIMEDOUT});
        EXPECT_EQ(call("callee", order(kEcho, 2)).bytes, order(kEcho, 2));
    }
    // Nobody reads what is sent: the whole payload does not fit the socket.
    callee.signal(SIGSTOP);
    const Bytes large = order(kEcho, 0, 32 * kMiB);
    EXPECT_GE(elapsedMs([&] { EXPECT_EQ(call("callee", large, 300).code, uint32_t{ETIMEDOUT}); }), 300);
    callee.signal(SIGCONT);
    EXPECT_EQ(codeOf(kEcho), 0U);
}

TEST(MessageCall, FailsAtOnceWithoutAReceiverAndFindsTheNextOne) {
    Receiver first("callee");
    EXPECT_EQ(codeOf(kEcho), 0U);
    EXPECT_LT(elapsedMs([] {
                  EXPECT_EQ(call("nobody", order(kEcho)).code, uint32_t{ECONNREFUSED});
                  EXPECT_EQ(post("nobody", order(kEcho)), uint32_t{ECONNREFUSED});
                  EXPECT_EQ(codeOf(kDie), uint32_t{ECONNRESET});
              }),
              kAtOnceMs);
    first.end();
    EXPECT_TRUE(std::filesystem::exists(messageFile("callee.socket"))) << "a killed receiver leaves its file behind";
    EXPECT_EQ(codeOf(kEcho), uint32_t{ECONNREFUSED});
    // The same names again, over the files that were left; this thread's connection to it is made anew.
    for (int restart = 0; restart < 2; restart++) {
        const Receiver next("callee");
        EXPECT_EQ(codeOf(kEcho), 0U);
    }
    EXPECT_EQ(post("callee", order(kEcho)), uint32_t{ECONNREFUSED}) << "so is a message to one that is gone";
    const Receiver last("callee");
    EXPECT_EQ(post("callee", order(kRemember, 3)), 0U);
    EXPECT_EQ(call("callee", order(kRecall)).number(), 3U);
}

TEST(MessageCall, TellsTheSenderThatNoAnswerWillCome) {
    const Receiver callee("callee");
    EXPECT_LT(elapsedMs([] {
                  EXPECT_EQ(codeOf(kKeepSilent), uint32_t{ENOMSG});
                  EXPECT_EQ(call("callee", order(kCallSelf)).number(), uint32_t{EDEADLK});
              }),
              kAtOnceMs);
    EXPECT_EQ(codeOf(kAnswerTwice), 0U);
    EXPECT_EQ(call("callee", order(kRecall)).number(), kInvalid);
    Bytes payload(8);
    const OsMsgRecord notReceived = makeRecord("callee", payload);
    EXPECT_EQ(OsMsgSynSendResp(&notReceived, payload.data(), 8), kInvalid);
    EXPECT_EQ(OsMsgSynSendResp(nullptr, payload.data(), 8), kInvalid);
}

TEST(MessageCall, ServesManyProcessesAndThreadsAtOnce) {
    const Receiver callee("callee");
    const auto callManyTimes = [](size_t caller, uint32_t times) {
        for (uint32_t i = 0; i < times; i++) {
            const Bytes payload = order(kEcho, static_cast<uint32_t>(caller) * 1000 + i, 8 + caller * 37 % 5000);
            EXPECT_EQ(call("callee", payload).bytes, payload);
        }
        return 0;
    };
    std::vector<pid_t> callers;
    for (size_t i = 0; i < 100; i++) {
        callers.push_back(startForked([&] { return callManyTimes(100 + i, 10); }));
    }
    inThreads(24, [&](size_t caller) { callManyTimes(caller, 40); });
    for (const pid_t caller : callers) {
        EXPECT_EQ(endOf(caller), 0);
    }
}

} // namespace
