// Synchronous calls between processes.
#include "message/message_support.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace message_test;

uint32_t codeOf(Command command) {
    return call("callee", order(command)).code;
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
    const auto expectRefused = [&](const OsMsgRecord& wrong, uint32_t code, const char* what) {
        OsMsgRecord record = wrong;
        EXPECT_EQ(OsMsgSynSend(&record, &answer, 1000), code) << what;
        EXPECT_EQ(OsMsgAsynSend(&record), code) << what;
    };
    for (const char* name : {"", "a/b", "sixteen-letters!"}) {
        expectRefused(makeRecord(name, payload), kInvalid, name);
    }
    OsMsgRecord record = makeRecord("callee", payload);
    expectAll(kInvalid, {OsMsgSynSend(nullptr, &answer, 1000), OsMsgSynSend(&record, nullptr, 1000),
                         OsMsgSynSendResp(&record, payload.data(), 8)});
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

TEST(MessageCall, FailsAtOnceWithoutAnAnswerAndFindsTheNextReceiver) {
    Receiver first("callee");
    EXPECT_EQ(codeOf(kEcho), 0U);
    EXPECT_LT(elapsedMs([] {
                  EXPECT_EQ(codeOf(kKeepSilent), uint32_t{ENOMSG});
                  EXPECT_EQ(call("callee", order(kCallSelf)).number(), uint32_t{EDEADLK});
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

TEST(MessageCall, ServesManyThreadsAtOnce) {
    const Receiver callee("callee");
    inThreads(24, [&](size_t caller) {
        for (uint32_t i = 0; i < 40; i++) {
            const Bytes payload = order(kEcho, static_cast<uint32_t>(caller) * 1000 + i, 8 + caller * 37 % 5000);
            EXPECT_EQ(call("callee", payload).bytes, payload);
        }
    });
}

// Calls of kind 2: the block that the receiving handler attaches travels with the answer.
struct __attribute__((packed)) BlockPayload {
    char platformHead[16];
    uint32_t dataLength;
    uint32_t command;
    char data[68];
    uint8_t* block;
    uint32_t blockLength;
    char rest[8];
};
static_assert(sizeof(BlockPayload) == 20 + 88 + 4);

constexpr uint32_t kBlockBytes = 70000;
uint8_t* const sendersPointer = reinterpret_cast<uint8_t*>(0x1234); // The receiver must not see it.

enum BlockCommand : uint32_t { kAttach, kAttachNothing, kAttachAbsurd };

void release(void* block) {
    OSMemTypeFreeMon(block, 0, 0, __LINE__, "message_call_test");
}

// Attaches a block of 'b', or what is asked for. A pointer that came in is told by a length of 1.
void attach(OsMsgRecord* record) {
    auto& payload = *static_cast<BlockPayload*>(record->payload);
    uint8_t* block = nullptr;
    if (payload.command != kAttachNothing) {
        const bool pointerCameIn = payload.block != nullptr;
        block = static_cast<uint8_t*>(OsMemMallocSetCharMon(kBlockBytes, 0, 0, 0, __LINE__, "message_call_test"));
        std::memset(block, 'b', kBlockBytes);
        payload.block = block;
        payload.blockLength = pointerCameIn ? 1U : payload.command == kAttach ? kBlockBytes : (64U << 20) + 4097;
    }
    if (OsMsgSynSendResp(record, &payload, sizeof payload) != 0) {
        release(block);
    }
}

// The answer's payload, or zeros.
BlockPayload callFor(BlockCommand command, uint32_t kind = 2, uint32_t expected = 0) {
    BlockPayload payload = {{}, sizeof payload - 24, command, {}, sendersPointer, 77, {}};
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&payload);
    const Result result = call("attacher", Bytes(bytes, bytes + sizeof payload), 20000, kind);
    EXPECT_EQ(result.code, expected);
    EXPECT_EQ(result.bytes.size(), expected == 0 ? sizeof payload : 0);
    payload = {};
    std::copy_n(result.bytes.data(), std::min(result.bytes.size(), sizeof payload),
                reinterpret_cast<uint8_t*>(&payload));
    return payload;
}

TEST(MessageCall, ABlockTravelsWithTheAnswerOrStaysWithTheHandler) {
    const Receiver attacher("attacher", attach);
    const BlockPayload answer = callFor(kAttach);
    ASSERT_EQ(uint32_t{answer.blockLength}, kBlockBytes);
    EXPECT_EQ(std::count(answer.block, answer.block + kBlockBytes, 'b'), kBlockBytes);
    release(answer.block);

    const BlockPayload without = callFor(kAttachNothing);
    EXPECT_TRUE(without.block == nullptr && without.blockLength == 0);
    EXPECT_TRUE(callFor(kAttachNothing, 1).block == sendersPointer)
        << "a plain call is none of the platform's business";
    callFor(kAttachAbsurd, 2, ENOMSG);
}

} // namespace
