// Starting, stopping and listing receivers.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "base/guarded.h"
#include "base/undo.h"
#include "message/address.h"
#include "message/receiver.h"
#include "tarn_host/host_message.h"

namespace tarn::host {
namespace {

constexpr std::string_view kLockSuffix = ".lock";

TarnHostReceiver entry(const std::string& name, pid_t pid, uint64_t startTime) {
    TarnHostReceiver receiver = {};
    name.copy(receiver.name, sizeof receiver.name - 1);
    receiver.pid = static_cast<uint32_t>(pid);
    receiver.startTime = startTime;
    return receiver;
}

uint32_t start(const char* processName, RecordCallback onRecord) {
    MessageService& own = messageService();
    const std::lock_guard lock(own.receiverMutex);
    if (own.receivers.contains(processName)) {
        return EADDRINUSE;
    }
    auto receiver = std::make_shared<Receiver>(processName, onRecord);
    // The entry first: it is what may run out of memory.
    const auto place = own.receivers.emplace(processName, receiver).first;
    Undo removal([&] { own.receivers.erase(place); });
    const int error = receiver->start(receiver);
    if (error == 0) {
        removal.cancel();
    }
    return static_cast<uint32_t>(error);
}

std::shared_ptr<Receiver> closeAndRemove(const char* processName) {
    MessageService& own = messageService();
    const std::lock_guard lock(own.receiverMutex);
    const auto found = own.receivers.find(processName);
    if (found == own.receivers.end()) {
        return nullptr;
    }
    std::shared_ptr<Receiver> receiver = std::move(found->second);
    own.receivers.erase(found);
    receiver->close();
    return receiver;
}

uint32_t stop(const char* processName) {
    const std::shared_ptr<Receiver> receiver = closeAndRemove(processName);
    if (receiver == nullptr) {
        return ENOENT;
    }
    receiver->join();
    return 0;
}

// Receivers of other processes: this process's own lock files must not be opened and closed. 0 or an errno.
int listOthers(const MessageService& own, std::vector<TarnHostReceiver>& all) {
    std::string directory;
    const int error = messageDirectory(directory);
    if (error != 0) {
        return error;
    }
    const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir(directory.c_str()), closedir);
    if (open == nullptr) {
        return errno;
    }
    while (const dirent* file = readdir(open.get())) {
        std::string_view name = file->d_name;
        if (!name.ends_with(kLockSuffix)) {
            continue;
        }
        name.remove_suffix(kLockSuffix.size());
        LockHolder holder;
        if (validReceiverName(name) && !own.receivers.contains(std::string(name)) &&
            readLockHolder(lockPath(directory, name), holder)) {
            all.push_back(entry(std::string(name), holder.pid, holder.startTime));
        }
    }
    return 0;
}

uint32_t list(TarnHostReceiver* receivers, uint32_t capacity, uint32_t* count) {
    MessageService& own = messageService();
    const std::lock_guard lock(own.receiverMutex);
    std::vector<TarnHostReceiver> all;
    for (const auto& [name, receiver] : own.receivers) {
        all.push_back(entry(name, getpid(), receiver->startTime()));
    }
    const int error = listOthers(own, all);
    if (error != 0) {
        return static_cast<uint32_t>(error);
    }
    std::sort(all.begin(), all.end(), [](const TarnHostReceiver& left, const TarnHostReceiver& right) {
        return std::strcmp(left.name, right.name) < 0;
    });
    std::copy_n(all.begin(), std::min<size_t>(capacity, all.size()), receivers);
    *count = static_cast<uint32_t>(all.size());
    return 0;
}

} // namespace
} // namespace tarn::host

uint32_t OsMsgReceiverStart(const char* processName, void (*onRecord)(OsMsgRecord*)) {
    if (processName == nullptr || onRecord == nullptr || !tarn::host::validReceiverName(processName)) {
        return EINVAL;
    }
    return tarn::host::guarded([&] { return tarn::host::start(processName, onRecord); });
}

uint32_t OsMsgReceiverStop(const char* processName) {
    if (processName == nullptr || !tarn::host::validReceiverName(processName)) {
        return EINVAL;
    }
    return tarn::host::guarded([&] { return tarn::host::stop(processName); });
}

uint32_t TarnHostReceiverList(TarnHostReceiver* receivers, uint32_t capacity, uint32_t* count) {
    if (count == nullptr || (receivers == nullptr && capacity != 0)) {
        return EINVAL;
    }
    return tarn::host::guarded([&] { return tarn::host::list(receivers, capacity, count); });
}
