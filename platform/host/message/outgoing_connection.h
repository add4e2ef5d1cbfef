// A sender's connection to one receiver. It belongs to one thread; the flusher shares it while messages wait in its
// queue. A connection on which a call failed is never used again, so that no late answer reaches another call.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/deadline.h"
#include "message/fork_aware_descriptor.h"
#include "message/frame.h"

namespace tarn::host {

// Beyond the errno values: the receiver closed the connection before it took a byte of the message, which may therefore
// be sent again over a new connection.
constexpr int kNothingSent = -1;

struct Answer {
    FrameHeader header;
    MessagePointer message; // The record is not filled yet.
    std::span<std::byte> payload;
    AccountedBlock block;
    uid_t uid = 0;
};

class OutgoingConnection : public std::enable_shared_from_this<OutgoingConnection> {
 public:
    // Connects; 0 or an errno. Without a deadline it does not wait.
    static int open(const char* receiver, const Deadline* deadline, std::shared_ptr<OutgoingConnection>& connection);

    const std::string& receiver() const { return receiver_; }

    // Looks whether the receiver is still there: 0, kNothingSent when a new connection is due, or the errno with which
    // the receiver refused what was sent before.
    int check();
    int call(const FrameHeader& header, const void* payload, const Deadline& deadline, Answer& answer);
    // As `call`, for a question that needs no introduction. It must be the first frame of the connection.
    int ask(const FrameHeader& header, const Deadline& deadline, Answer& answer);
    // Sends or queues.
    int post(const FrameHeader& header, const void* payload);

    bool broken();
    // The receiver has read everything, so that messages over another connection cannot overtake.
    bool quiet();

    // For the flusher: sends what waits; 0 (nothing is left), EAGAIN or the errno of a broken connection.
    int flush();
    int socket() const { return socket_.get(); }
    size_t queuedBytes();

 private:
    int connectSocket(const std::string& directory, const Deadline* deadline);
    int waitForQueue(std::unique_lock<std::mutex>& lock, const Deadline& deadline);
    int sendNow(Gather& pieces, const Deadline& deadline);
    int receive(uint32_t kind, const Deadline& deadline, Answer& answer);
    int enqueue(const Gather& pieces);
    int sendQueue();
    void dropQueue();
    int refusal();
    int brokenBy(int error);
    Gather message(const FrameHeader& header, const void* payload) const;

    std::string receiver_;
    ForkAwareDescriptor socket_;
    uid_t peerUid_ = 0;

    std::mutex mutex_;
    std::condition_variable emptied_;
    std::vector<std::byte> introduction_; // Goes ahead of the first message.
    std::deque<std::vector<std::byte>> queue_;
    size_t queueSent_ = 0; // Of the first piece.
    size_t queueBytes_ = 0;
    bool broken_ = false;
};

} // namespace tarn::host
