#include "link/process_link.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <system_error>

namespace tarn::demo {
namespace {

constexpr const char* kEndOfReply = ".";

std::atomic<bool> interruptSeen{false};

} // namespace

bool interrupted() {
    return interruptSeen.load(std::memory_order_relaxed);
}

void noteInterrupt() {
    interruptSeen.store(true, std::memory_order_relaxed);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        descriptor_ = other.release();
    }
    return *this;
}

Descriptor::~Descriptor() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

int Descriptor::release() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
}

std::pair<ProcessLink, ProcessLink> ProcessLink::makePair() {
    std::array<int, 2> ends = {};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    return {ProcessLink(Descriptor(ends[0])), ProcessLink(Descriptor(ends[1]))};
}

void ProcessLink::sendLine(const std::string& line) {
    const std::string framed = line + "\n";
    size_t sent = 0;
    while (sent < framed.size()) {
        const ssize_t count = send(socket_.get(), framed.data() + sent, framed.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return; // the other end is gone; whoever waits for its reply will see that
        }
        sent += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
}

std::optional<std::string> ProcessLink::readLine(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        if (const size_t end = unread_.find('\n'); end != std::string::npos) {
            std::string line = unread_.substr(0, end);
            unread_.erase(0, end + 1);
            return line;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd waiting = {socket_.get(), POLLIN, 0};
        const int ready = left.count() <= 0 ? 0 : poll(&waiting, 1, static_cast<int>(left.count()));
        if (ready <= 0) {
            if (ready < 0 && errno == EINTR && !interrupted()) {
                continue;
            }
            return std::nullopt;
        }
        std::array<char, 4096> chunk;
        const ssize_t count = recv(socket_.get(), chunk.data(), chunk.size(), 0);
        if (count <= 0) {
            return std::nullopt;
        }
        unread_.append(chunk.data(), static_cast<size_t>(count));
    }
}

void ProcessLink::sendReply(const Reply& reply) {
    for (const auto& [key, value] : reply) {
        std::string line = key;
        sendLine(line.append("=").append(value));
    }
    sendLine(kEndOfReply);
}

std::optional<Reply> ProcessLink::readReply(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    Reply reply;
    while (true) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        const std::optional<std::string> line = readLine(left);
        if (!line) {
            return std::nullopt;
        }
        if (*line == kEndOfReply) {
            return reply;
        }
        const size_t equals = line->find('=');
        reply[line->substr(0, equals)] = equals == std::string::npos ? "" : line->substr(equals + 1);
    }
}

} // namespace tarn::demo
