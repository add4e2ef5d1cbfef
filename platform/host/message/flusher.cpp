#include "message/flusher.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "base/deadline.h"
#include "base/report.h"
#include "base/service_thread.h"
#include "message/outgoing_connection.h"

namespace tarn::host {
namespace {

constexpr size_t kMostQueued = size_t{256} * 1024 * 1024;
constexpr uint32_t kDrainMs = 2000;
constexpr int kRetryMs = 10;

// A forked child inherits what is to be done at the exit.
constinit std::atomic<bool> drainsAtExit = false;

} // namespace

bool Flusher::reserve(size_t bytes) {
    if (reserved_.fetch_add(bytes, std::memory_order_relaxed) + bytes <= kMostQueued) {
        return true;
    }
    release(bytes);
    return false;
}

void Flusher::release(size_t bytes) {
    reserved_.fetch_sub(bytes, std::memory_order_relaxed);
}

int Flusher::startThread() {
    if (!drainsAtExit.exchange(true) && std::atexit([] { messageService().flusher->drain(); }) != 0) {
        drainsAtExit = false;
        return ENOMEM;
    }
    wake_ = ForkAwareDescriptor::make([] { return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK); });
    if (!wake_) {
        return errno;
    }
    return startServiceThread(thread_, "msg-flush", [this] { run(); });
}

int Flusher::add(std::shared_ptr<OutgoingConnection> connection) {
    const std::lock_guard lock(mutex_);
    if (!thread_.joinable()) {
        const int error = startThread();
        if (error != 0) {
            return error;
        }
    }
    try {
        connections_.push_back(std::move(connection));
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
    const uint64_t one = 1;
    // A full eventfd wakes the thread as well.
    [[maybe_unused]] const ssize_t written = write(wake_.get(), &one, sizeof one);
    return 0;
}

void Flusher::remove(const std::shared_ptr<OutgoingConnection>& connection) {
    const std::lock_guard lock(mutex_);
    // A message may have been queued again since the flush; then `add` has put a second entry, which stays.
    connections_.erase(std::find(connections_.begin(), connections_.end(), connection));
    if (connections_.empty()) {
        emptied_.notify_all();
    }
}

// One round: waits until a socket has room, and sends.
void Flusher::serve() {
    {
        const std::lock_guard lock(mutex_);
        served_ = connections_;
    }
    wanted_.assign(1, {wake_.get(), POLLIN, 0});
    for (const auto& connection : served_) {
        wanted_.push_back({connection->socket(), POLLOUT, 0});
    }
    if (poll(wanted_.data(), wanted_.size(), -1) < 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(kRetryMs)); // the kernel is short of memory
        return;
    }
    if (wanted_[0].revents != 0) {
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t taken = read(wake_.get(), &count, sizeof count);
    }
    for (size_t i = 0; i < served_.size(); i++) {
        if (wanted_[i + 1].revents != 0 && served_[i]->flush() != EAGAIN) {
            remove(served_[i]);
        }
    }
    served_.clear();
}

void Flusher::run() {
    while (true) {
        try {
            serve();
        } catch (const std::bad_alloc&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(kRetryMs));
        }
    }
}

void Flusher::drain() {
    const Deadline deadline(kDrainMs);
    std::unique_lock lock(mutex_);
    if (emptied_.wait_until(lock, deadline.end(), [this] { return connections_.empty(); })) {
        return;
    }
    const std::vector<std::shared_ptr<OutgoingConnection>> lost = connections_;
    lock.unlock(); // The connections' own locks come first.
    for (const auto& connection : lost) {
        report("%zu bytes of messages to %s are lost: it did not take them", connection->queuedBytes(),
               connection->receiver().c_str());
    }
}

} // namespace tarn::host
