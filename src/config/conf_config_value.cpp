// The typed holder: making one from a plain value and reading one as any plain value. A reader never fails loudly; a
// holder that cannot be read as the type asked for reads as zero.
#include "tarn_conference/conf_config_value.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "base/c_locale.h"
#include "base/log.h"
#include "tarn_platform/bounds_checked.h"

namespace {

constexpr const char* kLogName = "conf_config_value";

uint32_t make(ConfConfigValue* value, ConfConfigValueType type, ConfConfigPayload payload, uint32_t length = 0) {
    if (value == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    *value = {type, payload, length};
    return 0;
}

// The number that a text holder begins with, 0 for none; `function` is the reader that asks.
template <typename Number>
Number parse(const char* function, const ConfConfigValue& value, const char* format) {
    const tarn::detail::CLocaleScope decimalPoint;
    Number number = 0;
    if (value.value.asStr != nullptr && sscanf_s(value.value.asStr, format, &number) == -1) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "sscanf_s fail %d", static_cast<int>(value.len));
    }
    return number;
}

// Cuts toward zero; beyond the range the nearest bound, as a bare conversion would be undefined there.
template <typename Integer>
Integer truncated(double number) {
    constexpr Integer kLowest = std::numeric_limits<Integer>::min();
    constexpr Integer kHighest = std::numeric_limits<Integer>::max();
    const double beyond = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
    if (std::isnan(number)) {
        return 0;
    }
    if (number >= beyond) {
        return kHighest;
    }
    return number <= static_cast<double>(kLowest) ? kLowest : static_cast<Integer>(number);
}

template <typename Integer>
Integer readInteger(const char* function, const ConfConfigValue& value, const char* format) {
    switch (value.type) {
        case CONF_CONFIG_TYPE_INT:
        case CONF_CONFIG_TYPE_UINT:
            return static_cast<Integer>(value.value.asUInt);
        case CONF_CONFIG_TYPE_FLOAT:
            return truncated<Integer>(value.value.asFloat);
        case CONF_CONFIG_TYPE_BOOL:
            return value.value.asBool != 0 ? 1 : 0;
        case CONF_CONFIG_TYPE_STR:
            return parse<Integer>(function, value, format);
        default:
            return 0;
    }
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

uint32_t textTruth(const char* function, const ConfConfigValue& value) {
    const char first = value.value.asStr == nullptr ? '\0' : *value.value.asStr;
    if (isDigit(first)) {
        return parse<unsigned char>(function, value, "%hhu") != 0 ? 1 : 0;
    }
    return first == 'T' || first == 't' ? 1 : 0;
}

} // namespace

uint32_t ConfConfigInt2V(ConfConfigValue* value, int64_t number) {
    ConfConfigPayload payload = {};
    payload.asInt = number;
    return make(value, CONF_CONFIG_TYPE_INT, payload);
}

uint32_t ConfConfigUInt2V(ConfConfigValue* value, uint64_t number) {
    ConfConfigPayload payload = {};
    payload.asUInt = number;
    return make(value, CONF_CONFIG_TYPE_UINT, payload);
}

uint32_t ConfConfigFloat2V(ConfConfigValue* value, double number) {
    ConfConfigPayload payload = {};
    payload.asFloat = number;
    return make(value, CONF_CONFIG_TYPE_FLOAT, payload);
}

uint32_t ConfConfigBool2V(ConfConfigValue* value, uint32_t flag) {
    ConfConfigPayload payload = {};
    payload.asBool = static_cast<uint8_t>(flag);
    return make(value, CONF_CONFIG_TYPE_BOOL, payload);
}

uint32_t ConfConfigStr2V(ConfConfigValue* value, const char* text) {
    if (text == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    ConfConfigPayload payload = {};
    payload.asStr = text;
    return make(value, CONF_CONFIG_TYPE_STR, payload, static_cast<uint32_t>(std::strlen(text) + 1));
}

uint32_t ConfConfigData2V(ConfConfigValue* value, const void* data, uint32_t length) {
    if (data == nullptr) {
        return CONF_CONFIG_FAILED;
    }
    ConfConfigPayload payload = {};
    payload.asData = data;
    return make(value, CONF_CONFIG_TYPE_DATA, payload, length);
}

int64_t ConfConfigV2Int(const ConfConfigValue* value) {
    return value == nullptr ? -1 : readInteger<long long>(__func__, *value, "%lld");
}

uint64_t ConfConfigV2UInt(const ConfConfigValue* value) {
    return value == nullptr ? UINT64_MAX : readInteger<unsigned long long>(__func__, *value, "%llu");
}

double ConfConfigV2Float(const ConfConfigValue* value) {
    if (value == nullptr) {
        return 0.0;
    }
    switch (value->type) {
        case CONF_CONFIG_TYPE_INT:
            return static_cast<double>(value->value.asInt);
        case CONF_CONFIG_TYPE_UINT:
            return static_cast<double>(value->value.asUInt);
        case CONF_CONFIG_TYPE_FLOAT:
            return value->value.asFloat;
        case CONF_CONFIG_TYPE_BOOL:
            return value->value.asBool != 0 ? 1.0 : 0.0;
        case CONF_CONFIG_TYPE_STR:
            return parse<double>(__func__, *value, "%lf");
        default:
            return 0.0;
    }
}

uint32_t ConfConfigV2Bool(const ConfConfigValue* value) {
    if (value == nullptr) {
        return 0;
    }
    switch (value->type) {
        case CONF_CONFIG_TYPE_INT:
        case CONF_CONFIG_TYPE_UINT:
            return value->value.asUInt != 0 ? 1 : 0;
        case CONF_CONFIG_TYPE_FLOAT:
            return value->value.asFloat != 0.0 ? 1 : 0;
        case CONF_CONFIG_TYPE_BOOL:
            return value->value.asBool;
        case CONF_CONFIG_TYPE_STR:
            return textTruth(__func__, *value);
        default:
            return 0;
    }
}
