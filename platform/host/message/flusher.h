// Sends asynchronous messages that a socket had no room for. One thread a process, started when it is first needed.
#pragma once

#include <poll.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "message/fork_aware_descriptor.h"

namespace tarn::host {

class OutgoingConnection;

class Flusher {
 public:
    // Takes room for queued bytes; false when the process has queued too much already.
    bool reserve(size_t bytes);
    void release(size_t bytes);
    // The connection's queue has become non-empty; 0 or an errno, after which it is not served. Throws nothing.
    int add(std::shared_ptr<OutgoingConnection> connection);
    // At the end of the process: waits a while for the queues to empty, and tells what is lost.
    void drain();

 private:
    int startThread();
    void run();
    void serve();
    void remove(const std::shared_ptr<OutgoingConnection>& connection);

    std::atomic<size_t> reserved_ = 0;
    std::mutex mutex_;
    std::condition_variable emptied_;
    std::vector<std::shared_ptr<OutgoingConnection>> connections_;
    ForkAwareDescriptor wake_;
    // The thread's own, here so that a forked child does not lose them.
    std::vector<std::shared_ptr<OutgoingConnection>> served_;
    std::vector<pollfd> wanted_;
    std::thread thread_;
};

} // namespace tarn::host
