#include "config/change_feed.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "base/above_standard.h"
#include "base/forked_child.h"
#include "base/report.h"
#include "base/service_thread.h"
#include "tarn_host/host_process.h"

namespace tarn::host {
namespace {

constexpr uint32_t kTouched = IN_ATTRIB | IN_CREATE | IN_MOVED_TO;
constexpr uint32_t kWatched = kTouched | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr int kRetryMs = 1000;
constexpr std::chrono::milliseconds kMemoryPause(100);

bool tellsOfChange(uint32_t mask, std::string_view name) {
    if ((mask & IN_Q_OVERFLOW) != 0) {
        return true;
    }
    return ((mask & kTouched) != 0 && name == "config.db") || ((mask & IN_CLOSE_WRITE) != 0 && name == "config.db-wal");
}

} // namespace

int ChangeFeed::watchDirectory() {
    const char* directory = TarnHostDir();
    watch_ = directory == nullptr ? -1 : inotify_add_watch(events_.load(), directory, kWatched);
    return watch_ >= 0 ? 0 : errno;
}

// Called with the lock held.
int ChangeFeed::start() {
    if (thread_.joinable()) {
        return 0;
    }
    if (events_.load() < 0) {
        events_.store(aboveStandard(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)));
    }
    if (wakes_.load() < 0) {
        wakes_.store(aboveStandard(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
    }
    int error = events_.load() < 0 || wakes_.load() < 0 ? errno : watchDirectory();
    if (error == 0) {
        process_ = getpid();
        error = startServiceThread(thread_, "config-changes", [this] { run(); });
    }
    if (error != 0) {
        report("changes of the configuration cannot be watched: %s", std::strerror(error));
    }
    return error;
}

int ChangeFeed::subscribe(const std::string& prefix, Deliver deliver, SubscriptionPointer& subscription) {
    {
        const std::lock_guard lock(mutex_);
        const int error = start();
        if (error != 0) {
            return error;
        }
    }
    LogPosition end;
    const int error = store_.end(end);
    if (error != 0) {
        return error;
    }
    auto fresh = std::make_shared<Subscription>(Subscription{prefix, std::move(deliver), end});
    const std::lock_guard lock(mutex_);
    if (subscriptions_.empty()) {
        position_ = end;
    }
    subscriptions_.push_back(fresh);
    subscription = std::move(fresh);
    // The event of a change behind `end` may have come while there was nobody to tell. This fails only while the thread
    // is about to wake anyway.
    static_cast<void>(eventfd_write(wakes_.load(), 1));
    return 0;
}

void ChangeFeed::unsubscribe(const SubscriptionPointer& subscription) {
    std::unique_lock lock(mutex_);
    subscription->isActive = false;
    std::erase(subscriptions_, subscription);
    if (thread_.get_id() != std::this_thread::get_id()) {
        delivered_.wait(lock, [&] { return inDelivery_ != subscription.get(); });
    }
}

void ChangeFeed::closeInherited() {
    for (const int descriptor : {events_.load(), wakes_.load()}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
}

void ChangeFeed::run() {
    while (true) {
        if (!waitForChange()) {
            continue;
        }
        int error = 0;
        try {
            error = drain();
        } catch (const std::bad_alloc&) {
            error = ENOMEM;
        }
        if (error != 0 && !mustRetry_) {
            report("changes of the configuration cannot be read: %s; tried again every second", std::strerror(error));
        }
        mustRetry_ = error != 0;
    }
}

// Sleeps until something happens in the directory; true when it may be a commit.
bool ChangeFeed::waitForChange() {
    if (watch_ < 0 && watchDirectory() == 0) {
        return true; // The directory is back.
    }
    const bool isTroubled = watch_ < 0 || mustRetry_;
    std::array<pollfd, 2> readable = {{{events_.load(), POLLIN, 0}, {wakes_.load(), POLLIN, 0}}};
    const int ready = poll(readable.data(), readable.size(), isTroubled ? kRetryMs : -1);
    if (ready < 0 && errno != EINTR) {
        std::this_thread::sleep_for(kMemoryPause); // the kernel is short of memory
    }
    eventfd_t wakes = 0;
    const bool isWoken = ready > 0 && eventfd_read(wakes_.load(), &wakes) == 0;
    const bool isTold = ready > 0 && takeEvents();
    return isTold || isWoken || (ready == 0 && mustRetry_);
}

bool ChangeFeed::takeEvents() {
    alignas(inotify_event) std::array<char, 4096> buffer;
    bool isTold = false;
    ssize_t length = 0;
    while ((length = read(events_.load(), buffer.data(), buffer.size())) > 0) {
        const char* const end = buffer.data() + length;
        for (const char* next = buffer.data(); next < end;) {
            const auto* event = reinterpret_cast<const inotify_event*>(next);
            next += sizeof *event + event->len;
            const std::string_view name = event->len > 0 ? std::string_view(event->name) : std::string_view();
            isTold = isTold || tellsOfChange(event->mask, name);
            if ((event->mask & IN_MOVE_SELF) != 0) {
                inotify_rm_watch(events_.load(), watch_); // IN_IGNORED follows.
            }
            if ((event->mask & IN_IGNORED) != 0 && event->wd == watch_) {
                watch_ = -1;
            }
        }
    }
    return isTold;
}

// 0 at the end of the log, or an errno.
int ChangeFeed::drain() {
    while (true) {
        LogPosition before;
        {
            const std::lock_guard lock(mutex_);
            if (subscriptions_.empty()) {
                return 0;
            }
            before = position_;
        }
        LogPosition after = before;
        std::vector<ConfigChange> changes;
        bool isWhole = true;
        const int error = store_.next(after, changes, isWhole);
        if (error != 0 || after == before) {
            return error;
        }
        if (!isWhole) {
            report("changes of the configuration were missed; the present values of %zu keys follow at once",
                   changes.size());
        }
        dispatch(after.file, changes);
        const std::lock_guard lock(mutex_);
        if (position_ == before) {
            position_ = after;
        }
    }
}

void ChangeFeed::dispatch(uint64_t file, const std::vector<ConfigChange>& changes) {
    std::vector<SubscriptionPointer> subscriptions;
    {
        const std::lock_guard lock(mutex_);
        subscriptions = subscriptions_;
    }
    for (const SubscriptionPointer& subscription : subscriptions) {
        // Others may have been told already, so this one's memory is waited for.
        while (true) {
            try {
                deliver(*subscription, file, changes);
                break;
            } catch (const std::bad_alloc&) {
                std::this_thread::sleep_for(kMemoryPause);
            }
        }
    }
}

void ChangeFeed::deliver(Subscription& subscription, uint64_t file, const std::vector<ConfigChange>& changes) {
    std::vector<const ConfigChange*> wanted;
    for (const ConfigChange& change : changes) {
        const bool isNews = subscription.from.file != file || change.number > subscription.from.offset;
        if (isNews && change.key.starts_with(subscription.prefix)) {
            wanted.push_back(&change);
        }
    }
    if (wanted.empty() || !beginDelivery(subscription)) {
        return;
    }
    try {
        subscription.deliver(wanted);
    } catch (const std::bad_alloc&) {
        leaveCallback();
        endDelivery();
        throw;
    }
    leaveCallback();
    endDelivery();
}

void ChangeFeed::leaveCallback() const {
    if (getpid() != process_) {
        endForkedChild("a callback for changes of the configuration");
    }
}

bool ChangeFeed::beginDelivery(Subscription& subscription) {
    const std::lock_guard lock(mutex_);
    inDelivery_ = subscription.isActive ? &subscription : nullptr;
    return subscription.isActive;
}

void ChangeFeed::endDelivery() {
    const std::lock_guard lock(mutex_);
    inDelivery_ = nullptr;
    delivered_.notify_all();
}

} // namespace tarn::host
