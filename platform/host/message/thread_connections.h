// The connections of one thread, one to each receiver it has sent to: the order of a thread's messages is the order of
// the bytes on one connection.
#pragma once

#include <memory>
#include <vector>

#include "message/outgoing_connection.h"

namespace tarn::host {

class ThreadConnections {
 public:
    // Of the calling thread; closed when it ends. Throws std::bad_alloc or std::system_error.
    static ThreadConnections& own();

    // The usable connection to a receiver, a new one if need be. 0 or an errno.
    int get(const char* receiver, const Deadline* deadline, std::shared_ptr<OutgoingConnection>& connection);
    void dropIfBroken(const std::shared_ptr<OutgoingConnection>& connection);

 private:
    void makeRoom();

    std::vector<std::shared_ptr<OutgoingConnection>> connections_; // The one used last stands last.
};

} // namespace tarn::host
