// A running receiver: its lock, its listening socket and its message thread, which serves all its connections and runs
// the record callback for one record after another.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "message/incoming_connection.h"
#include "message/receiver_lock.h"

namespace tarn::host {

using RecordCallback = void (*)(OsMsgRecord*);

// The record that a message thread has handed to its callback.
struct Delivery {
    IncomingConnection* connection = nullptr;
    uint64_t serial = 0; // Stands in the record, so that only the record of this moment can be answered.
    FrameHeader header;
    bool answered = false;
};

class Receiver {
 public:
    Receiver(std::string name, RecordCallback onRecord);

    // `start` and `close` need the receiver mutex of the service.
    int start(const std::shared_ptr<Receiver>& self);
    void close();
    // After `close`, without the mutex.
    void join();

    const std::string& name() const { return name_; }
    uint64_t startTime() const { return lock_.startTime(); }

    // Of the calling thread, or null when it is no message thread or between two records.
    static Delivery* currentDelivery();
    // The receiver whose message thread calls, or null.
    static const Receiver* current();

 private:
    int listen();
    int startThread(const std::shared_ptr<Receiver>& self);
    bool watch(int descriptor, uint32_t events, void* tag, int operation);

    void run();
    void acceptAll();
    void pauseAccepting(int error);
    void addConnection(ForkAwareDescriptor socket);
    void handleEvent(void* tag, uint32_t events);
    void serve(IncomingConnection& connection, uint32_t events);
    bool readFrames(IncomingConnection& connection);
    bool handleFrame(IncomingConnection& connection);
    bool greet(IncomingConnection& connection);
    static void sendAccount(IncomingConnection& connection);
    void deliver(IncomingConnection& connection) noexcept;
    void leaveCallback() const;
    void setBusy(IncomingConnection* connection);
    void drop(IncomingConnection& connection);
    void finish();

    const std::string name_;
    const RecordCallback onRecord_;
    MessageService* const home_;
    ReceiverLock lock_;
    std::string socketPath_;
    ForkAwareDescriptor epoll_;
    ForkAwareDescriptor wake_;
    std::thread thread_;
    std::atomic<bool> closing_ = false;
    bool acceptPaused_ = false;
    uint64_t serial_ = 0;
    std::vector<std::byte> spill_;

    std::mutex mutex_; // For what `close` shares with the message thread.
    ForkAwareDescriptor listening_;
    std::unordered_map<int, std::unique_ptr<IncomingConnection>> connections_;
    IncomingConnection* busy_ = nullptr;
};

} // namespace tarn::host
