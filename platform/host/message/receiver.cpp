#include "message/receiver.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "base/deadline.h"
#include "base/forked_child.h"
#include "base/report.h"
#include "base/service_thread.h"
#include "base/undo.h"
#include "memory/account_code.h"
#include "message/address.h"
#include "message/answer_block.h"
#include "message/image.h"

namespace tarn::host {
namespace {

constexpr size_t kSpillBytes = size_t{64} * 1024;
constexpr int kEventsAtOnce = 16;
constexpr int kAcceptPauseMs = 100;
constexpr uint32_t kFinishMs = 1000;

thread_local const Receiver* threadReceiver = nullptr;
thread_local Delivery* threadDelivery = nullptr;

void fillRecord(OsMsgRecord& record, const Delivery& delivery, std::span<std::byte> payload, uint32_t uid) {
    const FrameHeader& header = delivery.header;
    record.responseWanted = header.type == FrameType::kCall ? 1 : 0;
    record.senderUid = uid;
    std::memcpy(record.platformHead, &delivery.serial, sizeof delivery.serial);
    record.kind = header.kind;
    std::memcpy(record.senderName, header.senderName, sizeof record.senderName);
    std::memcpy(record.receiverName, header.receiverName, sizeof record.receiverName);
    record.payloadLength = header.payloadLength;
    record.payload = payload.empty() ? nullptr : payload.data();
}

void sendFailure(IncomingConnection& connection, int code, std::string_view text) {
    FrameHeader header;
    header.type = FrameType::kFailure;
    header.code = static_cast<uint32_t>(code);
    header.payloadLength = static_cast<uint32_t>(text.size());
    Gather pieces;
    pieces.add(&header, sizeof header);
    pieces.add(text.data(), text.size());
    connection.send(pieces);
}

} // namespace

Receiver::Receiver(std::string name, RecordCallback onRecord)
    : name_(std::move(name)), onRecord_(onRecord), home_(&messageService()), spill_(kSpillBytes) {}

Delivery* Receiver::currentDelivery() {
    return threadDelivery;
}

const Receiver* Receiver::current() {
    return threadReceiver;
}

int Receiver::start(const std::shared_ptr<Receiver>& self) {
    std::string directory;
    int error = messageDirectory(directory);
    if (error == 0) {
        error = lock_.acquire(lockPath(directory, name_));
    }
    if (error != 0) {
        return error;
    }
    Undo removal([this] {
        unlink(socketPath_.c_str()); // An empty path is none yet.
        lock_.release();
    });
    socketPath_ = socketPath(directory, name_);
    SocketAddress address;
    error = address.set(directory, name_);
    if (error == 0) {
        unlink(socketPath_.c_str());
        listening_ = makeSocket();
        error = !listening_ || bind(listening_.get(), address.get(), address.size()) != 0 ? errno : listen();
    }
    if (error == 0) {
        error = startThread(self);
    }
    if (error == 0) {
        removal.cancel();
    }
    return error;
}

int Receiver::listen() {
    epoll_ = ForkAwareDescriptor::make([] { return epoll_create1(EPOLL_CLOEXEC); });
    wake_ = ForkAwareDescriptor::make([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); });
    if (!epoll_ || !wake_ || !watch(wake_.get(), EPOLLIN, nullptr, EPOLL_CTL_ADD) ||
        !watch(listening_.get(), EPOLLIN, this, EPOLL_CTL_ADD) || ::listen(listening_.get(), SOMAXCONN) != 0) {
        return errno;
    }
    return 0;
}

int Receiver::startThread(const std::shared_ptr<Receiver>& self) {
    return startServiceThread(thread_, "msg-" + name_, [self] { self->run(); });
}

void Receiver::close() {
    const std::lock_guard lock(mutex_);
    closing_ = true;
    unlink(socketPath_.c_str());
    listening_.reset();
    for (const auto& [descriptor, connection] : connections_) {
        // The record being handled may still be answered, but nothing more comes in behind it.
        shutdown(descriptor, connection.get() == busy_ ? SHUT_RD : SHUT_RDWR);
    }
    lock_.release();
    const uint64_t one = 1;
    // An eventfd of value 0 takes a 1.
    [[maybe_unused]] const ssize_t written = write(wake_.get(), &one, sizeof one);
}

void Receiver::join() {
    if (threadReceiver == this) {
        thread_.detach();
    } else if (thread_.joinable()) {
        thread_.join();
    }
}

bool Receiver::watch(int descriptor, uint32_t events, void* tag, int operation) {
    epoll_event event = {};
    event.events = events;
    event.data.ptr = tag;
    return epoll_ctl(epoll_.get(), operation, descriptor, &event) == 0;
}

void Receiver::run() {
    threadReceiver = this;
    std::array<epoll_event, kEventsAtOnce> events;
    while (!closing_) {
        const int count = epoll_wait(epoll_.get(), events.data(), kEventsAtOnce, acceptPaused_ ? kAcceptPauseMs : -1);
        if (acceptPaused_) {
            handleEvent(this, EPOLLIN);
        }
        for (int i = 0; i < count && !closing_; i++) {
            const epoll_event& event = events[static_cast<size_t>(i)];
            handleEvent(event.data.ptr, event.events);
        }
    }
    finish();
}

void Receiver::handleEvent(void* tag, uint32_t events) {
    auto* connection = tag == this ? nullptr : static_cast<IncomingConnection*>(tag);
    try {
        if (tag == this) {
            acceptAll();
        } else if (connection != nullptr) {
            serve(*connection, events);
        }
    } catch (const std::bad_alloc&) {
        report("receiver %s closed a connection: out of memory", name_.c_str());
        if (connection != nullptr) {
            drop(*connection);
        }
    }
}

void Receiver::acceptAll() {
    const std::lock_guard lock(mutex_);
    while (listening_) {
        ForkAwareDescriptor socket = ForkAwareDescriptor::make(
            [&] { return accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK); });
        if (socket) {
            addConnection(std::move(socket));
        } else if (errno != EINTR && errno != ECONNABORTED) {
            pauseAccepting(errno);
            return;
        }
    }
}

// Without descriptors the listening socket would stay readable and keep the thread spinning.
void Receiver::pauseAccepting(int error) {
    const bool pause = error != EAGAIN;
    if (pause == acceptPaused_) {
        return;
    }
    acceptPaused_ = pause;
    watch(listening_.get(), pause ? 0U : EPOLLIN, this, EPOLL_CTL_MOD);
    if (pause) {
        report("receiver %s cannot take more connections for now: %s", name_.c_str(), std::strerror(error));
    }
}

void Receiver::addConnection(ForkAwareDescriptor socket) {
    ucred peer = {};
    const int error = checkPeer(socket.get(), peer);
    if (error != 0) {
        if (error == EPERM) {
            report("receiver %s refused a process of user %u (pid %d)", name_.c_str(), peer.uid, peer.pid);
        } else {
            report("receiver %s refused a process that it cannot tell: %s", name_.c_str(), std::strerror(error));
        }
        return;
    }
    const int descriptor = socket.get();
    widenSendBuffer(descriptor);
    auto connection = std::make_unique<IncomingConnection>(std::move(socket), peer);
    connection->watched = EPOLLIN;
    const auto place = connections_.emplace(descriptor, std::move(connection)).first;
    if (!watch(descriptor, EPOLLIN, place->second.get(), EPOLL_CTL_ADD)) {
        report("receiver %s closed a connection: %s", name_.c_str(), std::strerror(errno));
        connections_.erase(place);
    }
}

void Receiver::serve(IncomingConnection& connection, uint32_t events) {
    if (connection.keepsBytes()) {
        connection.sendKept();
    }
    bool wanted = true;
    if (!connection.broken() && !connection.keepsBytes() && (events & ~uint32_t{EPOLLOUT}) != 0) {
        wanted = readFrames(connection);
    }
    if (!wanted || connection.broken()) {
        drop(connection);
        return;
    }
    const uint32_t watched = connection.keepsBytes() ? EPOLLOUT : EPOLLIN;
    if (watched == connection.watched) {
        return;
    }
    connection.watched = watched;
    if (!watch(connection.socket(), watched, &connection, EPOLL_CTL_MOD)) {
        report("receiver %s closed a connection: %s", name_.c_str(), std::strerror(errno));
        drop(connection);
    }
}

// False when the connection is to be closed.
bool Receiver::readFrames(IncomingConnection& connection) {
    FrameReader& reader = connection.reader();
    const ssize_t received = reader.fill(connection.socket(), spill_);
    if (received < 0) {
        return errno == EAGAIN;
    }
    if (received == 0) {
        if (!reader.atBorder()) {
            report("receiver %s: process %d closed its connection in the middle of a message", name_.c_str(),
                   connection.peer().pid);
        }
        return false;
    }
    FrameReader::Status status = reader.next();
    while (status == FrameReader::Status::kWhole) {
        const bool goOn = handleFrame(connection);
        if (!goOn || connection.broken() || closing_) {
            return goOn;
        }
        reader.reset();
        status = reader.next();
    }
    if (status != FrameReader::Status::kPartial) {
        report("receiver %s closed the connection of process %d: %s", name_.c_str(), connection.peer().pid,
               status == FrameReader::Status::kMalformed ? "it sent a malformed message" : "out of memory");
        return false;
    }
    return true;
}

bool Receiver::handleFrame(IncomingConnection& connection) {
    if (connection.reader().header().type == FrameType::kAccount) {
        sendAccount(connection);
        return true;
    }
    const bool hello = connection.reader().header().type == FrameType::kHello;
    if (hello == connection.greeted()) {
        report("receiver %s closed the connection of process %d: it %s", name_.c_str(), connection.peer().pid,
               hello ? "introduced itself twice" : "did not introduce itself");
        return false;
    }
    if (hello) {
        return greet(connection);
    }
    deliver(connection);
    return true;
}

bool Receiver::greet(IncomingConnection& connection) {
    const std::optional<ProcessImage> sender = decodeImage(connection.reader().payload());
    if (!sender) {
        report("receiver %s closed the connection of process %d: its introduction is malformed", name_.c_str(),
               connection.peer().pid);
        return false;
    }
    const std::string difference = imageDifference(*sender, ownImage());
    if (!difference.empty()) {
        sendFailure(connection, ENOEXEC, difference);
        return false;
    }
    connection.greet();
    return true;
}

void Receiver::sendAccount(IncomingConnection& connection) {
    const std::vector<std::byte> account = encodeAccount();
    FrameHeader header;
    header.type = FrameType::kAnswer;
    header.payloadLength = static_cast<uint32_t>(account.size());
    Gather pieces;
    pieces.add(&header, sizeof header);
    pieces.add(account.data(), account.size());
    connection.send(pieces);
}

void Receiver::deliver(IncomingConnection& connection) noexcept {
    FrameReader& reader = connection.reader();
    Delivery delivery;
    delivery.connection = &connection;
    delivery.serial = ++serial_;
    delivery.header = reader.header();
    const std::span<std::byte> payload = reader.payload();
    clearAttachedPointer(delivery.header.kind, payload);
    const MessagePointer record = reader.takeMessage();
    fillRecord(*record, delivery, payload, connection.peer().uid);
    setBusy(&connection);
    threadDelivery = &delivery;
    onRecord_(record.get());
    threadDelivery = nullptr;
    leaveCallback();
    if (delivery.header.type == FrameType::kCall && !delivery.answered) {
        sendFailure(connection, ENOMSG, {});
    }
    setBusy(nullptr);
}

void Receiver::leaveCallback() const {
    if (&messageService() != home_) {
        endForkedChild(("the callback of receiver " + name_).c_str());
    }
}

void Receiver::setBusy(IncomingConnection* connection) {
    const std::lock_guard lock(mutex_);
    busy_ = connection;
}

// To close the socket alone would not end the watch: a child forked a moment ago still has a copy of it, and events
// would come for a connection that is gone.
void Receiver::drop(IncomingConnection& connection) {
    const std::lock_guard lock(mutex_);
    watch(connection.socket(), 0, nullptr, EPOLL_CTL_DEL);
    connections_.erase(connection.socket());
}

// The answer to the record that was being handled still goes out, unless its sender is slow.
void Receiver::finish() {
    const Deadline deadline(kFinishMs);
    const std::lock_guard lock(mutex_);
    for (const auto& [descriptor, connection] : connections_) {
        pollfd room = {descriptor, POLLOUT, 0};
        while (connection->keepsBytes() && connection->sendKept() == EAGAIN && !deadline.passed()) {
            poll(&room, 1, deadline.milliseconds());
        }
    }
    connections_.clear();
    epoll_.reset();
}

} // namespace tarn::host
