// The device's own addresses, kept by the platform. Which service knows them is a matter of the settings.
#include "base/log.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_settings.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/om_device_network.h"

namespace {

constexpr const char* kLogName = "conf_config";
constexpr uint32_t kFailed = 1;
constexpr const char* kAddressKeys[] = {"DEVM.NET.LAN1.IPV4ADDR", "DEVM.NET.LAN1.IPV6ADDR"}; // by family

static_assert(CONF_LOCAL_ADDRESS_LEN == OM_DEVICE_NETWORK_BLOCK_LEN);

using ReadBlock = uint32_t (*)(uint32_t interfaceId, void* buffer);
constexpr ReadBlock kReadBlock[] = {TarnOmDevmNetGetIpv4Block, TarnOmDevmNetGetIpv6Block}; // by family

uint32_t readAddress(const char* function, uint32_t family, uint32_t interfaceId, void* buffer) {
    if (buffer == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "ipInfo is NULL!");
        return kFailed;
    }
    if (CallServiceIsForbiddenKitCap() != 0) {
        return kReadBlock[family](interfaceId, buffer);
    }
    ConfConfigOmRecord record = {};
    TarnOmConfigcopyStr2Key(&record.key, kAddressKeys[family]);
    TarnOmConfigStringGet(&record);
    const errno_t copied = memcpy_s(buffer, CONF_LOCAL_ADDRESS_LEN, record.value.text, record.value.length);
    if (copied != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, tarn::detail::kSecureFunctionText, copied);
    }
    return static_cast<uint32_t>(copied);
}

} // namespace

uint32_t ConfConfigSetLocalIp(uint32_t family, const char* address) {
    if (address == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "param is NULL!");
        return kFailed;
    }
    ConfConfigOmRecord record = {};
    if (family <= CONF_LOCAL_IPV6) {
        TarnOmConfigcopyStr2Key(&record.key, kAddressKeys[family]);
    }
    TarnOmConfigcopyStr2Val(&record.value, address);
    return TarnOmConfigStringSet(record);
}

uint32_t ConfConfigGetLocalIpv4(uint32_t interfaceId, void* buffer) {
    return readAddress(__func__, CONF_LOCAL_IPV4, interfaceId, buffer);
}

uint32_t ConfConfigGetLocalIpv6(uint32_t interfaceId, void* buffer) {
    return readAddress(__func__, CONF_LOCAL_IPV6, interfaceId, buffer);
}
