/**
 * @file om_config.h
 * @brief The configuration client: key/value texts kept by the device's configuration service.
 */
#ifndef TARN_PLATFORM_OM_CONFIG_H
#define TARN_PLATFORM_OM_CONFIG_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

#define OM_CONFIG_KEY_LEN 128    /**< Bytes of a key, its NUL included. */
#define OM_CONFIG_VALUE_LEN 1024 /**< Bytes of a value, its NUL included. */

/** Message id of a change notification. */
#define OM_CONFIG_MSG_CHANGED 0x10000U

/** A key of the service. */
typedef struct ConfConfigOmKey {
    char text[OM_CONFIG_KEY_LEN]; /**< NUL-terminated. */
    uint32_t length;              /**< Bytes of `text` without its NUL. */
} ConfConfigOmKey;

/** A value of the service. */
typedef struct ConfConfigOmValue {
    char text[OM_CONFIG_VALUE_LEN]; /**< NUL-terminated. */
    uint32_t length;                /**< Bytes of `text` without its NUL. */
} ConfConfigOmValue;

/** One key and its value, as the service's calls take them. */
typedef struct ConfConfigOmRecord {
    ConfConfigOmKey key;     /**< The key. */
    ConfConfigOmValue value; /**< Its value. */
} ConfConfigOmRecord;

static_assert(sizeof(ConfConfigOmRecord) == 1160, "configuration record size is part of the contract");
static_assert(offsetof(ConfConfigOmRecord, key) == 0, "configuration record layout is part of the contract");
static_assert(offsetof(ConfConfigOmKey, length) == 128, "configuration record layout is part of the contract");
static_assert(offsetof(ConfConfigOmRecord, value) == 132, "configuration record layout is part of the contract");
static_assert(offsetof(ConfConfigOmValue, length) == 1024, "configuration record layout is part of the contract");

/** One changed key. */
typedef struct ConfConfigOmNotifyEntry {
    char key[OM_CONFIG_KEY_LEN]; /**< `keyLength` bytes count; a NUL behind them is not promised. */
    uint8_t keyLength;           /**< Bytes of `key`. */
    ConfConfigOmValue* value;    /**< The new value; `length` bytes count. */
} ConfConfigOmNotifyEntry;

static_assert(offsetof(ConfConfigOmNotifyEntry, keyLength) == 128, "notification layout is part of the contract");
static_assert(offsetof(ConfConfigOmNotifyEntry, value) == 136, "notification layout is part of the contract");

/** A change notification: the changes of one write, in its order. Valid during the callback. */
typedef struct ConfConfigOmNotify {
    uint32_t count;                   /**< Changed keys. */
    ConfConfigOmNotifyEntry* entries; /**< `count` of them. */
} ConfConfigOmNotify;

static_assert(offsetof(ConfConfigOmNotify, entries) == sizeof(void*), "notification layout is part of the contract");

/** Change callback; `msgId` is `OM_CONFIG_MSG_CHANGED` for changes. Runs on a thread of the client. */
typedef void (*OmConfigNotifyFunc)(uint32_t msgId, uint32_t second, uint32_t third, ConfConfigOmNotify* notify);

/**
 * @brief Connects the process to the configuration service.
 * @param flag    0; kept for the platform.
 * @param owner   Name under which the process writes.
 * @param domain  First part of the keys that the process means, "Conf" for instance.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmConfigInit(uint32_t flag, const char* owner, const char* domain);

/**
 * @brief Disconnects the process; no change callback runs after it returned.
 * @param domain  As given to `TarnOmConfigInit`.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmConfigUnInit(const char* domain);

/**
 * @brief Registers the change callback of a domain in place of an earlier one.
 * @param callback  The callback.
 * @param domain    First part of the keys that it is told of.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmConfigNotifyCallback(OmConfigNotifyFunc callback, const char* domain);

/**
 * @brief Reads the value of the record's key into the record.
 * @param record  Its key is given, its value filled.
 * @return 0, or the platform's code for a key not held.
 */
uint32_t TarnOmConfigStringGet(ConfConfigOmRecord* record);

/**
 * @brief Writes one record.
 * @param record  Key and value.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmConfigStringSet(ConfConfigOmRecord record);

/**
 * @brief Reads the values of consecutive records by their keys.
 * @param records  Their keys are given, their values filled.
 * @param count    Number of records.
 * @return 0, or the platform's code. A key that is not held gets an empty value.
 */
uint32_t TarnOmConfigStringMget(ConfConfigOmRecord* records, uint32_t count);

/**
 * @brief Writes consecutive records, all or none.
 * @param records  Keys and values.
 * @param count    Number of records.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmConfigStringMset(ConfConfigOmRecord* records, uint32_t count);

/**
 * @brief Stores a text in a record's key (`ConfConfigOmKey`).
 * @param recordKey  The key.
 * @param text       NUL-terminated text.
 * @return 0, or non-zero for one that does not fit.
 */
uint32_t TarnOmConfigcopyStr2Key(void* recordKey, const char* text);

/**
 * @brief Stores a text in a record's value (`ConfConfigOmValue`).
 * @param recordValue  The value.
 * @param text         NUL-terminated text.
 * @return 0, or non-zero for one that does not fit.
 */
uint32_t TarnOmConfigcopyStr2Val(void* recordValue, const char* text);

/**
 * @brief Renders a signed number into a record's value.
 * @param recordValue  The value (`ConfConfigOmValue`).
 * @param number       The number.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmConfigsetIntValue(void* recordValue, int32_t number);

/**
 * @brief Renders an unsigned number into a record's value.
 * @param recordValue  The value (`ConfConfigOmValue`).
 * @param number       The number.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmConfigsetUintValue(void* recordValue, uint64_t number);

TARN_EXTERN_C_END

#endif
