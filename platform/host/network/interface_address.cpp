#include "network/interface_address.h"

#include <netinet/in.h>

#include <cstring>

#include "tarn_host/host_network.h"

namespace tarn::host {

namespace {

constexpr uint32_t kLoopbackNet = 127;
constexpr uint32_t kLinkLocalNet = 0xA9FE; // 169.254

template <typename Address>
Address copyOf(const sockaddr* address) {
    Address copy;
    std::memcpy(&copy, address, sizeof copy);
    return copy;
}

bool isReachable(const sockaddr* address) {
    if (address->sa_family == AF_INET) {
        const uint32_t number = ntohl(copyOf<sockaddr_in>(address).sin_addr.s_addr);
        return number != INADDR_ANY && number >> 24 != kLoopbackNet && number >> 16 != kLinkLocalNet;
    }
    const in6_addr number = copyOf<sockaddr_in6>(address).sin6_addr;
    return !IN6_IS_ADDR_UNSPECIFIED(&number) && !IN6_IS_ADDR_LOOPBACK(&number) && !IN6_IS_ADDR_LINKLOCAL(&number);
}

} // namespace

const sockaddr* pickAddress(const ifaddrs* list, int family, uint32_t interfaceId,
                            uint32_t (*indexOf)(const char* interfaceName)) {
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        const sockaddr* const address = entry->ifa_addr;
        if (address == nullptr || address->sa_family != family || !isReachable(address)) {
            continue;
        }
        if (interfaceId == TARN_HOST_NETWORK_ANY_INTERFACE || indexOf(entry->ifa_name) == interfaceId) {
            return address;
        }
    }
    return nullptr;
}

} // namespace tarn::host
