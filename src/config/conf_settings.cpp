// The product's settings file and its switches. The file is read once: after a failed reading the process has no
// settings, so that what a switch says never changes under a running conference.
#include "tarn_conference/conf_settings.h"

#include "base/accounted.h"
#include "base/log.h"
#include "base/platform_lock.h"
#include "tarn_conference/conf_param.h"
#include "tarn_conference/conf_xml.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/om_path.h"
#include "tarn_platform/portability.h"
#include "xml/document_owner.h"

ConfConfigManager g_configManager = {};

namespace {

using tarn::detail::Accounted;
using tarn::detail::PlatformLock;

constexpr const char* kLogName = "conf_config";
constexpr uint32_t kFailed = 1;
constexpr size_t kPathBytes = 256;

OsMutex g_configXmlMutex; // guards all of the settings; an all-zero mutex is a usable one
bool g_configXmlLoaded = false;

bool copySetting(void* node, ConfConfigNameValue& item) {
    return strcpy_s(item.name, sizeof item.name, ConfXmlGetNodeStrAttr(node, "name")) == 0 &&
           strcpy_s(item.value, sizeof item.value, ConfXmlGetNodeText(node)) == 0;
}

// The settings below a root; null when one of them is bad or memory is out.
Accounted<ConfConfigNameValue> readSettings(void* firstChild, uint32_t count) {
    const uint64_t bytes = uint64_t{count} * sizeof(ConfConfigNameValue);
    if (bytes > UINT32_MAX) {
        return nullptr;
    }
    auto items = TARN_ALLOCATE(ConfConfigNameValue, static_cast<uint32_t>(bytes));
    if (items == nullptr) {
        return nullptr;
    }
    ConfConfigNameValue* item = items.get();
    for (void* node = firstChild; node != nullptr; node = ConfXmlGetNodeNextSibling(node)) {
        if (!copySetting(node, *item++)) {
            return nullptr;
        }
    }
    return items;
}

uint32_t loadSettings(const char* function) {
    char path[kPathBytes] = {};
    const int length = sprintf_s(path, sizeof path, "%s%s", TarnOmCustUtilGetCfgPath(0), "/conference/conf_config.xml");
    if (length < 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "sprintf_s fail, ret:%d", length);
    }
    const tarn::detail::DocumentOwner root(ConfXmlParseFileGetRoot(path));
    if (root == nullptr) {
        return kFailed;
    }
    const uint32_t count = ConfXmlGetNodeChildNum(root.get());
    void* const firstChild = count == 0 ? nullptr : ConfXmlGetNodeFirstChild(root.get());
    if (firstChild == nullptr) {
        return kFailed;
    }
    auto items = readSettings(firstChild, count);
    if (items == nullptr) {
        return kFailed;
    }
    g_configManager = {items.release(), count};
    return 0;
}

// The number of a switch; `result` receives that of the look-up.
uint32_t readSwitch(const char* name, uint32_t& result) {
    char text[CONF_SETTING_LEN] = {};
    result = ConfConfigGetValueByName(name, text, sizeof text);
    return result == 0 ? static_cast<uint32_t>(ConfGetAtoi(text, 0)) : 0;
}

uint32_t readSwitch(const char* name) {
    uint32_t result = 0;
    return readSwitch(name, result);
}

} // namespace

uint32_t ConfConfigXmlInit(void) {
    const PlatformLock lock(g_configXmlMutex);
    if (g_configXmlLoaded) {
        return 0;
    }
    g_configXmlLoaded = true;
    return loadSettings(__func__);
}

uint32_t ConfConfigGetValueByName(const char* name, char* buffer, uint32_t bufferSize) {
    if (name == nullptr || buffer == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "name is null");
        return kFailed;
    }
    const PlatformLock lock(g_configXmlMutex);
    for (uint32_t i = 0; i < g_configManager.itemNum; ++i) {
        const ConfConfigNameValue& item = g_configManager.items[i];
        if (MOSS_StriCmp(item.name, name) != 0) {
            continue;
        }
        if (strcpy_s(buffer, bufferSize, item.value) != 0) {
            TARN_LOG(CONF_LOG_ERROR, "strcpy_s fail");
            return kFailed;
        }
        return 0;
    }
    return kFailed;
}

uint32_t IsCloseWirelessCast(void) {
    return readSwitch("isCloseWirelessCastWhenStopShare");
}

uint32_t IsStopCastWhenConfEnd(void) {
    return readSwitch("isStopCastWhenConfEnd");
}

uint32_t IsForbiddenSdkStopWirelessCast(void) {
    return readSwitch("forbiddenSdkStopWirelessCast");
}

uint32_t OnlyReportPresentationDevicePlug(void) {
    return readSwitch("onlyReportPresentationDevicePlug");
}

uint32_t IgnoreLayoutStrategy(void) {
    return readSwitch("ignoreLayoutStrategy");
}

uint8_t CallServiceIsForbiddenKitCap(void) {
    uint32_t result = 0;
    const uint32_t number = readSwitch("isForbiddenKitCapbility", result);
    if (result != 0) {
        TARN_LOG(CONF_LOG_ERROR, "forbiddenKitCap ConfConfigGetValueByName error, iRes:%u", result);
    }
    return static_cast<uint8_t>(number);
}
