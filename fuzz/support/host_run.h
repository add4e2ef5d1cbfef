// The host platform in a directory of its own, and plain sockets to and from it.
#pragma once

#include <optional>
#include <string>

#include "frame.h"
#include "tarn_platform/os_message.h"

namespace tarn::fuzz {

class Socket {
 public:
    explicit Socket(int descriptor) : descriptor_(descriptor) {}
    Socket(Socket&& other) noexcept;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    Socket& operator=(Socket&&) = delete;
    ~Socket();

    int get() const { return descriptor_; }
    // Sends in pieces of so many bytes, 0 for one piece. A peer that has closed stops it.
    void send(std::span<const uint8_t> bytes, size_t piece = 0) const;
    // Nothing more is sent: the other side sees the end.
    void end() const;
    // What comes until the other side closes.
    Bytes receiveAll() const;
    // A whole frame; none when the other side closes before.
    std::optional<Frame> receiveFrame() const;

 private:
    int descriptor_;
};

// Makes the host directory, once in the life of the program.
void useHostDirectory();
Socket connectTo(const std::string& receiver);
// Takes connections in a receiver's place.
Socket listenAs(const std::string& receiver);
Socket acceptFrom(const Socket& listening);

// A message of kind 1 or 2 from this program.
OsMsgRecord makeRecord(const char* receiver, uint32_t kind, Bytes& payload);

} // namespace tarn::fuzz
