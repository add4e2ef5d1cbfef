// The index of bound keys: one array sorted by name without ASCII case, searched by halving.
#pragma once

#include <span>

#include "tarn_conference/conf_config.h"

namespace tarn::detail {

// One bound key.
struct ConfConfigIndexItem {
    char name[OM_CONFIG_KEY_LEN];
    int32_t type; // a ConfConfigValueType
    void* data;
    uint32_t size;
    uint8_t localOnly; // never read from or written to the service
    ConfConfigChangeCallBack callBack;
};

static_assert(offsetof(ConfConfigIndexItem, type) == 128);
static_assert(offsetof(ConfConfigIndexItem, data) == 136);
static_assert(offsetof(ConfConfigIndexItem, size) == 144);
static_assert(offsetof(ConfConfigIndexItem, localOnly) == 148);
static_assert(offsetof(ConfConfigIndexItem, callBack) == 152);
static_assert(sizeof(ConfConfigIndexItem) == 160);

// Whether the registry is started.
bool indexIsOpen();

// An empty index in place of any other; false when memory is out, and then there is none.
bool openIndex();
void closeIndex();

// Notifications come as soon as the client is started, on a thread of its own, while keys are still being bound: until
// they are declared complete such a thread must not look at the index.
void declareIndexComplete();
bool indexIsComplete();

// The bound keys in order; none when the registry is not started.
std::span<ConfConfigIndexItem> boundItems();

// Position of the first key not less than this one, where it stands or would be inserted; -1 for null or no registry.
int32_t searchIndex(const char* key);

// The key's entry, or null.
ConfConfigIndexItem* findItem(const char* key);

// The key's entry, made when there is none; null after a failure, which is logged and leaves the index as it was.
ConfConfigIndexItem* findOrAddItem(const char* key);

} // namespace tarn::detail
