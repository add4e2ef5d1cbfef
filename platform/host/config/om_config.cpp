// The configuration client's calls; `tarn_host/host_config.h` tells their rules and codes.
#include "tarn_platform/om_config.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "base/guarded.h"
#include "config/config_service.h"
#include "config/om_record.h"

namespace {

using tarn::host::ConfigChange;
using tarn::host::ConfigDomain;
using tarn::host::ConfigService;
using tarn::host::configService;
using tarn::host::guarded;
using DomainPointer = std::shared_ptr<ConfigDomain>;

constexpr uint32_t kMostRecords = 65536;

bool validDomain(const char* domain) {
    const size_t length = domain == nullptr ? 0 : strnlen(domain, OM_CONFIG_KEY_LEN);
    return length > 0 && length < OM_CONFIG_KEY_LEN - 1 && domain[length - 1] != '.';
}

bool isConnected(ConfigService& service) {
    const std::lock_guard lock(service.domainMutex);
    return !service.domains.empty();
}

// Reads or writes the store; ENOTCONN for a process without a connection.
template <typename Operation>
uint32_t whenConnected(Operation operation) {
    return guarded([&] {
        ConfigService& service = configService();
        return isConnected(service) ? operation(service) : ENOTCONN;
    });
}

DomainPointer findDomain(ConfigService& service, std::string_view name) {
    const std::lock_guard lock(service.domainMutex);
    const auto found = service.domains.find(name);
    return found == service.domains.end() ? nullptr : found->second;
}

// A notification with its entries and values.
class Notification {
 public:
    explicit Notification(std::span<const ConfigChange* const> changes)
        : entries_(changes.size()), values_(changes.size()) {
        for (size_t i = 0; i < changes.size(); ++i) {
            const std::string& key = changes[i]->key;
            key.copy(entries_[i].key, sizeof entries_[i].key - 1);
            entries_[i].keyLength = static_cast<uint8_t>(key.size());
            entries_[i].value = &values_[i];
            if (changes[i]->value.has_value()) {
                const std::string& value = *changes[i]->value;
                value.copy(values_[i].text, sizeof values_[i].text - 1);
                values_[i].length = static_cast<uint32_t>(value.size());
            }
        }
        notify_ = {static_cast<uint32_t>(entries_.size()), entries_.data()};
    }

    ConfConfigOmNotify* get() { return &notify_; }

 private:
    std::vector<ConfConfigOmNotifyEntry> entries_;
    std::vector<ConfConfigOmValue> values_;
    ConfConfigOmNotify notify_ = {};
};

int registerCallback(ConfigService& service, ConfigDomain& domain, OmConfigNotifyFunc callback, const char* name) {
    const std::lock_guard lock(domain.mutex);
    if (domain.isGone) {
        return ENOTCONN;
    }
    if (domain.subscription != nullptr) {
        domain.callback->store(callback);
        return 0;
    }
    domain.callback = std::make_shared<std::atomic<OmConfigNotifyFunc>>(callback);
    const auto deliver = [current = domain.callback](std::span<const ConfigChange* const> changes) {
        Notification notification(changes);
        current->load()(OM_CONFIG_MSG_CHANGED, 0, 0, notification.get());
    };
    return service.feed.subscribe(std::string(name) += ".", deliver, domain.subscription);
}

// Takes the domain out of the list; null when it is not in it.
DomainPointer takeDomain(ConfigService& service, std::string_view name, bool& wasLast) {
    const std::lock_guard lock(service.domainMutex);
    const auto found = service.domains.find(name);
    if (found == service.domains.end()) {
        return nullptr;
    }
    DomainPointer domain = std::move(found->second);
    service.domains.erase(found);
    wasLast = service.domains.empty();
    return domain;
}

void endSubscription(ConfigService& service, ConfigDomain& domain) {
    tarn::host::ChangeFeed::SubscriptionPointer subscription;
    {
        const std::lock_guard lock(domain.mutex);
        domain.isGone = true;
        subscription = std::move(domain.subscription);
    }
    if (subscription != nullptr) {
        service.feed.unsubscribe(subscription);
    }
}

} // namespace

uint32_t TarnOmConfigInit(uint32_t /*flag*/, const char* owner, const char* domain) {
    if (owner == nullptr || !validDomain(domain)) {
        return EINVAL;
    }
    return guarded([&] {
        ConfigService& service = configService();
        const int error = service.store.connect();
        if (error != 0) {
            return error;
        }
        const std::lock_guard lock(service.domainMutex);
        DomainPointer& entry = service.domains[domain];
        if (entry == nullptr) {
            entry = std::make_shared<ConfigDomain>();
        }
        return 0;
    });
}

uint32_t TarnOmConfigUnInit(const char* domain) {
    if (!validDomain(domain)) {
        return EINVAL;
    }
    return guarded([&] {
        ConfigService& service = configService();
        bool wasLast = false;
        const DomainPointer gone = takeDomain(service, domain, wasLast);
        if (gone == nullptr) {
            return ENOTCONN;
        }
        endSubscription(service, *gone);
        if (wasLast) {
            service.store.disconnect();
            service.changes.disconnect();
        }
        return 0;
    });
}

uint32_t TarnOmConfigNotifyCallback(OmConfigNotifyFunc callback, const char* domain) {
    if (callback == nullptr || !validDomain(domain)) {
        return EINVAL;
    }
    return guarded([&] {
        ConfigService& service = configService();
        const DomainPointer found = findDomain(service, domain);
        return found == nullptr ? ENOTCONN : registerCallback(service, *found, callback, domain);
    });
}

uint32_t TarnOmConfigStringGet(ConfConfigOmRecord* record) {
    if (record == nullptr || tarn::host::checkKey(record->key) != 0) {
        return EINVAL;
    }
    return whenConnected([&](ConfigService& service) { return service.store.get(record->key.text, record->value); });
}

uint32_t TarnOmConfigStringSet(ConfConfigOmRecord record) {
    return TarnOmConfigStringMset(&record, 1);
}

uint32_t TarnOmConfigStringMget(ConfConfigOmRecord* records, uint32_t count) {
    if (records == nullptr && count > 0) {
        return EINVAL;
    }
    const std::span<ConfConfigOmRecord> all(records, count);
    // A key that is not filled in is none that is held.
    if (std::any_of(all.begin(), all.end(), [](const auto& record) { return !tarn::host::isKeyField(record.key); })) {
        return EINVAL;
    }
    return whenConnected([&](ConfigService& service) { return service.store.getAll(all); });
}

uint32_t TarnOmConfigStringMset(ConfConfigOmRecord* records, uint32_t count) {
    if ((records == nullptr && count > 0) || count > kMostRecords) {
        return EINVAL;
    }
    const std::span<const ConfConfigOmRecord> all(records, count);
    if (tarn::host::checkRecords(all) != 0) {
        return EINVAL;
    }
    return whenConnected([&](ConfigService& service) { return all.empty() ? 0 : service.store.putAll(all); });
}
