/**
 * @file conf_json.h
 * @brief Careful reading and building of JSON (RFC 8259) over cJSON trees.
 *
 * Nothing here throws or crashes on bad input: what goes wrong is logged as an error and answered with the caller's
 * default, null or 1. Trees are cJSON's and belong to the caller, who releases them with `cJSON_Delete`; returned nodes
 * belong to their tree. Member names are case-sensitive except where told. Of members with the same name the first
 * counts. Any thread may call any function; one tree is changed by one thread at a time, with nobody reading it.
 */
#ifndef TARN_CONFERENCE_CONF_JSON_H
#define TARN_CONFERENCE_CONF_JSON_H

#include <string>

#include "tarn_platform/platform_base.h"

struct cJSON;

/** Which value of a `ConfJsonItem` counts. */
enum : uint32_t { CONF_JSON_TYPE_NUMBER = 0, CONF_JSON_TYPE_STRING = 1, CONF_JSON_TYPE_BOOL = 2 };

/** One member for the builders. */
struct ConfJsonItem {
    uint32_t type;   /**< `CONF_JSON_TYPE_...`; a larger number fails. */
    const char* key; /**< Member name, copied. */
    union {
        double number;      /**< `CONF_JSON_TYPE_NUMBER`; printed as null when it is no finite number. */
        const char* string; /**< `CONF_JSON_TYPE_STRING`: UTF-8, copied; null fails. */
        bool boolean;       /**< `CONF_JSON_TYPE_BOOL`; only its first byte is read. */
    };
};

static_assert(sizeof(ConfJsonItem) == 24, "item layout is part of the interface");
static_assert(offsetof(ConfJsonItem, key) == 8, "item layout is part of the interface");
static_assert(offsetof(ConfJsonItem, number) == 16, "item layout is part of the interface");

TARN_EXPORT_BEGIN

/**
 * @brief Parses a NUL-terminated text.
 * @param text  NUL-terminated JSON.
 * @return a tree that the caller owns; null for null or for what is no JSON.
 */
cJSON* ConfJsonParse(const char* text);

/**
 * @brief Member object `key` of `root`.
 * @param root  An object.
 * @param key   Member name.
 * @return null for null, a root that is no object, and a member that is none.
 */
cJSON* ConfJsonGetObject(cJSON* root, const char* key);

/**
 * @brief Number of elements.
 * @param array  An array.
 * @return the number; 0 for null and for what is no array, without a record in the log.
 */
int ConfJsonGetArraySize(cJSON* array);

/**
 * @brief Member array `key` of `root`.
 * @param root  An object.
 * @param key   Member name.
 * @return null for null, a root that is no object, and a member that is no array.
 */
cJSON* ConfJsonGetArray(cJSON* root, const char* key);

/**
 * @brief Member `key` of `root`, of any type.
 * @param root  An object.
 * @param key   Member name.
 * @return null for null, a root that is no object, or no such member.
 */
cJSON* ConfJsonFindItem(cJSON* root, const char* key);

/**
 * @brief Element `index`, from 0.
 * @param array  An array.
 * @param index  From 0.
 * @return null for null, for what is no array, or beyond its end.
 */
cJSON* ConfJsonGetArrayItem(cJSON* array, unsigned int index);

/**
 * @brief Whether `root` has a member `key`. Unlike all other look-ups this one ignores ASCII case.
 * @param root  An object.
 * @param key   Member name.
 * @return true when there is one; false for null.
 */
bool ConfJsonIsMember(cJSON* root, const char* key);

/**
 * @brief Bool member `key` of `root`.
 * @param root          An object.
 * @param key           Member name; null gives the default.
 * @param defaultValue  Returned when there is no such bool.
 * @return the value, or the default.
 */
bool ConfJsonGetBool(cJSON* root, const char* key, bool defaultValue);

/**
 * @brief Number member `key` of `root`, cut towards zero to an int.
 * @param root          An object.
 * @param key           Member name; null gives the default.
 * @param defaultValue  Returned when there is no such number or the cut number is no int: 2147483647.9 gives
 *                      2147483647, 2147483648 the default.
 * @return the number, or the default.
 */
int ConfJsonGetInt(cJSON* root, const char* key, int defaultValue);

/**
 * @brief As `ConfJsonGetInt`, for 0 to 4294967295: -0.5 gives 0, -1 the default.
 * @param root          An object.
 * @param key           Member name.
 * @param defaultValue  Returned when there is no such number or it is out of range.
 * @return the number, or the default.
 */
unsigned int ConfJsonGetUInt32(cJSON* root, const char* key, unsigned int defaultValue);

/**
 * @brief As `ConfJsonGetInt`, for 0 to 2 to the 64th, which gives 0. JSON numbers are doubles here: above 2 to the 53rd
 *        not every whole number can be told from its neighbours.
 * @param root          An object.
 * @param key           Member name.
 * @param defaultValue  Returned when there is no such number or it is out of range.
 * @return the number, or the default.
 */
unsigned long ConfJsonGetUInt64(cJSON* root, const char* key, unsigned long defaultValue);

/**
 * @brief String member `key` of `root`, in UTF-8, copied.
 * @param root          An object.
 * @param key           Member name.
 * @param defaultValue  Returned when there is no such string, and for want of memory.
 * @return the string, or the default.
 */
std::string ConfJsonGetString(cJSON* root, const char* key, std::string defaultValue);

/**
 * @brief Adds members to an object, in order.
 * @param object  Receives them; a name that it has already is added again.
 * @param items   The members; may not be null, even for a count of 0.
 * @param count   Number of items.
 * @return 0; 1 for null, or at the first item that cannot be added: those before it stay.
 */
uint32_t ConfJsonAddMultipleItems(cJSON* object, const ConfJsonItem* items, unsigned int count);

/**
 * @brief Adds members to member `name` of an object, which is made when missing.
 * @param root   An object.
 * @param name   The member's name.
 * @param items  The members; may not be null, even for a count of 0.
 * @param count  Number of items.
 * @return 0; 1 for null, when an item cannot be added (those before it stay), and when `root` has the name in another
 *         letter case only. What an existing member is, is not checked.
 */
uint32_t ConfJsonAddMultipleItemsToSubObject(cJSON* root, const char* name, const ConfJsonItem* items,
                                             unsigned int count);

/**
 * @brief Overwrites every character with '*', so that a secret does not stay in memory; the length stays.
 * @param text  The secret.
 */
void ConfJsonClearStr(std::string& text);

/**
 * @brief Replaces the first `from` in `text` by `to`; null, no `from` and want of memory leave it unchanged.
 * @param text  Where to replace.
 * @param from  What to look for.
 * @param to    What to put in its place.
 */
void ConfJsonReplaceStr(std::string& text, const char* from, const char* to);

/**
 * @brief Prints an object with one number, formatted.
 * @param out    Receives the text; unchanged on failure.
 * @param key    Member name.
 * @param value  The number.
 * @return 0; 1 for a null key and for want of memory.
 */
uint32_t ConfJsonCreateAndPrintSingleNumber(std::string& out, const char* key, double value);

/**
 * @brief As `ConfJsonCreateAndPrintSingleNumber`, with a string.
 * @param out    Receives the text; unchanged on failure.
 * @param key    Member name.
 * @param value  The string, UTF-8.
 * @return 0; 1 for a null key or value and for want of memory.
 */
uint32_t ConfJsonCreateAndPrintSingleString(std::string& out, const char* key, const char* value);

/**
 * @brief As `ConfJsonCreateAndPrintSingleNumber`, with several members; none give {}.
 * @param out    Receives the text; unchanged on failure.
 * @param items  As `ConfJsonAddMultipleItems` takes them.
 * @param count  Number of items.
 * @return 0; 1 for null, for an item that cannot be added, and for want of memory.
 */
uint32_t ConfJsonCreateAndPrintMultipleItems(std::string& out, const ConfJsonItem* items, unsigned int count);

TARN_EXPORT_END

#endif
