#include "config/om_record.h"

#include "base/log.h"

namespace tarn::detail {

namespace {

constexpr const char* kLogName = "conf_config";

// `stored` is the code of the service's client.
bool isStored(const char* function, uint32_t stored, const char* failedText) {
    if (stored != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", failedText);
    }
    return stored == 0;
}

} // namespace

bool storeKey(const char* function, ConfConfigOmRecord& record, const char* key) {
    return isStored(function, TarnOmConfigcopyStr2Key(&record.key, key), kKeyNotStoredText);
}

bool storeValue(const char* function, ConfConfigOmRecord& record, const char* text) {
    return isStored(function, TarnOmConfigcopyStr2Val(&record.value, text), kValueNotStoredText);
}

} // namespace tarn::detail
