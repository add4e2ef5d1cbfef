// A change notification, dealt out: each callback concerned is called once, with its items only, in the order in which
// the callbacks first appear. The bound variables are not written: that is the callback's decision.
#include <algorithm>
#include <limits>
#include <memory>

#include "base/accounted.h"
#include "base/log.h"
#include "config/config_index.h"
#include "tarn_platform/bounds_checked.h"

namespace {

using tarn::detail::Accounted;
using tarn::detail::ConfConfigIndexItem;
using tarn::detail::kNullPointerText;
using tarn::detail::kSecureFunctionText;

constexpr const char* kLogName = "conf_config";
constexpr uint8_t kMaxGroups = 200;
constexpr uint8_t kMaxGroupItems = std::numeric_limits<uint8_t>::max();
constexpr uint8_t kNoGroup = kMaxGroups;
constexpr uint32_t kMaxItems = std::numeric_limits<uint32_t>::max() / sizeof(ConfConfigKeyValue);

// The items of one callback.
struct ConfConfigCallBackGroup {
    uint8_t itemCount;
    ConfConfigKeyValue* items; // owned
    ConfConfigChangeCallBack callBack;
};

// The groups of a notification. Behind the table, in the same block, stands the group of each item, so that a key is
// looked up once.
struct GroupTable {
    uint8_t count;
    ConfConfigCallBackGroup groups[kMaxGroups];

    uint8_t* groupOfItems() { return reinterpret_cast<uint8_t*>(this + 1); }
};

struct FreeGroupTable {
    void operator()(GroupTable* table) const {
        for (uint8_t i = 0; i < table->count; ++i) {
            TARN_FREE(table->groups[i].items);
        }
        TARN_FREE(table);
    }
};

using GroupTableOwner = std::unique_ptr<GroupTable, FreeGroupTable>;

GroupTableOwner makeGroupTable(uint32_t itemCount) {
    if (itemCount > std::numeric_limits<uint32_t>::max() - sizeof(GroupTable)) {
        return nullptr;
    }
    auto block = TARN_ALLOCATE(GroupTable, static_cast<uint32_t>(sizeof(GroupTable) + itemCount));
    if (block != nullptr) {
        block->count = 0;
    }
    return GroupTableOwner(block.release());
}

// The callback's group, opened at the end when there is none; `kNoGroup` when the table is full.
uint8_t groupOf(GroupTable& table, ConfConfigChangeCallBack callBack) {
    ConfConfigCallBackGroup* const end = table.groups + table.count;
    ConfConfigCallBackGroup* const found =
        std::find_if(table.groups, end, [=](const auto& group) { return group.callBack == callBack; });
    if (found == end && table.count == kMaxGroups) {
        return kNoGroup;
    }
    if (found == end) {
        *found = {0, nullptr, callBack};
        ++table.count;
    }
    return static_cast<uint8_t>(found - table.groups);
}

// Counts an item into its callback's group and answers with that; an item that has no room is dropped.
uint8_t ConfConfigAddCallBackCount(GroupTable& table, const ConfConfigIndexItem& item) {
    const uint8_t group = groupOf(table, item.callBack);
    if (group == kNoGroup) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigAddCallBackCount more than %d callbacks, dropped key = %s\n", kMaxGroups,
                 item.name);
        return kNoGroup;
    }
    if (table.groups[group].itemCount == kMaxGroupItems) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigAddCallBackCount more than %d items in group %d, dropped key = %s\n",
                 kMaxGroupItems, group, item.name);
        return kNoGroup;
    }
    ++table.groups[group].itemCount;
    return group;
}

void ConfConfigAddCountByitemlist(GroupTable& table, const ConfConfigKeyValue* items, uint32_t count) {
    uint8_t* const groupOfItems = table.groupOfItems();
    // What is not bound yet is read by `ConfConfigInitOmCfg` later.
    const bool isBound = tarn::detail::indexIsComplete();
    for (uint32_t i = 0; i < count; ++i) {
        const ConfConfigIndexItem* const item = isBound ? tarn::detail::findItem(items[i].key) : nullptr;
        groupOfItems[i] = item == nullptr ? kNoGroup : ConfConfigAddCallBackCount(table, *item);
    }
    for (uint8_t i = 0; i < table.count; ++i) {
        TARN_LOG_AS("ConfConfigAddCallBackCount", CONF_LOG_DEBUG, "ConfConfigAddCallBackCount CfgItemCount = %d\n",
                    table.groups[i].itemCount);
    }
}

bool allocateGroups(GroupTable& table) {
    for (uint8_t i = 0; i < table.count; ++i) {
        ConfConfigCallBackGroup& group = table.groups[i];
        const auto bytes = static_cast<uint32_t>(group.itemCount * sizeof(ConfConfigKeyValue));
        group.items = TARN_ALLOCATE(ConfConfigKeyValue, bytes).release();
        if (group.items == nullptr) {
            return false;
        }
    }
    return true;
}

// Copies each item to the next place of its group.
bool ConfConfigAdditemlist(GroupTable& table, const ConfConfigKeyValue* items, uint32_t count) {
    const uint8_t* const groupOfItems = table.groupOfItems();
    uint8_t filled[kMaxGroups] = {};
    bool allCopied = true;
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t group = groupOfItems[i];
        if (group == kNoGroup) {
            continue;
        }
        ConfConfigKeyValue& place = table.groups[group].items[filled[group]++];
        if (memcpy_s(&place, sizeof place, &items[i], sizeof items[i]) != 0) {
            place.key[0] = '\0';
            place.value[0] = '\0';
            allCopied = false;
        }
    }
    if (!allCopied) {
        TARN_LOG(CONF_LOG_ERROR, " ConfConfigAdditemlist memcpy_s fail\n");
    }
    return allCopied;
}

void callGroups(GroupTable& table) {
    for (uint8_t i = 0; i < table.count; ++i) {
        ConfConfigCallBackGroup& group = table.groups[i];
        if (group.callBack != nullptr) {
            group.callBack(group.items, group.itemCount);
        }
        TARN_FREE(group.items);
        group.items = nullptr;
    }
}

void ConfConfigDealCallBackList(const ConfConfigKeyValue* items, uint32_t count) {
    const GroupTableOwner table = makeGroupTable(count);
    if (table == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, " ConfConfigDealCallBackList malloc fail\n");
        return;
    }
    ConfConfigAddCountByitemlist(*table, items, count);
    TARN_LOG(CONF_LOG_DEBUG, "ConfConfigDealCallBackList count = %d", table->count);
    if (table->count == 0) {
        return;
    }
    if (!allocateGroups(*table)) {
        TARN_LOG(CONF_LOG_ERROR, " ConfConfigDealCallBackList malloc fail\n");
        return;
    }
    if (!ConfConfigAdditemlist(*table, items, count)) {
        TARN_LOG(CONF_LOG_ERROR, " ConfConfigDealCallBackList fail\n");
    }
    callGroups(*table);
}

// A field of the notification that claims more bytes than it has is read no further than that.
template <size_t kBytes>
errno_t copyField(char (&target)[kBytes], const char (&field)[kBytes], size_t length) {
    return strncpy_s(target, kBytes, field, std::min(length, kBytes));
}

bool copyEntry(const char* function, const ConfConfigOmNotifyEntry& entry, ConfConfigKeyValue& item) {
    if (entry.value == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", kNullPointerText);
        return false;
    }
    errno_t copied = copyField(item.key, entry.key, entry.keyLength);
    if (copied == 0) {
        copied = copyField(item.value, entry.value->text, entry.value->length);
    }
    if (copied != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, kSecureFunctionText, copied);
    }
    return copied == 0;
}

// Room for so many items, and for one when there are none; null when memory is out.
Accounted<ConfConfigKeyValue> allocateItems(uint32_t count) {
    if (count > kMaxItems) {
        return nullptr;
    }
    return TARN_ALLOCATE(ConfConfigKeyValue, static_cast<uint32_t>(std::max(count, 1U) * sizeof(ConfConfigKeyValue)));
}

} // namespace

void ConfConfigClientCallBack(uint32_t msgId, uint32_t /*second*/, uint32_t /*third*/, ConfConfigOmNotify* notify) {
    TARN_LOG(CONF_LOG_DEBUG, "ConfConfigClientCallBack msgid :%#x", msgId);
    if (notify == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return;
    }
    if (msgId != OM_CONFIG_MSG_CHANGED) {
        return;
    }
    if (notify->entries == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return;
    }
    const uint32_t count = notify->count;
    const Accounted<ConfConfigKeyValue> items = allocateItems(count);
    if (items == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "malloc fail\n");
        return;
    }
    TARN_LOG(CONF_LOG_DEBUG, "ConfConfigClientCallBack arraySize = %d", static_cast<int>(count));
    for (uint32_t i = 0; i < count; ++i) {
        if (!copyEntry(__func__, notify->entries[i], items.get()[i])) {
            return;
        }
    }
    ConfConfigDealCallBackList(items.get(), count);
}
