// Starting and stopping the registry, binding keys, loading the variables. The connection to the service and the index
// live apart: re-attaching keeps the keys, and freeing the keys keeps the connection.
#include "base/log.h"
#include "config/config_index.h"
#include "config/om_record.h"

using tarn::detail::boundItems;
using tarn::detail::ConfConfigIndexItem;
using tarn::detail::kServiceOwner;

namespace {

constexpr const char* kLogName = "conf_config";
constexpr const char* kServiceDomain = "Conf";
constexpr uint32_t kShortestText = 2;

// A number becomes 0 when the service's text holds none; a text variable that is too short becomes empty.
void loadVariable(const ConfConfigIndexItem& item, const ConfConfigOmRecord& record) {
    const auto type = static_cast<uint32_t>(item.type);
    if (type == CONF_CONFIG_TYPE_STR && item.size < kShortestText) {
        return;
    }
    ConfConfigValue value = {};
    ConfConfigStr2V(&value, record.value.text);
    ConfConfigV2DByType(&value, item.data, item.size, type);
}

bool readByGet(const char* key, ConfConfigOmRecord& record) {
    if (TarnOmConfigcopyStr2Key(&record.key, key) != 0 || TarnOmConfigStringGet(&record) != 0) {
        return false;
    }
    tarn::detail::terminateValue(record);
    return true;
}

} // namespace

uint32_t ConfConfigInit(ConfConfigInitFn initFn, const char* owner, const char* domain) {
    if (initFn == nullptr || owner == nullptr || domain == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigInit invalue param, null pointer!");
        return CONF_CONFIG_FAILED;
    }
    if (TarnOmConfigInit(0, owner, domain) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmConfigInit failed");
    }
    TarnOmConfigNotifyCallback(ConfConfigClientCallBack, domain);
    if (!tarn::detail::openIndex()) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigInit Malloc fail");
        return CONF_CONFIG_FAILED;
    }
    initFn();
    tarn::detail::declareIndexComplete();
    return 0;
}

uint32_t ConfConfigReInit(void) {
    TARN_LOG(CONF_LOG_INFO, "ConfConfigReInit.");
    if (TarnOmConfigInit(0, kServiceOwner, kServiceDomain) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfInitOmConfig failed");
    }
    TarnOmConfigNotifyCallback(ConfConfigClientCallBack, kServiceDomain);
    return 0;
}

uint32_t ConfConfigUnInit(void) {
    TARN_LOG(CONF_LOG_INFO, "ConfConfigUnInit.");
    TarnOmConfigUnInit(kServiceDomain);
    return 0;
}

void ConfConfigDeInit(void) {
    TARN_LOG(CONF_LOG_INFO, "ConfConfigDeInit");
    tarn::detail::closeIndex();
}

void ConfConfigBind(const char* key, uint32_t type, void* data, uint32_t size, ConfConfigChangeCallBack callBack) {
    ConfConfigIndexItem* const item = tarn::detail::findOrAddItem(key);
    if (item == nullptr) {
        return;
    }
    item->type = static_cast<int32_t>(type);
    item->data = data;
    item->size = size;
    item->localOnly = type == CONF_CONFIG_TYPE_DATA ? 1 : 0;
    item->callBack = callBack;
}

void ConfConfigInitOmCfg(void) {
    for (const ConfConfigIndexItem& item : boundItems()) {
        if (item.localOnly != 0) {
            continue;
        }
        ConfConfigOmRecord record = {};
        if (readByGet(item.name, record)) {
            loadVariable(item, record);
        } else {
            TARN_LOG(CONF_LOG_DEBUG, "TarnOmConfigStringGet %s failed!!!\n", item.name);
        }
    }
}
