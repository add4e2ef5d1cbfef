// Picks an address out of what getifaddrs found.
#pragma once

#include <ifaddrs.h>
#include <sys/socket.h>

#include <cstdint>

namespace tarn::host {

// The first address of a family that others can reach the interface by, or null. `indexOf` gives an interface's number.
const sockaddr* pickAddress(const ifaddrs* list, int family, uint32_t interfaceId,
                            uint32_t (*indexOf)(const char* interfaceName));

} // namespace tarn::host
