// The line between the director and one process of the endpoint: an order goes out, a reply of key=value lines comes
// back. It is the director's own instrument; what the processes say to each other goes through the library.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarn::demo {

using Reply = std::map<std::string, std::string>;

// Owns a file descriptor.
class Descriptor {
 public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    int get() const { return descriptor_; }
    int release();

 private:
    int descriptor_;
};

class ProcessLink {
 public:
    explicit ProcessLink(Descriptor socket) : socket_(std::move(socket)) {}

    // A connected pair: the director's end and the process's.
    static std::pair<ProcessLink, ProcessLink> makePair();

    void sendLine(const std::string& line);
    // The next line; nothing when the other end is gone or the time is up.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout);

    void sendReply(const Reply& reply);
    std::optional<Reply> readReply(std::chrono::milliseconds timeout);

    void close() { socket_ = Descriptor(); }

 private:
    Descriptor socket_;
    std::string unread_;
};

// Set by the director's signal handler; a wait on a link ends at once when it is.
bool interrupted();
void noteInterrupt();

} // namespace tarn::demo
