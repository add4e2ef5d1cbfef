// Single numbers, read and written straight in the service, past the registry.
#include <cstdlib>

#include "base/log.h"
#include "config/om_record.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_param.h"

namespace {

constexpr const char* kLogName = "conf_config";
constexpr uint32_t kFailed = 1;
constexpr int32_t kDefaultNumber = 1;

uint32_t fail(const char* function, const char* text) {
    TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", text);
    return kFailed;
}

template <typename Number>
uint32_t writeNumber(const char* function, const char* key, Number number, uint32_t (*render)(void*, Number)) {
    if (key == nullptr) {
        return fail(function, "key is null.");
    }
    ConfConfigOmRecord record = {};
    if (!tarn::detail::storeKey(function, record, key)) {
        return kFailed;
    }
    // The same text for signed numbers: readers of the log search for it.
    if (render(&record.value, number) != 0) {
        return fail(function, "TarnOmConfigsetUintValue fail");
    }
    if (TarnOmConfigStringMset(&record, 1) != 0) {
        return fail(function, "TarnOmConfigStringMset fail");
    }
    return 0;
}

bool readByMget(const char* function, const char* key, ConfConfigOmRecord& record) {
    if (TarnOmConfigcopyStr2Key(&record.key, key) != 0) {
        TARN_LOG_AS(function, CONF_LOG_INFO, "Call TarnOmConfigcopyStr2Key failed! key:%s.\n", key);
        return false;
    }
    if (TarnOmConfigStringMget(&record, 1) != 0) {
        TARN_LOG_AS(function, CONF_LOG_INFO, "Call TarnOmConfigStringMget failed! key:%s.\n", key);
        return false;
    }
    tarn::detail::terminateValue(record);
    return true;
}

} // namespace

uint32_t ConfConfigSetIntValue(const char* key, int32_t value) {
    return writeNumber(__func__, key, value, TarnOmConfigsetIntValue);
}

int32_t ConfConfigGetIntValue(const char* key) {
    if (key == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", tarn::detail::kNullPointerText);
        return kDefaultNumber;
    }
    ConfConfigOmRecord record = {};
    return readByMget(__func__, key, record) ? ConfGetAtoi(record.value.text, kDefaultNumber) : kDefaultNumber;
}

uint32_t ConfConfigSetUint64Value(const char* key, uint64_t value) {
    return writeNumber(__func__, key, value, TarnOmConfigsetUintValue);
}

uint32_t ConfConfigGetUint64Value(const char* key, uint64_t* result) {
    if (key == nullptr || result == nullptr) {
        return fail(__func__, tarn::detail::kNullPointerText);
    }
    ConfConfigOmRecord record = {};
    if (!readByMget(__func__, key, record)) {
        return kFailed;
    }
    *result = std::strtoull(record.value.text, nullptr, 0);
    return 0;
}
