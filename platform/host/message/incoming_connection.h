// One sender's connection, at the receiver. Nothing here waits: what a slow sender does not take is kept and sent on
// when its socket has room, and until then nothing more is read from it.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <span>
#include <vector>

#include "message/fork_aware_descriptor.h"
#include "message/frame.h"

namespace tarn::host {

class IncomingConnection {
 public:
    IncomingConnection(ForkAwareDescriptor socket, const ucred& peer);

    int socket() const { return socket_.get(); }
    const ucred& peer() const { return peer_; }
    FrameReader& reader() { return reader_; }

    // The sender has shown that it runs the same image.
    bool greeted() const { return greeted_; }
    void greet() { greeted_ = true; }

    // Sends or keeps the pieces; 0 or an errno, after which the connection is of no use.
    int send(Gather pieces);
    // Sends on what was kept; 0 (nothing is left), EAGAIN or the errno of a connection of no use.
    int sendKept();
    bool keepsBytes() const { return keptSent_ < kept_.size(); }
    bool broken() const { return broken_; }

    // What epoll watches for; kept by the receiver.
    uint32_t watched = 0;

 private:
    ForkAwareDescriptor socket_;
    ucred peer_;
    FrameReader reader_;
    std::vector<std::byte> kept_;
    size_t keptSent_ = 0;
    bool greeted_ = false;
    bool broken_ = false;
};

} // namespace tarn::host
