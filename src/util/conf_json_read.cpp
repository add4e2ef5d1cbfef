// Reading of JSON trees: look-ups and typed getters that answer with a default. Numbers are cut to whole ones before
// their range is tested, so that 2147483647.9 is still an int.
#include <cmath>
#include <limits>
#include <new>
#include <optional>
#include <utility>

#include <cJSON.h>

#include "base/log.h"
#include "tarn_conference/conf_json.h"

namespace {

constexpr const char* kLogName = "conf_json";

void report(const char* function, const char* text) {
    TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", text);
}

// Who looks up, and the texts that are logged for bad arguments.
struct LookUp {
    const char* function;
    const char* nullPointer;
    const char* notObject;
};

constexpr LookUp kGetObject = {"ConfJsonGetObject", "ConfJsonGetObject null pointer",
                               "ConfJsonGetObject input root is not a valid json object"};
constexpr LookUp kGetArray = {"ConfJsonGetArray", "ConfJsonGetArray null pointer",
                              "ConfJsonGetArray input root is not a valid json object"};
constexpr LookUp kFindItem = {"ConfJsonFindItem", "ConfJsonFindItem null pointer",
                              "ConfJsonFindItem input root is not a valid json object"};
constexpr LookUp kIsMember = {"ConfJsonIsMember", "ConfJsonIsMember null pointer",
                              "ConfJsonIsMember root is not a valid json object"};

// A look-up of a member of one type.
struct Getter {
    LookUp lookUp;
    cJSON_bool (*hasType)(const cJSON*);
    const char* wrongType;
};

constexpr Getter kBool = {
    {"ConfJsonGetBool", "ConfJsonGetBool null pointer", "ConfJsonGetBool root is not a valid json object"},
    cJSON_IsBool,
    "ConfJsonGetBool item is not a valid json bool"};
constexpr Getter kInt = {
    {"ConfJsonGetInt", "ConfJsonGetInt null pointer", "ConfJsonGetInt root is not a valid json object"},
    cJSON_IsNumber,
    "ConfJsonGetInt item is not a valid json number"};
constexpr Getter kUInt32 = {
    {"ConfJsonGetUInt32", "ConfJsonGetUInt32 null pointer", "ConfJsonGetUInt32 root is not a valid json object"},
    cJSON_IsNumber,
    "ConfJsonGetUInt32 item is not a valid json number"};
constexpr Getter kUInt64 = {
    {"ConfJsonGetUInt64", "ConfJsonGetUInt64 null pointer", "ConfJsonGetUInt64 root is not a valid json object"},
    cJSON_IsNumber,
    "ConfJsonGetUInt64 item is not a valid json number"};
constexpr Getter kString = {
    {"ConfJsonGetString", "null pointer", "not a valid json object"}, cJSON_IsString, "not a valid json string"};

// Whether a look-up can go on. What is in its way is logged.
bool isObject(const LookUp& lookUp, const cJSON* root, bool argumentsThere) {
    if (!argumentsThere) {
        report(lookUp.function, lookUp.nullPointer);
        return false;
    }
    if (cJSON_IsObject(root) == 0) {
        report(lookUp.function, lookUp.notObject);
        return false;
    }
    return true;
}

bool canLookUp(const LookUp& lookUp, const cJSON* root, const char* key) {
    return isObject(lookUp, root, root != nullptr && key != nullptr);
}

// The member of the getter's type, or null once the reason is logged.
const cJSON* typedMember(const Getter& getter, const cJSON* root, const char* key) {
    if (!isObject(getter.lookUp, root, root != nullptr)) {
        return nullptr;
    }
    // Without a key it is the root that is asked for, an object and so of no getter's type.
    const cJSON* const item = key == nullptr ? root : cJSON_GetObjectItemCaseSensitive(root, key);
    if (getter.hasType(item) == 0) {
        report(getter.lookUp.function, getter.wrongType);
        return nullptr;
    }
    return item;
}

// The member number cut towards zero, when that lies from `lowest` to `highest`. Not a number lies nowhere.
std::optional<double> wholeNumber(const Getter& getter, const cJSON* root, const char* key, double lowest,
                                  double highest, const char* rangeName) {
    const cJSON* const item = typedMember(getter, root, key);
    if (item == nullptr) {
        return std::nullopt;
    }
    const double whole = std::trunc(item->valuedouble);
    if (whole >= lowest && whole <= highest) {
        return whole;
    }
    const char* const function = getter.lookUp.function;
    TARN_LOG_AS(function, CONF_LOG_ERROR, "%s retrieved number[%lf] is out of %s ranger", function, item->valuedouble,
                rangeName);
    return std::nullopt;
}

} // namespace

cJSON* ConfJsonParse(const char* text) {
    if (text == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonParse null pointer");
        return nullptr;
    }
    cJSON* const root = cJSON_Parse(text);
    if (root == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonParse input is not a valid json string");
    }
    return root;
}

cJSON* ConfJsonGetObject(cJSON* root, const char* key) {
    if (!canLookUp(kGetObject, root, key)) {
        return nullptr;
    }
    cJSON* const item = cJSON_GetObjectItemCaseSensitive(root, key);
    return cJSON_IsObject(item) != 0 ? item : nullptr;
}

int ConfJsonGetArraySize(cJSON* array) {
    return cJSON_IsArray(array) != 0 ? cJSON_GetArraySize(array) : 0;
}

cJSON* ConfJsonGetArray(cJSON* root, const char* key) {
    if (!canLookUp(kGetArray, root, key)) {
        return nullptr;
    }
    cJSON* const item = cJSON_GetObjectItemCaseSensitive(root, key);
    if (cJSON_IsArray(item) == 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonGetArray input root[%s] is not a valid json array", key);
        return nullptr;
    }
    return item;
}

cJSON* ConfJsonFindItem(cJSON* root, const char* key) {
    if (!canLookUp(kFindItem, root, key)) {
        return nullptr;
    }
    cJSON* const item = cJSON_GetObjectItemCaseSensitive(root, key);
    if (item == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonFindItem root[%s] is null", key);
    }
    return item;
}

cJSON* ConfJsonGetArrayItem(cJSON* array, unsigned int index) {
    if (array == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonGetArrayItem null pointer");
        return nullptr;
    }
    if (cJSON_IsArray(array) == 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonGetArrayItem input root is not a valid json array");
        return nullptr;
    }
    cJSON* const item = cJSON_GetArrayItem(array, static_cast<int>(index));
    if (item == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfJsonGetArrayItem retrieve root[index] failed");
    }
    return item;
}

bool ConfJsonIsMember(cJSON* root, const char* key) {
    return canLookUp(kIsMember, root, key) && cJSON_HasObjectItem(root, key) != 0;
}

bool ConfJsonGetBool(cJSON* root, const char* key, bool defaultValue) {
    const cJSON* const item = typedMember(kBool, root, key);
    return item != nullptr ? cJSON_IsTrue(item) != 0 : defaultValue;
}

int ConfJsonGetInt(cJSON* root, const char* key, int defaultValue) {
    const std::optional<double> whole = wholeNumber(kInt, root, key, -2147483648.0, 2147483647.0, "int");
    return whole ? static_cast<int>(*whole) : defaultValue;
}

unsigned int ConfJsonGetUInt32(cJSON* root, const char* key, unsigned int defaultValue) {
    const std::optional<double> whole = wholeNumber(kUInt32, root, key, 0.0, 4294967295.0, "uint32_t");
    return whole ? static_cast<unsigned int>(*whole) : defaultValue;
}

unsigned long ConfJsonGetUInt64(cJSON* root, const char* key, unsigned long defaultValue) {
    constexpr double kTwoToThe64th = 18446744073709551616.0;
    const std::optional<double> whole = wholeNumber(kUInt64, root, key, 0.0, kTwoToThe64th, "uint64_t");
    if (!whole) {
        return defaultValue;
    }
    return *whole < kTwoToThe64th ? static_cast<unsigned long>(*whole) : 0;
}

std::string ConfJsonGetString(cJSON* root, const char* key, std::string defaultValue) {
    const cJSON* const item = typedMember(kString, root, key);
    if (item == nullptr) {
        return defaultValue;
    }
    if (item->valuestring == nullptr) {
        report(kString.lookUp.function, kString.wrongType);
        return defaultValue;
    }
    try {
        return item->valuestring;
    } catch (const std::bad_alloc&) {
        TARN_LOG(CONF_LOG_ERROR, "out of memory");
        return defaultValue;
    }
}
