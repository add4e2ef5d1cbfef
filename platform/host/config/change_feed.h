// Brings the committed changes of all processes to this one, on one thread. Nothing is asked for while nothing changes:
// a writer touches the file after each commit, and the kernel tells. A writer that is killed between the two is noticed
// by the closing of its write-ahead log.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "config/store.h"

namespace tarn::host {

class ChangeFeed {
 public:
    // Gets the changes of one write below the prefix, in their order. May throw before it has told anybody; it is
    // called again then.
    using Deliver = std::function<void(std::span<const ConfigChange* const>)>;

    struct Subscription {
        std::string prefix;
        Deliver deliver;
        LogPosition from;
        bool isActive = true;
    };
    using SubscriptionPointer = std::shared_ptr<Subscription>;

    explicit ChangeFeed(Store& store) : store_(store) {}

    // Changes committed from now on; 0 or an errno.
    int subscribe(const std::string& prefix, Deliver deliver, SubscriptionPointer& subscription);
    // Nothing is delivered after it returned, unless it is called by the delivery itself.
    void unsubscribe(const SubscriptionPointer& subscription);

    // In a forked child: the descriptors that it inherited.
    void closeInherited();

 private:
    int start();
    int watchDirectory();
    void run();
    bool waitForChange();
    bool takeEvents();
    int drain();
    void dispatch(uint64_t file, const std::vector<ConfigChange>& changes);
    void deliver(Subscription& subscription, uint64_t file, const std::vector<ConfigChange>& changes);
    bool beginDelivery(Subscription& subscription);
    void endDelivery();
    void leaveCallback() const;

    Store& store_;
    std::mutex mutex_;
    std::condition_variable delivered_;
    std::vector<SubscriptionPointer> subscriptions_;
    Subscription* inDelivery_ = nullptr;
    LogPosition position_;
    std::thread thread_; // Never joined: it lives as long as the process.
    std::atomic<int> events_ = -1;
    std::atomic<int> wakes_ = -1;
    pid_t process_ = 0; // the thread's
    int watch_ = -1;
    bool mustRetry_ = false; // The thread's own.
};

} // namespace tarn::host
