#include "message/thread_connections.h"

#include <pthread.h>

#include <algorithm>
#include <system_error>

#include "base/undo.h"

namespace tarn::host {
namespace {

// A thread that talks to more receivers reopens connections now and then.
constexpr size_t kMostConnections = 32;

thread_local ThreadConnections* threadConnections = nullptr;

void endThread(void* connections) {
    auto* own = static_cast<ThreadConnections*>(connections);
    threadConnections = nullptr;
    {
        const std::lock_guard lock(messageService().threadMutex);
        if (messageService().threads.erase(own) == 0) {
            return;
        }
    }
    delete own;
}

void throwIf(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

// A key and not a thread_local object: a message that is sent while the thread ends gets a connection all the same.
pthread_key_t threadKey() {
    static const pthread_key_t key = [] {
        pthread_key_t made = 0;
        throwIf(pthread_key_create(&made, endThread));
        return made;
    }();
    return key;
}

} // namespace

void forgetThreadConnections() {
    threadConnections = nullptr;
}

ThreadConnections& ThreadConnections::own() {
    if (threadConnections == nullptr) {
        const pthread_key_t key = threadKey();
        auto made = std::make_unique<ThreadConnections>();
        const std::lock_guard lock(messageService().threadMutex);
        const auto place = messageService().threads.insert(made.get()).first;
        Undo removal([&] { messageService().threads.erase(place); });
        throwIf(pthread_setspecific(key, made.get()));
        removal.cancel();
        threadConnections = made.release();
    }
    return *threadConnections;
}

// Only a connection whose messages have all been read may go: a later one could overtake them.
void ThreadConnections::makeRoom() {
    if (connections_.size() < kMostConnections) {
        return;
    }
    const auto oldest = std::find_if(connections_.begin(), connections_.end(),
                                     [](const auto& connection) { return connection->quiet(); });
    if (oldest != connections_.end()) {
        connections_.erase(oldest);
    }
}

int ThreadConnections::get(const char* receiver, const Deadline* deadline,
                           std::shared_ptr<OutgoingConnection>& connection) {
    const auto found = std::find_if(connections_.begin(), connections_.end(),
                                    [&](const auto& candidate) { return candidate->receiver() == receiver; });
    if (found != connections_.end()) {
        const int state = (*found)->check();
        if (state == 0) {
            std::rotate(found, found + 1, connections_.end());
            connection = connections_.back();
            return 0;
        }
        connections_.erase(found);
        if (state != kNothingSent) {
            return state;
        }
    }
    makeRoom();
    const int error = OutgoingConnection::open(receiver, deadline, connection);
    if (error == 0) {
        connections_.push_back(connection);
    }
    return error;
}

void ThreadConnections::dropIfBroken(const std::shared_ptr<OutgoingConnection>& connection) {
    if (connection->broken()) {
        std::erase(connections_, connection);
    }
}

} // namespace tarn::host
