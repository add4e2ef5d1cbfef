#include <arpa/inet.h>
#include <netinet/in.h>

// Internal to the host platform: what is picked is tested without the addresses of this machine.
#include "network/interface_address.h"
#include "support/host_test.h"
#include "tarn_host/host_network.h"

namespace {

// An address as getifaddrs lists it; the digit of the interface's name is its id.
struct Listed {
    Listed(const char* name, int family, const char* text) {
        address.ss_family = static_cast<sa_family_t>(family);
        link.ifa_name = const_cast<char*>(name);
        link.ifa_addr = text == nullptr ? nullptr : reinterpret_cast<sockaddr*>(&address);
        if (text != nullptr && family != AF_PACKET) {
            inet_pton(family, text, numberOf(address));
        }
    }
    static void* numberOf(sockaddr_storage& address) {
        return address.ss_family == AF_INET ? static_cast<void*>(&reinterpret_cast<sockaddr_in&>(address).sin_addr)
                                            : static_cast<void*>(&reinterpret_cast<sockaddr_in6&>(address).sin6_addr);
    }

    sockaddr_storage address = {};
    ifaddrs link = {};
};

TEST(HostNetwork, TheFirstReachableAddressIsPicked) {
    Listed list[] = {
        {"eth1", AF_PACKET, ""},           {"eth1", AF_INET, "127.0.0.1"},   {"eth1", AF_INET6, "::1"},
        {"eth2", AF_INET, nullptr},        {"eth2", AF_INET, "169.254.1.1"}, {"eth2", AF_INET, "192.0.2.2"},
        {"eth2", AF_INET, "192.0.2.3"},    {"eth2", AF_INET6, "fe80::2"},    {"eth3", AF_INET, "198.51.100.3"},
        {"eth3", AF_INET6, "2001:db8::3"},
    };
    for (size_t i = 1; i < std::size(list); ++i) {
        list[i - 1].link.ifa_next = &list[i].link;
    }
    // The place of the picked address in the list.
    const auto pick = [&](int family, uint32_t interfaceId) {
        const sockaddr* const picked = tarn::host::pickAddress(
            &list[0].link, family, interfaceId, [](const char* name) { return static_cast<uint32_t>(name[3] - '0'); });
        return picked == nullptr ? -1 : reinterpret_cast<const Listed*>(picked) - list;
    };
    EXPECT_EQ(pick(AF_INET, 0), 5);
    EXPECT_EQ(pick(AF_INET, 2), 5);
    EXPECT_EQ(pick(AF_INET, 3), 8);
    EXPECT_EQ(pick(AF_INET6, 0), 9);
    EXPECT_EQ(std::vector({pick(AF_INET, 1), pick(AF_INET6, 2), pick(AF_INET, 9)}), std::vector<ptrdiff_t>(3, -1));
}

TEST(HostNetwork, BlocksHoldAnAddressOrStayAsTheyWere) {
    for (const auto& [family, read] :
         {std::pair(AF_INET, &TarnOmDevmNetGetIpv4Block), std::pair(AF_INET6, &TarnOmDevmNetGetIpv6Block)}) {
        const std::string untouched(OM_DEVICE_NETWORK_BLOCK_LEN + 1, 'x');
        std::string block = untouched;
        EXPECT_EQ(read(UINT32_MAX, block.data()), uint32_t{EADDRNOTAVAIL});
        EXPECT_EQ(block, untouched);
        in6_addr address;
        if (read(TARN_HOST_NETWORK_ANY_INTERFACE, block.data()) == 0) {
            EXPECT_EQ(inet_pton(family, block.c_str(), &address), 1) << block;
            EXPECT_EQ(block.find_first_not_of('\0', block.find('\0')), size_t{OM_DEVICE_NETWORK_BLOCK_LEN});
        } else {
            EXPECT_EQ(block, untouched) << "a machine without such an address";
        }
        EXPECT_EQ(read(0, nullptr), uint32_t{EINVAL});
    }
}

} // namespace
