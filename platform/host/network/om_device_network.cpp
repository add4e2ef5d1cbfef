// The device manager's network data: addresses of this machine, read anew at each call.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "network/interface_address.h"
#include "tarn_host/host_network.h"

namespace {

struct FreeInterfaces {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

const void* numberOf(const sockaddr* address) {
    if (address->sa_family == AF_INET) {
        return &reinterpret_cast<const sockaddr_in*>(address)->sin_addr;
    }
    return &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr;
}

uint32_t readBlock(int family, uint32_t interfaceId, void* buffer) {
    if (buffer == nullptr) {
        return EINVAL;
    }
    ifaddrs* found = nullptr;
    if (getifaddrs(&found) != 0) {
        return static_cast<uint32_t>(errno);
    }
    const std::unique_ptr<ifaddrs, FreeInterfaces> list(found);
    const sockaddr* const address = tarn::host::pickAddress(list.get(), family, interfaceId, if_nametoindex);
    if (address == nullptr) {
        return EADDRNOTAVAIL;
    }
    char block[OM_DEVICE_NETWORK_BLOCK_LEN] = {};
    if (inet_ntop(family, numberOf(address), block, sizeof block) == nullptr) {
        return static_cast<uint32_t>(errno);
    }
    std::copy(std::begin(block), std::end(block), static_cast<char*>(buffer));
    return 0;
}

} // namespace

uint32_t TarnOmDevmNetGetIpv4Block(uint32_t interfaceId, void* buffer) {
    return readBlock(AF_INET, interfaceId, buffer);
}

uint32_t TarnOmDevmNetGetIpv6Block(uint32_t interfaceId, void* buffer) {
    return readBlock(AF_INET6, interfaceId, buffer);
}
