// A service of which each process has one of its own, made when it is first asked for. A forked child gets a fresh
// one, whatever state the fork caught the parent's in; that one stays reachable for the child and is never destroyed,
// because threads of a service may run until the process is gone.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "base/fork_handlers.h"

namespace tarn::host {

// A service has `beforeFork()` and `afterFork()`, `inherited` for the parent's, and `startInChild()`, which is
// called when that is set.
template <typename Service>
class PerProcess {
 public:
    // Throws std::bad_alloc.
    static Service& get() {
        Service* const service = current_.load(std::memory_order_acquire);
        return service != nullptr ? *service : make();
    }

 private:
    static Service& make() {
        const std::lock_guard lock(making_);
        if (current_.load() == nullptr) {
            auto made = std::make_unique<Service>();
            registerForkHandlers(beforeFork, afterForkInParent, afterForkInChild);
            current_.store(made.release(), std::memory_order_release);
        }
        return *current_.load();
    }

    // Another thread may have registered the handlers and not be done.
    static void beforeFork() {
        making_.lock();
        current_.load()->beforeFork();
    }

    static void afterForkInParent() {
        current_.load()->afterFork();
        making_.unlock();
    }

    static void afterForkInChild() {
        Service* const parents = current_.load();
        parents->afterFork(); // what this very thread has locked before
        auto* const fresh = new Service;
        fresh->inherited = parents;
        current_.store(fresh);
        fresh->startInChild();
        making_.unlock();
    }

    static inline constinit std::atomic<Service*> current_ = nullptr;
    static inline constinit std::mutex making_;
};

} // namespace tarn::host
