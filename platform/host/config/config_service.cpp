#include "config/config_service.h"

#include "base/per_process.h"

namespace tarn::host {

void ConfigService::beforeFork() {
    store.beforeFork();
    changes.beforeFork();
}

void ConfigService::afterFork() {
    changes.afterFork();
    store.afterFork();
}

void ConfigService::startInChild() {
    inherited->feed.closeInherited();
}

ConfigService& configService() {
    return PerProcess<ConfigService>::get();
}

} // namespace tarn::host
