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
#include "tarn_host/host_process.h"

namespace tarn::fuzz {

namespace {

std::string socketPath(const std::string& receiver) {
    return std::string(TarnHostDir()).append("/msg/").append(receiver).append(".socket");
}

sockaddr_un addressOf(const std::string& receiver) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string path = socketPath(receiver);
    FUZZ_CHECK(path.size() < sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

Socket makeSocket() {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    FUZZ_CHECK(descriptor >= 0);
    return Socket(descriptor);
}

// libFuzzer's clock interrupts calls that wait.
template <typename Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// What is there, up to `count` bytes; 0 at the end. A peer that closes without having read all resets the connection.
size_t receiveSome(int descriptor, void* target, size_t count) {
    const ssize_t received = uninterrupted([=] { return recv(descriptor, target, count, 0); });
    FUZZ_CHECK(received >= 0 || errno == ECONNRESET);
    return received < 0 ? 0 : static_cast<size_t>(received);
}

bool receiveWhole(int descriptor, void* target, size_t count) {
    size_t filled = 0;
    while (filled < count) {
        const size_t received = receiveSome(descriptor, static_cast<uint8_t*>(target) + filled, count - filled);
        if (received == 0) {
            return false;
        }
        filled += received;
    }
    return true;
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
        const ssize_t sent = uninterrupted([&] { return ::send(descriptor_, bytes.data(), step, MSG_NOSIGNAL); });
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
    for (size_t received = 1; received != 0;) {
        received = receiveSome(descriptor_, piece, sizeof piece);
        bytes.insert(bytes.end(), piece, piece + received);
    }
    return bytes;
}

std::optional<Frame> Socket::receiveFrame() const {
    Frame frame;
    if (!receiveWhole(descriptor_, &frame.header, sizeof frame.header)) {
        return std::nullopt;
    }
    frame.payload.resize(frame.header.payloadLength);
    FUZZ_CHECK(receiveWhole(descriptor_, frame.payload.data(), frame.payload.size()));
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
    FUZZ_CHECK(uninterrupted([&] {
                   return connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
               }) == 0);
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
    Socket accepted(uninterrupted([&] { return accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC); }));
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
