// The write batch. It is empty after every write, a refused one too: what the service did not take is not kept.
#include <array>

#include "base/log.h"
#include "config/config_batch.h"
#include "config/om_record.h"
#include "config/protected_key.h"
#include "tarn_platform/bounds_checked.h"

namespace tarn::detail {

namespace {

std::array<ConfConfigOmRecord, kBatchRecords> pendingRecords;

} // namespace

ConfConfigOmBatch g_omCfgPending = {0, kBatchRecords, pendingRecords.data()};

} // namespace tarn::detail

namespace {

using tarn::detail::isProtectedKey;

constexpr const char* kLogName = "conf_config";

bool fillRecord(const char* function, const char* key, const ConfConfigValue& value, ConfConfigOmRecord& record) {
    const errno_t cleared = memset_s(&record, sizeof record, 0, sizeof record);
    if (cleared != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, tarn::detail::kSecureFunctionText, cleared);
        return false;
    }
    // Not rendered in place: the client's copy need not bear a source that is its own target.
    char text[OM_CONFIG_VALUE_LEN];
    if (ConfConfigV2Str(&value, text, sizeof text) != 0) {
        TARN_LOG_AS(function, CONF_LOG_INFO, "ConfConfigAddOmCfg ConfConfigV2Str fail %s\n", key);
        return false;
    }
    return tarn::detail::storeKey(function, record, key) && tarn::detail::storeValue(function, record, text);
}

} // namespace

uint32_t ConfConfigAddOmCfg(const char* key, const ConfConfigValue* value, ConfConfigOmBatch* batch) {
    if (key == nullptr || value == nullptr || batch == nullptr || batch->records == nullptr || batch->capacity < 1) {
        return CONF_CONFIG_FAILED;
    }
    if (batch->count >= static_cast<uint32_t>(batch->capacity) && ConfConfigSyncOmCfg(batch) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigAddOmCfg ConfConfigSyncOmCfg fail");
    }
    ConfConfigOmRecord& record = batch->records[batch->count];
    if (!fillRecord(__func__, key, *value, record)) {
        return CONF_CONFIG_FAILED;
    }
    if (isProtectedKey(key)) {
        TARN_LOG(CONF_LOG_INFO, "key = %s", key);
    } else {
        TARN_LOG(CONF_LOG_INFO, "key = %s, val = %s", key, record.value.text);
    }
    ++batch->count;
    return 0;
}

uint32_t ConfConfigSyncOmCfg(ConfConfigOmBatch* batch) {
    if (batch == nullptr || batch->records == nullptr || batch->count == 0) {
        return CONF_CONFIG_FAILED;
    }
    const uint32_t count = batch->count;
    const uint32_t written = TarnOmConfigStringMset(batch->records, count);
    TARN_LOG(CONF_LOG_DEBUG, "ConfConfigSyncOmCfg %d %d\n", static_cast<int>(written), static_cast<int>(count));
    for (uint32_t i = 0; i < count; ++i) {
        const ConfConfigOmRecord& record = batch->records[i];
        if (!isProtectedKey(record.key.text)) {
            TARN_LOG(CONF_LOG_DEBUG, "ConfConfigSyncOmCfg %s %s \n", record.key.text, record.value.text);
        }
    }
    batch->count = 0;
    if (written != 0) {
        TARN_LOG(CONF_LOG_ERROR, "[ConfConfigSyncOmCfg]:TarnOmConfigStringMset fail, ret = %d \n",
                 static_cast<int>(written));
        return CONF_CONFIG_FAILED;
    }
    return 0;
}
