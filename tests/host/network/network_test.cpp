#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <string>

// Internal to the host platform: what is picked is tested without the addresses of this machine.
#include "network/interface_address.h"
#include "tarn_host/host_network.h"

namespace {

// A list as getifaddrs makes it.
class Interfaces {
 public:
    void add(const char* name, int family, const char* text) {
        Entry& entry = entries_.emplace_back();
        entry.address.sin6_family = static_cast<sa_family_t>(family);
        if (text != nullptr && family == AF_INET) {
            inet_pton(family, text, &reinterpret_cast<sockaddr_in*>(&entry.address)->sin_addr);
        } else if (text != nullptr && family == AF_INET6) {
            inet_pton(family, text, &entry.address.sin6_addr);
        }
        entry.link.ifa_name = const_cast<char*>(name);
        entry.link.ifa_addr = text == nullptr ? nullptr : reinterpret_cast<sockaddr*>(&entry.address);
        if (entries_.size() > 1) {
            entries_[entries_.size() - 2].link.ifa_next = &entry.link;
        }
    }

    std::string pick(int family, uint32_t interfaceId) const {
        const sockaddr* const address =
            tarn::host::pickAddress(&entries_.front().link, family, interfaceId,
                                    [](const char* name) { return static_cast<uint32_t>(name[3] - '0'); });
        if (address == nullptr) {
            return "(none)";
        }
        char text[INET6_ADDRSTRLEN] = {};
        inet_ntop(family,
                  family == AF_INET ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(address)->sin_addr)
                                    : &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr,
                  text, sizeof text);
        return text;
    }

 private:
    struct Entry {
        sockaddr_in6 address = {};
        ifaddrs link = {};
    };
    std::deque<Entry> entries_;
};

TEST(HostNetwork, TheFirstReachableAddressIsPicked) {
    Interfaces interfaces;
    interfaces.add("eth1", AF_PACKET, "");
    interfaces.add("eth1", AF_INET, "127.0.0.1");
    interfaces.add("eth1", AF_INET6, "::1");
    interfaces.add("eth2", AF_INET, nullptr);
    interfaces.add("eth2", AF_INET, "169.254.1.1");
    interfaces.add("eth2", AF_INET, "192.0.2.2");
    interfaces.add("eth2", AF_INET, "192.0.2.3");
    interfaces.add("eth2", AF_INET6, "fe80::2");
    interfaces.add("eth3", AF_INET, "198.51.100.3");
    interfaces.add("eth3", AF_INET6, "2001:db8::3");
    EXPECT_EQ(interfaces.pick(AF_INET, 0), "192.0.2.2");
    EXPECT_EQ(interfaces.pick(AF_INET, 1), "(none)");
    EXPECT_EQ(interfaces.pick(AF_INET, 2), "192.0.2.2");
    EXPECT_EQ(interfaces.pick(AF_INET, 3), "198.51.100.3");
    EXPECT_EQ(interfaces.pick(AF_INET6, 0), "2001:db8::3");
    EXPECT_EQ(interfaces.pick(AF_INET6, 2), "(none)");
    EXPECT_EQ(interfaces.pick(AF_INET, 9), "(none)");
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
