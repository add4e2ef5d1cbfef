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

enum BlockCommand : uint32_t { kAttach, kAttachNothing, kAttachAbsurd };

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

// Attaches a block of 'b', or what is asked for. A pointer that came in is told by a length of 1.
void attach(OsMsgRecord* record) {
    auto* const payload = static_cast<uint8_t*>(record->payload);
    const auto command = read<uint32_t>(payload, kCommandAt);
    void* block = nullptr;
    if (command != kAttachNothing) {
        block = OsMemMallocSetCharMon(kBlockBytes, 0, 0, 0, __LINE__, "message_block_test");
        std::memset(block, 'b', kBlockBytes);
        const bool pointerCameIn = read<void*>(payload, kPointerAt) != nullptr;
        write(payload, kPointerAt, block);
        write(payload, kLengthAt, pointerCameIn ? 1U : command == kAttach ? kBlockBytes : (64U << 20) + 4097);
    }
    if (OsMsgSynSendResp(record, payload, record->payloadLength) != 0) {
        release(block);
    }
}

Result callFor(BlockCommand command, uint32_t kind = 2) {
    Bytes payload(kWhole);
    write(payload.data(), kDataLengthAt, static_cast<uint32_t>(kWhole - 24));
    write(payload.data(), kCommandAt, uint32_t{command});
    write(payload.data(), kPointerAt, uint64_t{0x1234}); // Of this process; the receiver must not see it.
    write(payload.data(), kLengthAt, 77U);
    return call("attacher", payload, 20000, kind);
}

TEST(MessageBlock, TravelsWithTheAnswerOrStaysWithTheHandler) {
    const Receiver attacher("attacher", attach);
    const Result result = callFor(kAttach);
    ASSERT_EQ(result.bytes.size(), kWhole);
    ASSERT_EQ(read<uint32_t>(result.bytes.data(), kLengthAt), kBlockBytes);
    char* const block = read<char*>(result.bytes.data(), kPointerAt);
    EXPECT_EQ(std::count(block, block + kBlockBytes, 'b'), kBlockBytes);
    release(block);

    const Bytes without = callFor(kAttachNothing).bytes;
    ASSERT_EQ(without.size(), kWhole);
    EXPECT_EQ(read<void*>(without.data(), kPointerAt), nullptr);
    EXPECT_EQ(read<uint32_t>(without.data(), kLengthAt), 0U);
    const Bytes plain = callFor(kAttachNothing, 1).bytes;
    EXPECT_EQ(read<uint64_t>(plain.data(), kPointerAt), 0x1234U) << "a plain call is none of the platform's business";
    EXPECT_EQ(callFor(kAttachAbsurd).code, uint32_t{ENOMSG});
}

} // namespace
