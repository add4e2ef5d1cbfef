#include "config/config_service.h"

#include <pthread.h>

namespace tarn::host {
namespace {

// Never destroyed: its thread runs until the process is gone.
std::atomic<ConfigService*> current = nullptr;
std::once_flag started;

void beforeFork() {
    ConfigService* const service = current.load();
    service->store.beforeFork();
    service->changes.beforeFork();
}

void afterForkInParent() {
    ConfigService* const service = current.load();
    service->changes.afterFork();
    service->store.afterFork();
}

void afterForkInChild() {
    ConfigService* const parents = current.load();
    parents->feed.closeInherited();
    auto* const fresh = new ConfigService;
    fresh->inherited = parents;
    current.store(fresh);
}

} // namespace

ConfigService& configService() {
    std::call_once(started, [] {
        current.store(new ConfigService);
        pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
    });
    return *current.load(std::memory_order_acquire);
}

} // namespace tarn::host
