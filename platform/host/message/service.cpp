#include "message/service.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <new>

#include "message/flusher.h"
#include "message/receiver.h"
#include "message/thread_connections.h"

namespace tarn::host {
namespace {

// Never destroyed: threads of the service may run until the process is gone.
std::atomic<Service*> current = nullptr;
std::once_flag started;

void beforeFork() {
    current.load()->forkMutex.lock();
}

void afterForkInParent() {
    current.load()->forkMutex.unlock();
}

void afterForkInChild() {
    Service* parents = current.load();
    for (size_t descriptor = 0; descriptor < parents->descriptors.size(); descriptor++) {
        if (parents->descriptors[descriptor]) {
            close(static_cast<int>(descriptor));
        }
    }
    auto* fresh = new Service;
    fresh->inherited = parents;
    current.store(fresh);
    forgetThreadConnections();
}

} // namespace

Service::Service() : flusher(std::make_unique<Flusher>()) {}

Service& service() {
    std::call_once(started, [] {
        auto made = std::make_unique<Service>();
        // Without the handlers a child would use its parent's connections. They only fail without memory.
        if (pthread_atfork(beforeFork, afterForkInParent, afterForkInChild) != 0) {
            throw std::bad_alloc();
        }
        current.store(made.release());
    });
    return *current.load(std::memory_order_acquire);
}

} // namespace tarn::host
