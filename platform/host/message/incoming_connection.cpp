#include "message/incoming_connection.h"

#include <poll.h>

#include <cerrno>
#include <new>

#include "base/deadline.h"

namespace tarn::host {
namespace {

// A caller is about to read its answer, and what has to be kept for it costs a copy; but one that does not read must
// not hold up the others.
constexpr uint32_t kPatienceMs = 20;

bool requestFrame(const FrameHeader& header) {
    switch (header.type) {
        case FrameType::kHello:
            return header.payloadLength <= kMaxHello && header.blockLength == 0;
        case FrameType::kCall:
        case FrameType::kPost:
            return header.blockLength == 0;
        case FrameType::kAccount:
            return header.payloadLength == 0 && header.blockLength == 0;
        default:
            return false;
    }
}

int sendPatiently(Gather& pieces, int socket) {
    const Deadline deadline(kPatienceMs);
    int error = pieces.send(socket);
    pollfd writable = {socket, POLLOUT, 0};
    while (error == EAGAIN && poll(&writable, 1, deadline.milliseconds()) > 0) {
        error = pieces.send(socket);
    }
    return error;
}

} // namespace

IncomingConnection::IncomingConnection(ForkAwareDescriptor socket, const ucred& peer)
    : socket_(std::move(socket)), peer_(peer), reader_(requestFrame) {}

int IncomingConnection::send(Gather pieces) {
    int error = keepsBytes() ? EAGAIN : sendPatiently(pieces, socket_.get());
    if (error == EAGAIN) {
        try {
            pieces.appendRest(kept_);
            return 0;
        } catch (const std::bad_alloc&) {
            error = ENOMEM;
        }
    }
    broken_ = error != 0;
    return error;
}

int IncomingConnection::sendKept() {
    Gather rest;
    rest.add(kept_.data() + keptSent_, kept_.size() - keptSent_);
    const int error = rest.send(socket_.get());
    keptSent_ = kept_.size() - rest.remaining();
    if (error == 0) {
        kept_ = {};
        keptSent_ = 0;
    }
    broken_ = error != 0 && error != EAGAIN;
    return error;
}

} // namespace tarn::host
