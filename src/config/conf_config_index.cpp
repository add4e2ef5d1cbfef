// The index of bound keys. A key's copy is made before the array is touched, so that a key that does not fit leaves no
// empty entry.
#include <strings.h>

#include <atomic>

#include "base/accounted.h"
#include "base/c_locale.h"
#include "base/log.h"
#include "config/config_index.h"
#include "tarn_platform/bounds_checked.h"

namespace tarn::detail {

namespace {

constexpr const char* kLogName = "conf_config";
constexpr int32_t kFirstCapacity = 300;
constexpr int32_t kGrowth = 200;

ConfConfigIndexItem* g_itemIndex = nullptr;
int32_t g_itemNum = 0;
int32_t g_itemCache = 0; // entries allocated; 0 while the registry is not started
std::atomic<bool> isComplete = false;

constexpr uint32_t bytesOf(int32_t items) {
    return static_cast<uint32_t>(static_cast<size_t>(items) * sizeof(ConfConfigIndexItem));
}

bool testIndex(const char* key, int32_t position) {
    return position >= 0 && position < g_itemNum &&
           strcasecmp_l(key, g_itemIndex[position].name, tarn::detail::cLocale) == 0;
}

void growIndex(const char* function) {
    auto items = TARN_ALLOCATE(ConfConfigIndexItem, bytesOf(g_itemCache + kGrowth));
    if (items == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "ConfConfigAddIndex malloc error \n");
        return;
    }
    const errno_t copied = memcpy_s(items.get(), bytesOf(g_itemCache + kGrowth), g_itemIndex, bytesOf(g_itemNum));
    if (copied != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "memcpy error = %d", copied);
        return;
    }
    TARN_FREE(g_itemIndex);
    g_itemIndex = items.release();
    g_itemCache += kGrowth;
}

// Moves the entries from the position on up by one.
bool ConfConfigInsertIndex(int32_t position) {
    ConfConfigIndexItem* const slot = g_itemIndex + position;
    const errno_t moved = memmove_s(slot + 1, bytesOf(g_itemCache - position - 1), slot, bytesOf(g_itemNum - position));
    if (moved != 0) {
        TARN_LOG(CONF_LOG_ERROR, kSecureFunctionText, moved);
    }
    return moved == 0;
}

ConfConfigIndexItem* ConfConfigAddIndex(const char* key, int32_t position) {
    if (key == nullptr || position < 0 || position > g_itemNum) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigAddIndex fail %s %d %d\n", key == nullptr ? "(NULL)" : key, position,
                 g_itemNum);
        return nullptr;
    }
    ConfConfigIndexItem item = {};
    const errno_t copied = strncpy_s(item.name, sizeof item.name, key, sizeof item.name);
    if (copied != 0) {
        TARN_LOG(CONF_LOG_ERROR, kSecureFunctionText, copied);
        return nullptr;
    }
    if (g_itemCache <= g_itemNum) {
        growIndex(__func__);
    }
    if (g_itemNum == g_itemCache) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigAddIndex fail g_itemNum == g_itemCache %s %d\n", key, position);
        return nullptr;
    }
    if (position < g_itemNum && !ConfConfigInsertIndex(position)) {
        return nullptr;
    }
    ++g_itemNum;
    g_itemIndex[position] = item;
    return g_itemIndex + position;
}

} // namespace

bool indexIsOpen() {
    return g_itemCache != 0;
}

bool openIndex() {
    closeIndex();
    g_itemIndex = TARN_ALLOCATE(ConfConfigIndexItem, bytesOf(kFirstCapacity)).release();
    if (g_itemIndex == nullptr) {
        return false;
    }
    g_itemCache = kFirstCapacity;
    return true;
}

void closeIndex() {
    isComplete.store(false, std::memory_order_relaxed);
    g_itemCache = 0;
    g_itemNum = 0;
    TARN_FREE(g_itemIndex);
    g_itemIndex = nullptr;
}

void declareIndexComplete() {
    isComplete.store(true, std::memory_order_release);
}

bool indexIsComplete() {
    return isComplete.load(std::memory_order_acquire);
}

std::span<ConfConfigIndexItem> boundItems() {
    return {g_itemIndex, static_cast<size_t>(g_itemNum)};
}

int32_t searchIndex(const char* key) {
    if (g_itemCache == 0 || key == nullptr) {
        return -1;
    }
    int32_t low = 0;
    int32_t high = g_itemNum - 1;
    while (low <= high) {
        const int32_t middle = (low + high) / 2;
        if (strcasecmp_l(key, g_itemIndex[middle].name, tarn::detail::cLocale) > 0) {
            low = middle + 1;
        } else {
            high = middle - 1;
        }
    }
    return low;
}

ConfConfigIndexItem* findItem(const char* key) {
    const int32_t position = searchIndex(key);
    return testIndex(key, position) ? g_itemIndex + position : nullptr;
}

ConfConfigIndexItem* findOrAddItem(const char* key) {
    const int32_t position = searchIndex(key);
    if (position < 0) {
        return nullptr;
    }
    return testIndex(key, position) ? g_itemIndex + position : ConfConfigAddIndex(key, position);
}

} // namespace tarn::detail
