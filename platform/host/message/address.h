// Names of receivers and where their sockets and lock files stand.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>
#include <string_view>

#include "message/fork_aware_descriptor.h"

namespace tarn::host {

// 1 to 15 characters that a file name may hold; not starting with '.'.
bool validReceiverName(std::string_view name);

// The directory of the sockets. 0 or an errno, with the reason on standard error.
int messageDirectory(std::string& path);
std::string socketPath(const std::string& directory, std::string_view name);
std::string lockPath(const std::string& directory, std::string_view name);

// The address of a receiver's socket. A path too long for a socket address is reached through the open directory.
class SocketAddress {
 public:
    // 0 or an errno.
    int set(const std::string& directory, std::string_view name);
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address_); }
    socklen_t size() const { return sizeof address_; }

 private:
    sockaddr_un address_ = {};
    ForkAwareDescriptor directory_;
};

// Room for a large message in one go. An accepted socket does not take it over from the listening one.
void widenSendBuffer(int socket);

// A socket of the kind that both ends use; empty with `errno` on failure.
ForkAwareDescriptor makeSocket();

// The credentials of the process at the other end; 0, or EPERM for a process of another user.
int checkPeer(int socket, ucred& peer);

} // namespace tarn::host
