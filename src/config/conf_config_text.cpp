// A holder as text or as bytes in a caller's buffer. After a failure the buffer holds what the bounds-checked function
// left in it.
#include <strings.h>

#include "base/c_locale.h"
#include "tarn_conference/conf_config_value.h"
#include "tarn_platform/bounds_checked.h"

namespace {

uint32_t formatted(int length) {
    return length == -1 ? CONF_CONFIG_FAILED : 0;
}

uint32_t formatFloat(double number, char* buffer, uint32_t bufferSize) {
    const tarn::detail::CLocaleScope decimalPoint;
    return formatted(sprintf_s(buffer, bufferSize, "%lf", number));
}

const char* orEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

} // namespace

uint32_t ConfConfigV2Str(const ConfConfigValue* value, char* buffer, uint32_t bufferSize) {
    if (value == nullptr || buffer == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    const ConfConfigPayload& payload = value->value;
    switch (value->type) {
        case CONF_CONFIG_TYPE_INT:
            return formatted(sprintf_s(buffer, bufferSize, "%lld", static_cast<long long>(payload.asInt)));
        case CONF_CONFIG_TYPE_UINT:
            return formatted(sprintf_s(buffer, bufferSize, "%llu", static_cast<unsigned long long>(payload.asUInt)));
        case CONF_CONFIG_TYPE_FLOAT:
            return formatFloat(payload.asFloat, buffer, bufferSize);
        case CONF_CONFIG_TYPE_BOOL:
            return static_cast<uint32_t>(strcpy_s(buffer, bufferSize, payload.asBool != 0 ? "TRUE" : "FALSE"));
        case CONF_CONFIG_TYPE_STR:
            return static_cast<uint32_t>(strcpy_s(buffer, bufferSize, payload.asStr));
        default:
            return CONF_CONFIG_FAILED;
    }
}

uint32_t ConfConfigV2Data(const ConfConfigValue* value, void* buffer, uint32_t bufferSize) {
    if (value == nullptr || value->type != CONF_CONFIG_TYPE_DATA || value->value.asData == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    return static_cast<uint32_t>(memcpy_s(buffer, bufferSize, value->value.asData, value->len));
}

uint32_t ConfConfigStrEqual(const char* left, const char* right) {
    return left == right || strcasecmp_l(orEmpty(left), orEmpty(right), tarn::detail::cLocale) == 0 ? 1 : 0;
}
