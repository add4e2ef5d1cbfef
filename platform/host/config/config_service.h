// What the configuration client of this process holds. A forked child starts disconnected, with a fresh one.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "config/change_feed.h"
#include "config/store.h"
#include "tarn_platform/om_config.h"

namespace tarn::host {

// A connected domain.
struct ConfigDomain {
    std::mutex mutex;
    bool isGone = false;
    std::shared_ptr<std::atomic<OmConfigNotifyFunc>> callback;
    ChangeFeed::SubscriptionPointer subscription; // Null before the first callback.
};

struct ConfigService {
    void beforeFork();
    void afterFork();
    void startInChild();

    Store store{Store::Trouble::Told};
    Store changes{Store::Trouble::Silent}; // Reading changes keeps nobody from writing.
    ChangeFeed feed{changes};
    std::mutex domainMutex;
    std::map<std::string, std::shared_ptr<ConfigDomain>, std::less<>> domains;
    ConfigService* inherited = nullptr; // The parent's, kept so that what it owns stays reachable.
};

ConfigService& configService();

} // namespace tarn::host
