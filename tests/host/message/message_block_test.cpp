// Calls of kind 2: the block that the receiving handler attaches travels with the answer.
#include "message/message_support.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace message_test;

constexpr size_t kDataLengthAt = 16;
constexpr size_t kCommandAt = 20;
constexpr size_t kPointerAt = 92;
constexpr size_t kLengthAt = 100;
constexpr size_t kWhole = 20 + 88 + 4;
constexpr uint32_t kBlockBytes = 70000;

enum BlockCommand : uint32_t { kAttach, kAttachNothing, kAttachEmpty, kAttachAbsurd, kLastOutcome };

uint32_t lastOutcome = 0;

template <typename Value>
Value read(const uint8_t* payload, size_t offset) {
    Value value;
    std::memcpy(&value, payload + offset, sizeof value);
    return value;
}

template <typename Value>
void write(uint8_t* payload, size_t offset, Value value) {
    std::memcpy(payload + offset, &value, sizeof value);
}

void release(void* block) {
    OSMemTypeFreeMon(block, 0, 0, __LINE__, "message_block_test");
}

// Attaches a block of 'b', or what is asked for; remembers how answering went. A pointer that came in is told by a
// length of 1.
void attach(OsMsgRecord* record) {
    auto* payload = static_cast<uint8_t*>(record->payload);
    const auto command = read<uint32_t>(payload, kCommandAt);
    if (command == kLastOutcome) {
        OsMsgSynSendResp(record, &lastOutcome, sizeof lastOutcome);
        return;
    }
    void* block = nullptr;
    if (command != kAttachNothing && record->payloadLength == kWhole) {
        block = OsMemMallocSetCharMon(kBlockBytes, 0, 0, 0, __LINE__, "message_block_test");
        std::memset(block, 'b', kBlockBytes);
        const uint32_t length = command == kAttach ? kBlockBytes : command == kAttachAbsurd ? (64U << 20) + 4097 : 0;
        const bool pointerCameIn = read<void*>(payload, kPointerAt) != nullptr;
        write(payload, kPointerAt, block);
        write(payload, kLengthAt, pointerCameIn ? 1U : length);
    }
    lastOutcome = OsMsgSynSendResp(record, payload, record->payloadLength);
    if (lastOutcome != 0) {
        release(block);
    }
}

Bytes blockRequest(BlockCommand command, size_t size = kWhole) {
    Bytes payload(size);
    write(payload.data(), kDataLengthAt, static_cast<uint32_t>(size - 24));
    write(payload.data(), kCommandAt, uint32_t{command});
    if (size == kWhole) {
        write(payload.data(), kPointerAt, uint64_t{0x1234}); // Of this process; the receiver must not see it.
        write(payload.data(), kLengthAt, 77U);
    }
    return payload;
}

Result callFor(BlockCommand command, uint32_t kind = 2) {
    return call("attacher", blockRequest(command), 20000, kind);
}

TEST(MessageBlock, TravelsWithTheAnswerOrStaysWithTheHandler) {
    const Receiver attacher("attacher", attach);
    for (int round = 0; round < 3; round++) {
        const Result result = callFor(kAttach);
        ASSERT_EQ(result.bytes.size(), kWhole);
        EXPECT_EQ(result.answer.kind, 2U);
        ASSERT_EQ(read<uint32_t>(result.bytes.data(), kLengthAt), kBlockBytes);
        char* const block = read<char*>(result.bytes.data(), kPointerAt);
        EXPECT_EQ(std::count(block, block + kBlockBytes, 'b'), kBlockBytes);
        release(block);
    }
    for (const BlockCommand command : {kAttachNothing, kAttachEmpty}) {
        const Bytes payload = callFor(command).bytes;
        ASSERT_EQ(payload.size(), kWhole);
        EXPECT_EQ(read<void*>(payload.data(), kPointerAt), nullptr);
        EXPECT_EQ(read<uint32_t>(payload.data(), kLengthAt), 0U);
    }
    Bytes shortData = blockRequest(kAttachNothing);
    write(shortData.data(), kDataLengthAt, 79U); // Ends within the pointer, whatever stands behind it.
    EXPECT_EQ(call("attacher", shortData, 20000, 2).bytes, shortData);
    // Too short for the fields of a block; and a plain call, which is none of the platform's business.
    EXPECT_EQ(call("attacher", blockRequest(kAttach, kWhole - 1), 20000, 2).bytes, blockRequest(kAttach, kWhole - 1));
    EXPECT_EQ(callFor(kAttachNothing, 1).bytes, blockRequest(kAttachNothing));
    EXPECT_EQ(callFor(kAttachAbsurd).code, uint32_t{ENOMSG});
    EXPECT_EQ(callFor(kLastOutcome, 1).number(), uint32_t{EMSGSIZE});
}

} // namespace
