// Applying lists to the bound variables and pushing variables to the service. A list that is to be written back but
// changes nothing counts as a failed write: the writers of such lists rely on hearing of it.
#include <strings.h>

#include <cstring>

#include "base/accounted.h"
#include "base/c_locale.h"
#include "base/log.h"
#include "config/config_batch.h"
#include "config/config_index.h"
#include "config/om_record.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_platform/bounds_checked.h"

namespace {

using tarn::detail::boundItems;
using tarn::detail::ConfConfigIndexItem;
using tarn::detail::findItem;
using tarn::detail::g_omCfgPending;
using tarn::detail::indexIsOpen;
using tarn::detail::isTerminated;
using tarn::detail::kBatchRecords;
using tarn::detail::kNullPointerText;
using tarn::detail::kSecureFunctionText;

constexpr const char* kLogName = "conf_config";
constexpr uint32_t kNotRegistered = 0xFFFFFFFE;
constexpr size_t kMaskedBytes = 129;

uint32_t ConfConfigSetValue(const char* key, const ConfConfigValue& value, bool writeBack) {
    const ConfConfigIndexItem* const item = findItem(key);
    if (item == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigSetValue CALLCONFIG_NOTFIND\n");
        return kNotRegistered;
    }
    const uint32_t result = ConfConfigV2DByType(&value, item->data, item->size, static_cast<uint32_t>(item->type));
    if (item->localOnly == 0 && result == 0 && writeBack) {
        ConfConfigAddOmCfg(key, &value, &g_omCfgPending);
    }
    TARN_LOG(CONF_LOG_INFO, "key = %s, ret = %d", key, static_cast<int>(result));
    return result == CONF_CONFIG_FAILED ? CONF_CONFIG_FAILED : 0;
}

// Whether the item's text reached its variable; `function` logs.
bool applyItem(const char* function, const ConfConfigKeyValue& item, bool writeBack) {
    if (!isTerminated(item.value, sizeof item.value)) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "[ConfConfigSetList]: invalue input. \n");
        return false;
    }
    ConfConfigValue value;
    const errno_t cleared = memset_s(&value, sizeof value, 0, sizeof value);
    if (cleared != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, kSecureFunctionText, cleared);
    }
    ConfConfigStr2V(&value, item.value);
    return ConfConfigSetValue(item.key, value, writeBack) == 0;
}

void queueItem(const ConfConfigIndexItem& item, ConfConfigOmBatch& batch) {
    ConfConfigValue value = {};
    if (ConfConfigD2VByType(&value, item.data, item.size, static_cast<uint32_t>(item.type)) == 0) {
        ConfConfigAddOmCfg(item.name, &value, &batch);
    }
}

// Queues the keys that begin with the prefix; they stand together in the index.
void queuePrefix(const char* prefix, size_t length, ConfConfigOmBatch& batch) {
    for (const ConfConfigIndexItem& item :
         boundItems().subspan(static_cast<size_t>(tarn::detail::searchIndex(prefix)))) {
        if (item.localOnly != 0) {
            continue;
        }
        if (strncasecmp_l(item.name, prefix, length, tarn::detail::cLocale) != 0) {
            return;
        }
        queueItem(item, batch);
    }
}

// An empty key stands for all keys, one that ends in '.' for all that begin with it. The registry is started.
void ConfConfigAddOmCfgByKey(const char* key, ConfConfigOmBatch& batch) {
    if (key == nullptr) {
        return;
    }
    const size_t length = std::strlen(key);
    char masked[kMaskedBytes] = {};
    ConfFilterStr(key, masked, sizeof masked);
    TARN_LOG(CONF_LOG_INFO, "key strlen: %zu  key: %s", length, masked);
    if (length == 0 || key[length - 1] == '.') {
        queuePrefix(key, length, batch);
        return;
    }
    const ConfConfigIndexItem* const item = findItem(key);
    if (item != nullptr && item->localOnly == 0) {
        queueItem(*item, batch);
    }
}

// A batch and its records in one block.
struct HeapBatch {
    ConfConfigOmBatch batch;
    ConfConfigOmRecord records[kBatchRecords];
};

} // namespace

int32_t ConfConfigSetList(const ConfConfigKeyValue* items, int32_t count, uint8_t writeBack) {
    if (items == nullptr || count < 1 || !indexIsOpen()) {
        TARN_LOG(CONF_LOG_ERROR, "[ConfConfigSetList]: invalue input. \n");
        return 0;
    }
    int32_t applied = 0;
    for (int32_t i = 0; i < count; ++i) {
        if (items[i].key[0] != '\0' && applyItem(__func__, items[i], writeBack != 0)) {
            ++applied;
        }
    }
    if (writeBack == 0) {
        return applied;
    }
    if (ConfConfigSyncOmCfg(&g_omCfgPending) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "[ConfConfigSetList]:ConfConfigSyncOmCfg fail.\n");
        return -applied;
    }
    return applied;
}

uint32_t ConfConfigSyncToOM(const char* const* keys, uint32_t count) {
    if (keys == nullptr || count == 0 || !indexIsOpen()) {
        return CONF_CONFIG_FAILED;
    }
    const auto heap = TARN_ALLOCATE(HeapBatch, sizeof(HeapBatch));
    if (heap == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return CONF_CONFIG_FAILED;
    }
    heap->batch = {0, kBatchRecords, heap->records};
    for (uint32_t i = 0; i < count; ++i) {
        ConfConfigAddOmCfgByKey(keys[i], heap->batch);
    }
    const uint32_t written = ConfConfigSyncOmCfg(&heap->batch);
    if (written != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigSyncOmCfg fail\n");
    }
    return written;
}

uint32_t ConfConfigSyncByKeyToOM(const char* key) {
    return ConfConfigSyncToOM(&key, 1);
}
