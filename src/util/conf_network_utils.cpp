// The network helper, which this build does not support.
#include "base/log.h"
#include "tarn_conference/conf_system.h"

namespace {

constexpr const char* kLogName = "conf_network_utils";

} // namespace

uint32_t GetBestLocalIpByDestIp(const char*, ...) {
    TARN_LOG(CONF_LOG_ERROR, "GetBestLocalIpByDestIp not supported");
    return 1;
}
