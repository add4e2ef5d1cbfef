// What goes over a connection: a fixed header, then the payload, then (only in answers) a result block. Who calls
// introduces itself first; who asks for the account of the memory need not.
#pragma once

#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "message/message_memory.h"
#include "tarn_platform/os_memory.h"
#include "tarn_platform/os_message.h"

namespace tarn::host {

constexpr uint32_t kFrameMagic = 0x4D4E5254;
constexpr uint16_t kFrameVersion = 1;
// 64 MiB of data, and room for the headers that callers put around it.
constexpr uint32_t kMaxPayload = 64U * 1024 * 1024 + 4096;
constexpr uint32_t kMaxHello = 1024 * 1024;

enum class FrameType : uint16_t { kHello = 1, kCall = 2, kPost = 3, kAnswer = 4, kFailure = 5, kAccount = 6 };

struct FrameHeader {
    uint32_t magic = kFrameMagic;
    uint16_t version = kFrameVersion;
    FrameType type = FrameType::kPost;
    uint32_t payloadLength = 0;
    uint32_t blockLength = 0; // Bytes of the result block behind the payload of an answer.
    uint32_t kind = 0;
    uint32_t code = 0; // Of a failure; its payload is a text for standard error, or empty.
    char senderName[OS_MSG_NAME_LEN] = {};
    char receiverName[OS_MSG_NAME_LEN] = {};
};
static_assert(sizeof(FrameHeader) == 56, "both ends of a connection agree on the header");

struct MessageFree {
    void operator()(void* block) const { giveMessageMemory(block); }
};

// A record with its payload behind it in the same block.
using MessagePointer = std::unique_ptr<OsMsgRecord, MessageFree>;
constexpr size_t kPayloadOffset =
    (sizeof(OsMsgRecord) + alignof(max_align_t) - 1) / alignof(max_align_t) * alignof(max_align_t);

constexpr const char* kMemoryName = "host_message";

struct AccountedFree {
    void operator()(std::byte* block) const { OSMemTypeFreeMon(block, 0, 0, __LINE__, kMemoryName); }
};
using AccountedBlock = std::unique_ptr<std::byte, AccountedFree>;

// Several pieces of memory that are sent one after the other.
class Gather {
 public:
    void add(const void* data, size_t size);
    size_t remaining() const { return remaining_; }
    // Sends what the socket takes without waiting; 0 or an errno (EAGAIN: some is left).
    int send(int socket);
    // Appends what is left to `bytes`, a container of std::byte.
    template <typename Bytes>
    void appendRest(Bytes& bytes) const {
        for (size_t i = first_; i < count_; i++) {
            const auto* start = static_cast<const std::byte*>(parts_[i].iov_base);
            bytes.insert(bytes.end(), start, start + parts_[i].iov_len);
        }
    }

 private:
    void advance(size_t sent);

    std::array<iovec, 4> parts_ = {};
    size_t first_ = 0;
    size_t count_ = 0;
    size_t remaining_ = 0;
};

// Puts the frames of one direction of a connection together, however the bytes arrive. A small frame costs one read;
// the bytes of a large one go straight into its payload.
class FrameReader {
 public:
    enum class Status { kPartial, kWhole, kMalformed, kNoMemory };
    using Acceptable = bool (*)(const FrameHeader&);

    explicit FrameReader(Acceptable acceptable) : acceptable_(acceptable) { reset(); }

    // One read without waiting, with the result of recvmsg. What belongs to later frames stands in `spill`, which must
    // live until `next` has said kPartial.
    ssize_t fill(int socket, std::span<std::byte> spill);
    // Goes on with the current frame. After kWhole the frame can be looked at until `reset`.
    Status next();
    void reset();
    // No byte of a frame has arrived: here a connection may end.
    bool atBorder() const { return regions_[0].filled == 0; }

    const FrameHeader& header() const { return header_; }
    std::span<std::byte> payload() const { return {regions_[1].data, regions_[1].size}; }
    MessagePointer takeMessage() { return std::move(message_); }
    AccountedBlock takeBlock() { return std::move(block_); }

 private:
    struct Region {
        std::byte* data = nullptr;
        size_t size = 0;
        size_t filled = 0;
        size_t missing() const { return size - filled; }
    };
    bool allocateBody();
    void consume(Region& region);

    Acceptable acceptable_;
    FrameHeader header_;
    std::array<Region, 3> regions_; // Header, payload, result block.
    bool bodyReady_ = false;
    MessagePointer message_;
    AccountedBlock block_;
    std::span<const std::byte> input_;
};

} // namespace tarn::host
