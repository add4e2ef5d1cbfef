#include "host_run.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "scratch_directory.h"
#include "target.h"

namespace tarn::fuzz {

namespace {

std::string socketPath(const std::string& receiver) {
    return std::string(std::getenv("TARN_HOST_DIR")).append("/msg/").append(receiver).append(".socket");
}

sockaddr_un addressOf(const std::string& receiver) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string path = socketPath(receiver);
    FUZZ_CHECK(path.size() < sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

// A peer that hangs is a finding: no wait is longer than this.
Socket makeSocket() {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    FUZZ_CHECK(descriptor >= 0);
    const timeval longest = {15, 0};
    FUZZ_CHECK(setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest) == 0);
    return Socket(descriptor);
}

} // namespace

Socket::Socket(Socket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

Socket::~Socket() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

void Socket::send(std::span<const uint8_t> bytes, size_t piece) const {
    while (!bytes.empty()) {
        const size_t step = piece == 0 ? bytes.size() : std::min(piece, bytes.size());
        const ssize_t sent = ::send(descriptor_, bytes.data(), step, MSG_NOSIGNAL);
        if (sent <= 0) {
            return;
        }
        bytes = bytes.subspan(static_cast<size_t>(sent));
    }
}

void Socket::end() const {
    shutdown(descriptor_, SHUT_WR);
}

Bytes Socket::receiveAll() const {
    Bytes bytes;
    uint8_t piece[4096];
    ssize_t received = 0;
    while ((received = recv(descriptor_, piece, sizeof piece, 0)) > 0) {
        bytes.insert(bytes.end(), piece, piece + received);
    }
    FUZZ_CHECK(received == 0 || errno == ECONNRESET);
    return bytes;
}

std::optional<Frame> Socket::receiveFrame() const {
    Frame frame;
    if (recv(descriptor_, &frame.header, sizeof frame.header, MSG_WAITALL) != sizeof frame.header) {
        return std::nullopt;
    }
    frame.payload.resize(frame.header.payloadLength);
    const auto wanted = static_cast<ssize_t>(frame.payload.size());
    FUZZ_CHECK(wanted == 0 || recv(descriptor_, frame.payload.data(), frame.payload.size(), MSG_WAITALL) == wanted);
    return frame;
}

void useHostDirectory() {
    static const ScratchDirectory directory;
    static const bool made = [] {
        FUZZ_CHECK(setenv("TARN_HOST_DIR", directory.path().c_str(), 1) == 0);
        return true;
    }();
    static_cast<void>(made);
}

Socket connectTo(const std::string& receiver) {
    Socket made = makeSocket();
    const sockaddr_un address = addressOf(receiver);
    FUZZ_CHECK(connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
    return made;
}

Socket listenAs(const std::string& receiver) {
    std::filesystem::create_directories(std::filesystem::path(socketPath(receiver)).parent_path());
    Socket made = makeSocket();
    const sockaddr_un address = addressOf(receiver);
    FUZZ_CHECK(bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
    FUZZ_CHECK(listen(made.get(), SOMAXCONN) == 0);
    return made;
}

Socket acceptFrom(const Socket& listening) {
    Socket accepted(accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
    FUZZ_CHECK(accepted.get() >= 0);
    return accepted;
}

OsMsgRecord makeRecord(const char* receiver, uint32_t kind, Bytes& payload) {
    OsMsgRecord record = {};
    record.kind = kind;
    std::memcpy(record.senderName, "fuzz", 5);
    std::strncpy(record.receiverName, receiver, sizeof record.receiverName - 1);
    record.payload = payload.data();
    record.payloadLength = static_cast<uint32_t>(payload.size());
    return record;
}

} // namespace tarn::fuzz
