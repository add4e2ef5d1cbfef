// Administration of the configuration.
#include "tarn_host/host_config.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "base/guarded.h"
#include "config/config_service.h"

struct TarnHostConfigWatch {
    tarn::host::ChangeFeed::SubscriptionPointer subscription;
};

namespace {

using tarn::host::ConfigChange;
using tarn::host::configService;
using tarn::host::guarded;

std::string_view textOrEmpty(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

} // namespace

uint32_t TarnHostConfigList(const char* prefix, TarnHostConfigVisitFunc visit, void* argument) {
    if (visit == nullptr) {
        return EINVAL;
    }
    std::vector<ConfigChange> items;
    const uint32_t error = guarded([&] { return configService().store.list(textOrEmpty(prefix), items); });
    if (error != 0) {
        return error;
    }
    for (const ConfigChange& item : items) {
        const uint32_t ended = visit(item.key.c_str(), item.value->c_str(), argument);
        if (ended != 0) {
            return ended;
        }
    }
    return 0;
}

uint32_t TarnHostConfigRemove(const char* key) {
    const size_t length = key == nullptr ? 0 : strnlen(key, OM_CONFIG_KEY_LEN);
    if (length == 0 || length == OM_CONFIG_KEY_LEN) {
        return EINVAL;
    }
    return guarded([&] { return configService().store.remove(key); });
}

uint32_t TarnHostConfigWatchStart(const char* prefix, TarnHostConfigWatchFunc onChange, void* argument,
                                  TarnHostConfigWatch** watch) {
    if (onChange == nullptr || watch == nullptr) {
        return EINVAL;
    }
    const auto deliver = [=](std::span<const ConfigChange* const> changes) {
        std::vector<TarnHostConfigChange> told;
        told.reserve(changes.size());
        for (const ConfigChange* change : changes) {
            told.push_back({change->key.c_str(), change->value.has_value() ? change->value->c_str() : nullptr});
        }
        onChange(told.data(), static_cast<uint32_t>(told.size()), argument);
    };
    return guarded([&] {
        auto fresh = std::make_unique<TarnHostConfigWatch>();
        const int error =
            configService().feed.subscribe(std::string(textOrEmpty(prefix)), deliver, fresh->subscription);
        if (error == 0) {
            *watch = fresh.release();
        }
        return error;
    });
}

void TarnHostConfigWatchStop(TarnHostConfigWatch* watch) {
    if (watch == nullptr) {
        return;
    }
    configService().feed.unsubscribe(watch->subscription);
    delete watch;
}
