// Calls of kind 2: the block that the receiving handler attaches travels with the answer.
#include <errno.h>

#include <cstring>
#include <string>

#include "message/message_support.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace message_test;

constexpr size_t kDataLengthAt = 16;
constexpr size_t kCommandAt = 20;
constexpr size_t kPointerAt = 92;
constexpr size_t kLengthAt = 100;
constexpr size_t kWhole = 20 + 88 + 4;

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

// Attaches 70,000 bytes of 'b', or what is asked for; remembers how answering went and whether a pointer came in.
void attach(OsMsgRecord* record) {
    auto* payload = static_cast<uint8_t*>(record->payload);
    const auto command = read<uint32_t>(payload, kCommandAt);
    if (command == kLastOutcome) {
        OsMsgSynSendResp(record, &lastOutcome, sizeof lastOutcome);
        return;
    }
    uint32_t length = command == kAttach ? 70000 : 0;
    void* block = nullptr;
    if (command != kAttachNothing && record->payloadLength == kWhole) {
        block = OsMemMallocSetCharMon(70000, 0, 0, 0, __LINE__, "message_block_test");
        std::memset(block, 'b', 70000);
        length = command == kAttachAbsurd ? (64U << 20) + 4097 : length;
        const bool pointerCameIn = read<void*>(payload, kPointerAt) != nullptr;
        write(payload, kPointerAt, block);
        write(payload, kLengthAt, pointerCameIn ? 1U : length);
    }
    lastOutcome = OsMsgSynSendResp(record, payload, record->payloadLength);
    if (lastOutcome != 0) {
        OSMemTypeFreeMon(block, 0, 0, __LINE__, "message_block_test");
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

bool receive() {
    return OsMsgReceiverStart("attacher", attach) == 0;
}

TEST(MessageBlock, TravelsWithTheAnswer) {
    const Child attacher(receive);
    for (int round = 0; round < 3; round++) {
        const Result result = call("attacher", blockRequest(kAttach), 20000, 2);
        ASSERT_EQ(result.code, 0U);
        EXPECT_EQ(result.answer->kind, 2U);
        const Bytes payload = result.bytes();
        ASSERT_EQ(payload.size(), kWhole);
        ASSERT_EQ(read<uint32_t>(payload.data(), kLengthAt), 70000U);
        void* block = read<void*>(payload.data(), kPointerAt);
        EXPECT_EQ(std::string(static_cast<char*>(block), 70000), std::string(70000, 'b'));
        OSMemTypeFreeMon(block, 0, 0, __LINE__, "message_block_test");
    }
}

TEST(MessageBlock, NothingTravelsWhenNothingIsAttached) {
    const Child attacher(receive);
    for (const BlockCommand command : {kAttachNothing, kAttachEmpty}) {
        const Bytes payload = call("attacher", blockRequest(command), 20000, 2).bytes();
        ASSERT_EQ(payload.size(), kWhole);
        EXPECT_EQ(read<void*>(payload.data(), kPointerAt), nullptr);
        EXPECT_EQ(read<uint32_t>(payload.data(), kLengthAt), 0U);
    }
    // Too short for the fields of a block; and a plain call, which is none of the platform's business.
    EXPECT_EQ(call("attacher", blockRequest(kAttach, kWhole - 1), 20000, 2).bytes(), blockRequest(kAttach, kWhole - 1));
    EXPECT_EQ(call("attacher", blockRequest(kAttachNothing), 20000, 1).bytes(), blockRequest(kAttachNothing));
}

TEST(MessageBlock, StaysWithTheHandlerWhenItCannotBeSent) {
    const Child attacher(receive);
    EXPECT_EQ(call("attacher", blockRequest(kAttachAbsurd), 20000, 2).code, uint32_t{ENOMSG});
    EXPECT_EQ(call("attacher", blockRequest(kLastOutcome)).number(), uint32_t{EMSGSIZE});
}

} // namespace
