#include "message/frame.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace tarn::host {

void Gather::add(const void* data, size_t size) {
    if (size == 0) {
        return;
    }
    // iovec serves reading and writing alike; sending does not write.
    parts_[count_++] = {const_cast<void*>(data), size};
    remaining_ += size;
}

void Gather::advance(size_t sent) {
    remaining_ -= sent;
    while (sent != 0) {
        iovec& part = parts_[first_];
        const size_t step = std::min(sent, part.iov_len);
        part.iov_base = static_cast<std::byte*>(part.iov_base) + step;
        part.iov_len -= step;
        sent -= step;
        first_ += part.iov_len == 0 ? 1 : 0;
    }
}

int Gather::send(int socket) {
    while (remaining_ != 0) {
        msghdr message = {};
        message.msg_iov = &parts_[first_];
        message.msg_iovlen = count_ - first_;
        const ssize_t sent = sendmsg(socket, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0) {
            advance(static_cast<size_t>(sent));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

void FrameReader::reset() {
    regions_ = {};
    regions_[0] = {reinterpret_cast<std::byte*>(&header_), sizeof header_, 0};
    bodyReady_ = false;
    message_.reset();
    block_.reset();
}

ssize_t FrameReader::fill(int socket, std::span<std::byte> spill) {
    std::array<iovec, 4> parts;
    size_t count = 0;
    for (const Region& region : regions_) {
        if (region.missing() != 0) {
            parts[count++] = {region.data + region.filled, region.missing()};
        }
    }
    parts[count++] = {spill.data(), spill.size()};
    msghdr message = {};
    message.msg_iov = parts.data();
    message.msg_iovlen = count;
    ssize_t received = 0;
    do {
        received = recvmsg(socket, &message, MSG_DONTWAIT);
    } while (received < 0 && errno == EINTR);
    if (received <= 0) {
        return received;
    }
    auto rest = static_cast<size_t>(received);
    for (Region& region : regions_) {
        const size_t step = std::min(rest, region.missing());
        region.filled += step;
        rest -= step;
    }
    input_ = spill.first(rest);
    return received;
}

void FrameReader::consume(Region& region) {
    const size_t step = std::min(input_.size(), region.missing());
    if (step != 0) {
        std::memcpy(region.data + region.filled, input_.data(), step);
        region.filled += step;
        input_ = input_.subspan(step);
    }
}

// The memory is untouched until bytes arrive, so that a claim alone costs address space only.
bool FrameReader::allocateBody() {
    void* memory = takeMessageMemory(kPayloadOffset + header_.payloadLength);
    if (memory == nullptr) {
        return false;
    }
    message_.reset(new (memory) OsMsgRecord());
    regions_[1] = {static_cast<std::byte*>(memory) + kPayloadOffset, header_.payloadLength, 0};
    if (header_.blockLength != 0) {
        block_.reset(
            static_cast<std::byte*>(OsMemMallocSetCharMon(header_.blockLength, 0, 0, 0, __LINE__, kMemoryName)));
        regions_[2] = {block_.get(), header_.blockLength, 0};
    }
    return header_.blockLength == 0 || block_ != nullptr;
}

FrameReader::Status FrameReader::next() {
    if (!bodyReady_) {
        consume(regions_[0]);
        if (regions_[0].missing() != 0) {
            return Status::kPartial;
        }
        if (header_.magic != kFrameMagic || header_.version != kFrameVersion || header_.payloadLength > kMaxPayload ||
            header_.blockLength > kMaxPayload || header_.senderName[OS_MSG_NAME_LEN - 1] != '\0' ||
            header_.receiverName[OS_MSG_NAME_LEN - 1] != '\0' || !acceptable_(header_)) {
            return Status::kMalformed;
        }
        if (!allocateBody()) {
            return Status::kNoMemory;
        }
        bodyReady_ = true;
    }
    consume(regions_[1]);
    consume(regions_[2]);
    return regions_[1].missing() == 0 && regions_[2].missing() == 0 ? Status::kWhole : Status::kPartial;
}

} // namespace tarn::host
