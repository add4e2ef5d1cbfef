#include <arpa/inet.h>
#include <netinet/in.h>

// Internal to the host platform: what is picked is tested without the addresses of this machine.
#include "network/interface_address.h"
#include "support/host_test.h"
#include "tarn_host/host_network.h"

namespace {

// An interface as getifaddrs lists it; the digit of its name is its id.
struct Interface {
    Interface(const char* name, int family, const char* text) {
        auto* const general = reinterpret_cast<sockaddr*>(&address);
        general->sa_family = static_cast<sa_family_t>(family);
        link.ifa_name = const_cast<char*>(name);
        link.ifa_addr = text == nullptr ? nullptr : general;
        if (text != nullptr && family != AF_PACKET) {
            inet_pton(family, text, numberOf(general));
        }
    }
    static void* numberOf(sockaddr* general) {
        return general->sa_family == AF_INET ? static_cast<void*>(&reinterpret_cast<sockaddr_in*>(general)->sin_addr)
                                             : static_cast<void*>(&reinterpret_cast<sockaddr_in6*>(general)->sin6_addr);
    }

    sockaddr_storage address = {};
    ifaddrs link = {};
};

TEST(HostNetwork, TheFirstReachableAddressIsPicked) {
    Interface list[] = {
        {"eth1", AF_PACKET, ""},           {"eth1", AF_INET, "127.0.0.1"},   {"eth1", AF_INET6, "::1"},
        {"eth2", AF_INET, nullptr},        {"eth2", AF_INET, "169.254.1.1"}, {"eth2", AF_INET, "192.0.2.2"},
        {"eth2", AF_INET, "192.0.2.3"},    {"eth2", AF_INET6, "fe80::2"},    {"eth3", AF_INET, "198.51.100.3"},
        {"eth3", AF_INET6, "2001:db8::3"},
    };
    for (size_t i = 1; i < std::size(list); ++i) {
        list[i - 1].link.ifa_next = &list[i].link;
    }
    const auto pick = [&](int family, uint32_t interfaceId) -> std::string {
        const sockaddr* const picked = tarn::host::pickAddress(
            &list[0].link, family, interfaceId, [](const char* name) { return static_cast<uint32_t>(name[3] - '0'); });
        char text[INET6_ADDRSTRLEN] = "(none)";
        if (picked != nullptr) {
            inet_ntop(family, Interface::numberOf(const_cast<sockaddr*>(picked)), text, sizeof text);
        }
        return text;
    };
    EXPECT_EQ(pick(AF_INET, 0), "192.0.2.2");
    EXPECT_EQ(pick(AF_INET, 2), "192.0.2.2");
    EXPECT_EQ(pick(AF_INET, 3), "198.51.100.3");
    EXPECT_EQ(pick(AF_INET6, 0), "2001:db8::3");
    for (const std::string& none : {pick(AF_INET, 1), pick(AF_INET6, 2), pick(AF_INET, 9)}) {
        EXPECT_EQ(none, "(none)");
    }
}

TEST(HostNetwork, BlocksHoldAnAddressOrStayAsTheyWere) {
    for (const auto& [family, read] :
         {std::pair(AF_INET, &TarnOmDevmNetGetIpv4Block), std::pair(AF_INET6, &TarnOmDevmNetGetIpv6Block)}) {
        char block[OM_DEVICE_NETWORK_BLOCK_LEN + 1];
        std::memset(block, 'x', sizeof block);
        const uint32_t result = read(TARN_HOST_NETWORK_ANY_INTERFACE, block);
        EXPECT_EQ(block[OM_DEVICE_NETWORK_BLOCK_LEN], 'x');
        if (result == 0) {
            in6_addr address;
            EXPECT_EQ(inet_pton(family, block, &address), 1) << block;
            const size_t length = std::strlen(block);
            EXPECT_TRUE(
                std::all_of(block + length, block + OM_DEVICE_NETWORK_BLOCK_LEN, [](char c) { return c == '\0'; }));
        } else {
            EXPECT_EQ(result, uint32_t{EADDRNOTAVAIL});
            EXPECT_EQ(block[0], 'x');
        }
        std::memset(block, 'x', sizeof block);
        EXPECT_EQ(read(UINT32_MAX, block), uint32_t{EADDRNOTAVAIL});
        EXPECT_EQ(std::count(block, block + sizeof block, 'x'), static_cast<ptrdiff_t>(sizeof block));
        EXPECT_EQ(read(0, nullptr), uint32_t{EINVAL});
    }
}

} // namespace
