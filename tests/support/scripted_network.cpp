// The device manager's network data of the scripted platform: a block says which interface and family it is of.
#include <cstdio>

#include "scripted_platform.h"
#include "tarn_platform/om_device_network.h"

using tarn::test::ScriptedPlatform;

namespace {

constexpr uint32_t kPlannedFailure = 601;

uint32_t fillBlock(const char* call, const char* prefix, uint32_t interfaceId, void* buffer) {
    if (ScriptedPlatform::get().enter(call)) {
        return kPlannedFailure;
    }
    std::snprintf(static_cast<char*>(buffer), OM_DEVICE_NETWORK_BLOCK_LEN, "%s%u", prefix, interfaceId);
    return 0;
}

} // namespace

uint32_t TarnOmDevmNetGetIpv4Block(uint32_t interfaceId, void* buffer) {
    return fillBlock("TarnOmDevmNetGetIpv4Block", "192.0.2.", interfaceId, buffer);
}

uint32_t TarnOmDevmNetGetIpv6Block(uint32_t interfaceId, void* buffer) {
    return fillBlock("TarnOmDevmNetGetIpv6Block", "2001:db8::", interfaceId, buffer);
}
