// What the scripted platform says of its device: customisation paths, and network data whose blocks say which interface
// and family they are of.
#include <cstdio>

#include "scripted_path.h"
#include "tarn_platform/om_device_network.h"
#include "tarn_platform/om_path.h"

using namespace tarn::test;

namespace {

uint32_t fillBlock(const char* call, const char* prefix, uint32_t interfaceId, void* buffer) {
    return scriptedCall(call, 601U, [&] {
        std::snprintf(static_cast<char*>(buffer), OM_DEVICE_NETWORK_BLOCK_LEN, "%s%u", prefix, interfaceId);
    });
}

} // namespace

const char* TarnOmCustUtilGetCfgPath(uint32_t kind) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return kind == 0 ? scriptedPaths().configuration.c_str() : "/another";
}

const char* TarnOmCustUtilGetStoragePath(void) {
    return isToFail(__func__) ? nullptr : scriptedPaths().storage.c_str();
}

uint32_t TarnOmDevmNetGetIpv4Block(uint32_t interfaceId, void* buffer) {
    return fillBlock(__func__, "192.0.2.", interfaceId, buffer);
}

uint32_t TarnOmDevmNetGetIpv6Block(uint32_t interfaceId, void* buffer) {
    return fillBlock(__func__, "2001:db8::", interfaceId, buffer);
}
