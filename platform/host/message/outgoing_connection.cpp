#include "message/outgoing_connection.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "base/report.h"
#include "message/address.h"
#include "message/flusher.h"
#include "message/image.h"

namespace tarn::host {
namespace {

constexpr int kBacklogRetryMs = 1;
constexpr size_t kMostRefusals = 64;
constexpr size_t kAnswerSpill = 4096;
constexpr uint32_t kLargestErrno = 4095; // as the kernel has it

bool answerFrame(const FrameHeader& header) {
    return header.type == FrameType::kAnswer || header.type == FrameType::kFailure;
}

std::vector<std::byte> makeIntroduction() {
    const std::vector<std::byte> image = encodeImage(ownImage());
    FrameHeader header;
    header.type = FrameType::kHello;
    header.payloadLength = static_cast<uint32_t>(image.size());
    std::vector<std::byte> bytes;
    bytes.reserve(sizeof header + image.size());
    const auto* start = reinterpret_cast<const std::byte*>(&header);
    bytes.insert(bytes.end(), start, start + sizeof header);
    bytes.insert(bytes.end(), image.begin(), image.end());
    return bytes;
}

// Each text once: a sender that goes on trying is refused each time.
void reportRefusal(const std::string& text) {
    const std::lock_guard lock(messageService().refusalMutex);
    std::set<std::string>& known = messageService().refusals;
    if (known.size() < kMostRefusals && known.insert(text).second) {
        report("%s", text.c_str());
    }
}

int failureCode(const FrameHeader& header, std::span<const std::byte> text) {
    if (!text.empty()) {
        reportRefusal(std::string(reinterpret_cast<const char*>(text.data()), text.size()));
    }
    // What is no errno would be taken for a result of our own.
    return header.code == 0 || header.code > kLargestErrno ? EPROTO : static_cast<int>(header.code);
}

// 0, ETIMEDOUT or an errno.
int waitFor(int socket, short events, const Deadline& deadline) {
    while (true) {
        pollfd wanted = {socket, events, 0};
        const int ready = poll(&wanted, 1, deadline.milliseconds());
        if (ready > 0) {
            return 0;
        }
        if (ready == 0 && deadline.passed()) {
            return ETIMEDOUT;
        }
        if (ready < 0 && errno != EINTR) {
            return errno;
        }
    }
}

int connectError(int error) {
    switch (error) {
        case ENOENT:
            return ECONNREFUSED;
        case EACCES:
            return EPERM;
        default:
            return error;
    }
}

} // namespace

int OutgoingConnection::open(const char* receiver, const Deadline* deadline,
                             std::shared_ptr<OutgoingConnection>& connection) {
    std::string directory;
    const int unusable = messageDirectory(directory);
    if (unusable != 0) {
        return unusable;
    }
    auto opened = std::make_shared<OutgoingConnection>();
    opened->receiver_ = receiver;
    const int error = opened->connectSocket(directory, deadline);
    if (error != 0) {
        return connectError(error);
    }
    opened->introduction_ = makeIntroduction();
    connection = std::move(opened);
    return 0;
}

int OutgoingConnection::connectSocket(const std::string& directory, const Deadline* deadline) {
    SocketAddress address;
    const int error = address.set(directory, receiver_);
    if (error != 0) {
        return error;
    }
    socket_ = makeSocket();
    if (!socket_) {
        return errno;
    }
    while (connect(socket_.get(), address.get(), address.size()) != 0) {
        // Only a receiver that has thousands of connections to take up says this.
        if (errno != EAGAIN && errno != EINTR) {
            return errno;
        }
        if (deadline == nullptr) {
            return EAGAIN;
        }
        if (deadline->passed()) {
            return ETIMEDOUT;
        }
        poll(nullptr, 0, kBacklogRetryMs);
    }
    ucred peer = {};
    const int foreign = checkPeer(socket_.get(), peer);
    if (foreign == EPERM) {
        report("receiver %s belongs to user %u; nothing was sent to it", receiver_.c_str(), peer.uid);
    }
    peerUid_ = peer.uid;
    return foreign;
}

int OutgoingConnection::brokenBy(int error) {
    broken_ = true;
    return error;
}

// The receiver has closed the connection or is about to: why?
int OutgoingConnection::refusal() {
    FrameReader reader(answerFrame);
    std::array<std::byte, kAnswerSpill> spill;
    while (reader.fill(socket_.get(), spill) > 0) {
        if (reader.next() == FrameReader::Status::kWhole) {
            return reader.header().type == FrameType::kFailure ? failureCode(reader.header(), reader.payload())
                                                               : EPROTO;
        }
    }
    return ECONNRESET;
}

int OutgoingConnection::check() {
    const std::lock_guard lock(mutex_);
    std::byte first = {};
    const ssize_t received = recv(socket_.get(), &first, sizeof first, MSG_PEEK | MSG_DONTWAIT);
    if (received < 0 && (errno == EAGAIN || errno == EINTR)) {
        return broken_ ? kNothingSent : 0;
    }
    broken_ = true;
    const int reason = received > 0 ? refusal() : ECONNRESET;
    return reason == ECONNRESET || reason == EPROTO ? kNothingSent : reason;
}

int OutgoingConnection::waitForQueue(std::unique_lock<std::mutex>& lock, const Deadline& deadline) {
    const bool empty = emptied_.wait_until(lock, deadline.end(), [this] { return queue_.empty() || broken_; });
    if (broken_) {
        return kNothingSent;
    }
    return empty ? 0 : ETIMEDOUT;
}

int OutgoingConnection::sendNow(Gather& pieces, const Deadline& deadline) {
    const size_t whole = pieces.remaining();
    while (true) {
        const int error = pieces.send(socket_.get());
        if (error == 0) {
            return 0;
        }
        if (error != EAGAIN) {
            const int reason = refusal();
            return reason == ECONNRESET && pieces.remaining() == whole ? kNothingSent : reason;
        }
        const int waited = waitFor(socket_.get(), POLLOUT, deadline);
        if (waited != 0) {
            return waited;
        }
    }
}

int OutgoingConnection::receive(uint32_t kind, const Deadline& deadline, Answer& answer) {
    FrameReader reader(answerFrame);
    std::array<std::byte, kAnswerSpill> spill;
    FrameReader::Status status = FrameReader::Status::kPartial;
    while (status == FrameReader::Status::kPartial) {
        const int waited = waitFor(socket_.get(), POLLIN, deadline);
        if (waited != 0) {
            return waited;
        }
        const ssize_t received = reader.fill(socket_.get(), spill);
        if (received < 0 && errno == EAGAIN) {
            continue;
        }
        if (received <= 0) {
            return ECONNRESET;
        }
        status = reader.next();
    }
    if (status != FrameReader::Status::kWhole) {
        return status == FrameReader::Status::kNoMemory ? ENOMEM : EPROTO;
    }
    answer.header = reader.header();
    answer.payload = reader.payload();
    answer.uid = peerUid_;
    if (answer.header.type == FrameType::kFailure) {
        return failureCode(answer.header, answer.payload);
    }
    // By its kind a payload is known to hold a pointer.
    if (answer.header.kind != kind) {
        return EPROTO;
    }
    answer.message = reader.takeMessage();
    answer.block = reader.takeBlock();
    return 0;
}

Gather OutgoingConnection::message(const FrameHeader& header, const void* payload) const {
    Gather pieces;
    pieces.add(introduction_.data(), introduction_.size());
    pieces.add(&header, sizeof header);
    pieces.add(payload, header.payloadLength);
    return pieces;
}

int OutgoingConnection::call(const FrameHeader& header, const void* payload, const Deadline& deadline, Answer& answer) {
    std::unique_lock lock(mutex_);
    const int queued = waitForQueue(lock, deadline);
    if (queued != 0) {
        return queued;
    }
    Gather pieces = message(header, payload);
    int error = sendNow(pieces, deadline);
    introduction_ = {};
    if (error == 0) {
        error = receive(header.kind, deadline, answer);
    }
    // After an answer that there will be none, the connection is as good as before.
    return error == 0 || error == ENOMSG ? error : brokenBy(error);
}

int OutgoingConnection::ask(const FrameHeader& header, const Deadline& deadline, Answer& answer) {
    introduction_ = {};
    return call(header, nullptr, deadline, answer);
}

// All or nothing: a queue that no flusher serves would hold back whatever comes behind it.
int OutgoingConnection::enqueue(const Gather& pieces) {
    try {
        std::vector<std::byte> rest;
        rest.reserve(pieces.remaining());
        pieces.appendRest(rest);
        queue_.push_back(std::move(rest));
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
    const int error = queue_.size() == 1 ? messageService().flusher->add(shared_from_this()) : 0;
    if (error != 0) {
        queue_.pop_back();
        return error;
    }
    queueBytes_ += pieces.remaining();
    return 0;
}

int OutgoingConnection::post(const FrameHeader& header, const void* payload) {
    Flusher& flusher = *messageService().flusher;
    const std::lock_guard lock(mutex_);
    if (broken_) {
        return kNothingSent;
    }
    Gather pieces = message(header, payload);
    const size_t whole = pieces.remaining();
    // Room for all of it first: a message may not stop half way.
    if (!flusher.reserve(whole)) {
        return ENOBUFS;
    }
    int error = queue_.empty() ? pieces.send(socket_.get()) : EAGAIN;
    if (error == EAGAIN) {
        error = enqueue(pieces);
        if (error != 0 && pieces.remaining() == whole) {
            flusher.release(whole);
            return error; // The connection is as good as before.
        }
    } else if (error != 0 && pieces.remaining() == whole) {
        error = kNothingSent;
    }
    flusher.release(error == 0 ? whole - pieces.remaining() : whole);
    introduction_ = {};
    return error == 0 ? 0 : brokenBy(error);
}

int OutgoingConnection::sendQueue() {
    while (!queue_.empty()) {
        Gather rest;
        rest.add(queue_.front().data() + queueSent_, queue_.front().size() - queueSent_);
        const size_t before = rest.remaining();
        const int error = rest.send(socket_.get());
        const size_t sent = before - rest.remaining();
        queueSent_ += sent;
        queueBytes_ -= sent;
        messageService().flusher->release(sent);
        if (error != 0) {
            return error;
        }
        queue_.pop_front();
        queueSent_ = 0;
    }
    return 0;
}

void OutgoingConnection::dropQueue() {
    report("%zu bytes of messages to %s were lost: it has closed the connection", queueBytes_, receiver_.c_str());
    messageService().flusher->release(queueBytes_);
    queue_.clear();
    queueSent_ = 0;
    queueBytes_ = 0;
}

int OutgoingConnection::flush() {
    const std::lock_guard lock(mutex_);
    const int error = sendQueue();
    if (error == EAGAIN) {
        return EAGAIN;
    }
    if (error != 0) {
        broken_ = true;
        dropQueue();
    }
    emptied_.notify_all();
    return error;
}

size_t OutgoingConnection::queuedBytes() {
    const std::lock_guard lock(mutex_);
    return queueBytes_;
}

bool OutgoingConnection::broken() {
    const std::lock_guard lock(mutex_);
    return broken_;
}

bool OutgoingConnection::quiet() {
    const std::lock_guard lock(mutex_);
    int unread = 0;
    return broken_ || (queue_.empty() && ioctl(socket_.get(), SIOCOUTQ, &unread) == 0 && unread == 0);
}

} // namespace tarn::host
