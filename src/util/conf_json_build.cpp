// Building and printing of JSON objects from items. Items that were added before one fails stay.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include <cJSON.h>

#include "base/log.h"
#include "tarn_conference/conf_json.h"

namespace {

constexpr const char* kLogName = "conf_json";
constexpr const char* kNumberFailed = "Add number item key:%s failed";

struct TreeDelete {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using Tree = std::unique_ptr<cJSON, TreeDelete>;

struct TextFree {
    void operator()(char* text) const { std::free(text); }
};
using PrintedText = std::unique_ptr<char, TextFree>;

const char* shown(const char* key) {
    return key == nullptr ? "(null)" : key;
}

// Any byte but zero is true; to read it as a bool would be undefined for all but 0 and 1.
bool firstByteSet(const ConfJsonItem& item) {
    unsigned char byte = 0;
    std::memcpy(&byte, &item.boolean, sizeof byte);
    return byte != 0;
}

// Adds one item of a known type; answers the text to log when that fails.
const char* addItem(cJSON* object, const ConfJsonItem& item) {
    switch (item.type) {
        case CONF_JSON_TYPE_NUMBER:
            return cJSON_AddNumberToObject(object, item.key, item.number) != nullptr ? nullptr : "number";
        case CONF_JSON_TYPE_STRING:
            return cJSON_AddStringToObject(object, item.key, item.string) != nullptr ? nullptr : "string";
        default:
            return cJSON_AddBoolToObject(object, item.key, firstByteSet(item) ? 1 : 0) != nullptr ? nullptr : "bool";
    }
}

// Makes an object, lets `fill` add its members (true when all are in), and prints it.
template <typename Fill>
uint32_t createAndPrint(const char* function, std::string& out, Fill fill) {
    const Tree object(cJSON_CreateObject());
    if (object == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "Create json object failed");
        return 1;
    }
    if (!fill(object.get())) {
        return 1;
    }
    const PrintedText text(cJSON_Print(object.get()));
    bool printed = text != nullptr;
    try {
        if (printed) {
            out.assign(text.get());
        }
    } catch (const std::bad_alloc&) {
        printed = false;
    }
    if (!printed) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "Print to string failed");
        return 1;
    }
    return 0;
}

} // namespace

uint32_t ConfJsonAddMultipleItems(cJSON* object, const ConfJsonItem* items, unsigned int count) {
    if (object == nullptr || items == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonAddMultipleItems input null pointer");
        return 1;
    }
    for (unsigned int i = 0; i < count; ++i) {
        const ConfJsonItem& item = items[i];
        if (item.type > CONF_JSON_TYPE_BOOL) {
            TARN_LOG(CONF_LOG_ERROR, "Unsupported type:%d at array index:%u", static_cast<int>(item.type), i);
            return 1;
        }
        const char* const failedType = addItem(object, item);
        if (failedType != nullptr) {
            TARN_LOG(CONF_LOG_ERROR, "Add %s item key:%s failed", failedType, shown(item.key));
            return 1;
        }
    }
    return 0;
}

uint32_t ConfJsonAddMultipleItemsToSubObject(cJSON* root, const char* name, const ConfJsonItem* items,
                                             unsigned int count) {
    if (name == nullptr || items == nullptr || root == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonAddTwoLayerMultipleItems input null pointer");
        return 1;
    }
    // The first question ignores case and the second does not: a name in other letters is not to be had.
    cJSON* const subObject = cJSON_HasObjectItem(root, name) != 0 ? cJSON_GetObjectItemCaseSensitive(root, name)
                                                                  : cJSON_AddObjectToObject(root, name);
    if (subObject == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "Can't get or create subObject %s", name);
        return 1;
    }
    if (ConfJsonAddMultipleItems(subObject, items, count) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "Add multiple items to subObject failed");
        return 1;
    }
    return 0;
}

void ConfJsonClearStr(std::string& text) {
    text.assign(text.size(), '*');
}

void ConfJsonReplaceStr(std::string& text, const char* from, const char* to) {
    if (from == nullptr || to == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "CallJson::ReplaceStr null point");
        return;
    }
    const size_t found = text.find(from);
    if (found == std::string::npos) {
        return;
    }
    try {
        text.replace(found, std::strlen(from), to);
    } catch (const std::bad_alloc&) {
        TARN_LOG(CONF_LOG_ERROR, "out of memory");
    }
}

uint32_t ConfJsonCreateAndPrintSingleNumber(std::string& out, const char* key, double value) {
    return createAndPrint(__func__, out, [&](cJSON* object) {
        if (cJSON_AddNumberToObject(object, key, value) != nullptr) {
            return true;
        }
        TARN_LOG_AS("ConfJsonCreateAndPrintSingleNumber", CONF_LOG_ERROR, kNumberFailed, shown(key));
        return false;
    });
}

uint32_t ConfJsonCreateAndPrintSingleString(std::string& out, const char* key, const char* value) {
    return createAndPrint(__func__, out, [&](cJSON* object) {
        if (cJSON_AddStringToObject(object, key, value) != nullptr) {
            return true;
        }
        // Says "number" all the same: it is the text that readers of the log look for.
        TARN_LOG_AS("ConfJsonCreateAndPrintSingleString", CONF_LOG_ERROR, kNumberFailed, shown(key));
        return false;
    });
}

uint32_t ConfJsonCreateAndPrintMultipleItems(std::string& out, const ConfJsonItem* items, unsigned int count) {
    if (items == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonCreateAndPrintMultipleItems input null pointer");
        return 1;
    }
    return createAndPrint(__func__, out, [&](cJSON* object) {
        if (ConfJsonAddMultipleItems(object, items, count) == 0) {
            return true;
        }
        TARN_LOG_AS("ConfJsonCreateAndPrintMultipleItems", CONF_LOG_ERROR, "Add multiple items to json failed");
        return false;
    });
}
