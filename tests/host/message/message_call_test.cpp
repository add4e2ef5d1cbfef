// Synchronous calls between processes.
#include "message/message_support.h"

namespace {

using namespace message_test;

uint32_t codeOf(Command command, uint32_t timeoutMs = 20000) {
    return call("callee", order(command), timeoutMs).code;
}

TEST(MessageCall, CarriesPayloadsOfEverySize) {
    const Receiver callee("callee");
    for (const size_t size : {size_t{0}, size_t{1}, size_t{65536}, kMiB, 64 * kMiB}) {
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
    for (const char* name : {"", "a/b", "sixteen-letters!"}) {
        expectRefused(makeRecord(name, payload), kInvalid, name);
    }
    OsMsgRecord record = makeRecord("callee", payload);
    EXPECT_EQ(OsMsgSynSend(nullptr, &answer, 1000), kInvalid);
    EXPECT_EQ(OsMsgSynSend(&record, nullptr, 1000), kInvalid);
    record.payloadLength = (64U << 20) + 4097;
    expectRefused(record, EMSGSIZE, "too large");
    record.payload = nullptr;
    record.payloadLength = 8;
    expectRefused(record, kInvalid, "no payload");
    record = makeRecord("callee", payload);
    std::memset(record.senderName, 'x', sizeof record.senderName);
    expectRefused(record, kInvalid, "sender without an end");
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
    const Receiver next("callee");
    EXPECT_EQ(codeOf(kEcho), 0U);
}

TEST(MessageCall, TellsTheSenderThatNoAnswerWillCome) {
    const Receiver callee("callee");
    EXPECT_LT(elapsedMs([] {
                  EXPECT_EQ(codeOf(kKeepSilent), uint32_t{ENOMSG});
                  EXPECT_EQ(call("callee", order(kCallSelf)).number(), uint32_t{EDEADLK});
              }),
              kAtOnceMs);
    Bytes payload(8);
    const OsMsgRecord notReceived = makeRecord("callee", payload);
    EXPECT_EQ(OsMsgSynSendResp(&notReceived, payload.data(), 8), kInvalid);
}

TEST(MessageCall, ServesManyThreadsAtOnce) {
    const Receiver callee("callee");
    inThreads(24, [&](size_t caller) {
        for (uint32_t i = 0; i < 40; i++) {
            const Bytes payload = order(kEcho, static_cast<uint32_t>(caller) * 1000 + i, 8 + caller * 37 % 5000);
            EXPECT_EQ(call("callee", payload).bytes, payload);
        }
    });
}

} // namespace
