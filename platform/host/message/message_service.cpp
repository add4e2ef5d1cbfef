#include "message/message_service.h"

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
std::atomic<MessageService*> current = nullptr;
std::once_flag started;

void beforeFork() {
    current.load()->forkMutex.lock();
}

void afterForkInParent() {
    current.load()->forkMutex.unlock();
}

void afterForkInChild() {
    MessageService* parents = current.load();
    for (size_t descriptor = 0; descriptor < parents->descriptors.size(); descriptor++) {
        if (parents->descriptors[descriptor]) {
            close(static_cast<int>(descriptor));
        }
    }
    auto* fresh = new MessageService;
    fresh->inherited = parents;
    current.store(fresh);
    forgetThreadConnections();
}

} // namespace

MessageService::MessageService() : flusher(std::make_unique<Flusher>()) {}

MessageService& messageService() {
    std::call_once(started, [] {
        auto made = std::make_unique<MessageService>();
        // Without the handlers a child would use its parent's connections. They only fail without memory.
        if (pthread_atfork(beforeFork, afterForkInParent, afterForkInChild) != 0) {
            throw std::bad_alloc();
        }
        current.store(made.release());
    });
    return *current.load(std::memory_order_acquire);
}

} // namespace tarn::host
