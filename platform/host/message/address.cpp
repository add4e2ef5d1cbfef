#include "message/address.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "base/host_directory.h"
#include "tarn_platform/os_message.h"

namespace tarn::host {

// Room for a payload of 1 MiB and more in one go; the kernel cuts it to what the machine allows.
constexpr int kSocketBuffer = 4 * 1024 * 1024;

bool validReceiverName(std::string_view name) {
    return !name.empty() && name.size() < OS_MSG_NAME_LEN && name.front() != '.' &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return c != '/' && static_cast<unsigned char>(c) > ' ' && c != 0x7F; });
}

int messageDirectory(std::string& path) {
    static constinit HostSubdirectory directory("msg");
    return directory.make(path);
}

std::string socketPath(const std::string& directory, std::string_view name) {
    return (directory + "/").append(name) + ".socket";
}

std::string lockPath(const std::string& directory, std::string_view name) {
    return (directory + "/").append(name) + ".lock";
}

int SocketAddress::set(const std::string& directory, std::string_view name) {
    std::string path = socketPath(directory, name);
    if (path.size() >= sizeof address_.sun_path) {
        directory_ =
            ForkAwareDescriptor::make([&] { return open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); });
        if (!directory_) {
            return errno;
        }
        path = socketPath("/proc/self/fd/" + std::to_string(directory_.get()), name);
    }
    address_.sun_family = AF_UNIX;
    std::memcpy(address_.sun_path, path.c_str(), path.size() + 1);
    return 0;
}

void widenSendBuffer(int socket) {
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kSocketBuffer, sizeof kSocketBuffer);
}

ForkAwareDescriptor makeSocket() {
    ForkAwareDescriptor made =
        ForkAwareDescriptor::make([] { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); });
    if (made) {
        widenSendBuffer(made.get());
    }
    return made;
}

int checkPeer(int socket, ucred& peer) {
    socklen_t size = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return errno;
    }
    return peer.uid == geteuid() ? 0 : EPERM;
}

} // namespace tarn::host
