/**
 * @file conf_config.h
 * @brief The conference configuration: keys bound to program variables, kept in step with the configuration service.
 *
 * Start with `ConfConfigInit`, whose function binds the keys; then `ConfConfigInitOmCfg` loads the variables. Changes
 * that others make come as one call of each callback concerned, with its items only; the variables are not written by
 * that: a callback applies what it wants, as a rule with `ConfConfigSetList`.
 *
 * Keys compare without ASCII case. There is no lock: keys are bound inside `ConfConfigInit`, callbacks run on the
 * service's thread, and a program that sets values from several threads serialises that itself. Functions that do not
 * touch the bound variables (`ConfConfigGetConfConfig`, `ConfConfigSetConfConfig`, the single integer calls) may be
 * called from any thread.
 *
 * The values of nine keys never reach the log: "Conf.SIPCallParam.sipPwd", "Conf.H323CallParam.gkPwd",
 * "Conf.SIPCallParam.sipServerAddr", "Conf.H323CallParam.gkAddr", "Conf.H323CallParam.vgAddr",
 * "Conf.FireWallParam.NatAddr", "Conf.ServerParam.addr", "Conf.ConfParam.DataConfRVXAddr", "Conf.ServerParam.pwd".
 * These are recognised in exactly this case only.
 */
#ifndef TARN_CONFERENCE_CONF_CONFIG_H
#define TARN_CONFERENCE_CONF_CONFIG_H

#include "tarn_conference/conf_config_value.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/om_config.h"
#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Result of a bulk write that the service refused. */
#define CONF_CONFIG_WRITE_REFUSED 10001003U
/** Most items of a bulk read or write. */
#define CONF_CONFIG_MAX_LIST 500U

/** One key and its value, NUL-terminated texts; the unit of all lists. */
typedef struct ConfConfigKeyValue {
    char key[OM_CONFIG_KEY_LEN];     /**< The key. */
    char value[OM_CONFIG_VALUE_LEN]; /**< Its value as text. */
} ConfConfigKeyValue;

static_assert(sizeof(ConfConfigKeyValue) == 1152, "item size is part of the interface");
static_assert(offsetof(ConfConfigKeyValue, value) == 128, "item layout is part of the interface");

/**
 * Told of changes of its keys: once a notification, on the service's thread, with at most 255 items in the
 * notification's order. The items are valid during the call.
 */
typedef void (*ConfConfigChangeCallBack)(ConfConfigKeyValue* items, uint8_t itemCount);

/** Binds the program's keys with `ConfConfigBind`. */
typedef void (*ConfConfigInitFn)(void);

/** Records that wait to be written in one call of the service. */
typedef struct ConfConfigOmBatch {
    uint32_t count;              /**< Records filled. */
    int32_t capacity;            /**< Records there is room for. */
    ConfConfigOmRecord* records; /**< The records. */
} ConfConfigOmBatch;

static_assert(offsetof(ConfConfigOmBatch, capacity) == 4, "batch layout is part of the interface");
static_assert(offsetof(ConfConfigOmBatch, records) == 8, "batch layout is part of the interface");
static_assert(sizeof(ConfConfigOmBatch) == 8 + sizeof(void*), "batch size is part of the interface");

/**
 * @brief Starts the registry: connects to the service, registers for changes, binds the keys.
 * @param initFn  Binds the keys; runs before this returns.
 * @param owner   Name under which the process writes.
 * @param domain  First part of its keys.
 * @return 0; `CONF_CONFIG_FAILED` for a null argument or when memory is out. A service that refuses the connection is
 *         logged, one that refuses the registration for changes is not; neither fails the start.
 *
 * On a registry that is started already the old keys are gone; call `ConfConfigUnInit` first, because a notification
 * that comes meanwhile would look for them. Changes that come before `initFn` has ended are not told, so the values are
 * to be loaded (`ConfConfigInitOmCfg`) after this call, not in `initFn`.
 */
uint32_t ConfConfigInit(ConfConfigInitFn initFn, const char* owner, const char* domain);

/** @brief Connects to the service again, as "TarnUIConf" for "Conf"; the keys stay bound. @return 0 always. */
uint32_t ConfConfigReInit(void);

/**
 * @brief Disconnects from the service's domain "Conf", whichever `ConfConfigInit` named; the keys stay bound.
 * @return 0 always.
 */
uint32_t ConfConfigUnInit(void);

/**
 * @brief Unbinds all keys and frees the registry; the connection to the service stays. Call `ConfConfigUnInit` first
 *        where notifications can come.
 */
void ConfConfigDeInit(void);

/**
 * @brief Binds a key to a variable, or binds it anew.
 * @param key       At most 127 characters; a longer one is logged and not bound. Null does nothing.
 * @param type      A `ConfConfigValueType`. Data (6) stays local: never read from or written to the service.
 * @param data      The variable; must live as long as the registry.
 * @param size      Its width in bytes; for text and data the buffer's bytes.
 * @param callBack  Told of changes; null for none.
 *
 * Does nothing on a registry that is not started. Want of memory is logged.
 */
void ConfConfigBind(const char* key, uint32_t type, void* data, uint32_t size, ConfConfigChangeCallBack callBack);

/**
 * @brief Loads the bound variables from the service. Keys that it does not hold, data, and texts whose buffer has less
 *        than 2 bytes keep their values; a text too long for its buffer empties it. A text that is no number sets a
 *        number to 0 and a bool as `ConfConfigV2Bool` reads it; a variable whose width its type does not have keeps its
 *        value. No callback is called.
 *
 * Callbacks can come meanwhile on the service's thread: hold the lock that guards the variables.
 */
void ConfConfigInitOmCfg(void);

/**
 * @brief Takes a change notification of the service; `ConfConfigInit` registers it there.
 * @param msgId   `OM_CONFIG_MSG_CHANGED`; others are ignored.
 * @param second  Not used.
 * @param third   Not used.
 * @param notify  The changes.
 *
 * At most 200 callbacks and 255 items a callback are served; what goes beyond is dropped and each dropped key logged.
 */
void ConfConfigClientCallBack(uint32_t msgId, uint32_t second, uint32_t third, ConfConfigOmNotify* notify);

/**
 * @brief Queues one value for writing; a full batch is written first.
 * @param key    At most 127 characters.
 * @param value  Types 1 to 5.
 * @param batch  Where to queue it.
 * @return 0, or `CONF_CONFIG_FAILED`; nothing is queued then.
 *
 * When the service refuses the full batch, its records are lost, which is logged and does not change the result.
 */
uint32_t ConfConfigAddOmCfg(const char* key, const ConfConfigValue* value, ConfConfigOmBatch* batch);

/**
 * @brief Writes a batch in one call and empties it, also when the service refuses: it is not tried again.
 * @param batch  The batch; empty afterwards.
 * @return 0; `CONF_CONFIG_FAILED` when refused, and for an empty batch.
 */
uint32_t ConfConfigSyncOmCfg(ConfConfigOmBatch* batch);

/**
 * @brief Applies texts to the bound variables.
 * @param items      Items with an empty key are passed over.
 * @param count      Items at `items`.
 * @param writeBack  Non-zero writes to the service what changed a variable: the item's text as it is given, under the
 *                   key as the item spells it.
 * @return items applied, unchanged variables among them; negated when the writing failed, which a list that changes
 *         nothing counts as. 0 for bad arguments and a registry that is not started.
 */
int32_t ConfConfigSetList(const ConfConfigKeyValue* items, int32_t count, uint8_t writeBack);

/**
 * @brief Writes bound variables to the service.
 * @param keys   Keys; one that ends in '.' stands for all keys that begin with it, an empty one for all. Null entries
 * are passed over, and so are keys that are not bound.
 * @param count  Entries at `keys`.
 * @return 0; `CONF_CONFIG_FAILED` for bad arguments, a registry that is not started, when memory is out, when the last
 *         batch is refused or empty.
 */
uint32_t ConfConfigSyncToOM(const char* const* keys, uint32_t count);

/**
 * @brief `ConfConfigSyncToOM` of one key.
 * @param key  As an entry of that list.
 * @return as `ConfConfigSyncToOM`.
 */
uint32_t ConfConfigSyncByKeyToOM(const char* key);

/**
 * @brief Reads the values of the block's keys from the service, in one call.
 * @param ignored          Not used.
 * @param block            Its data are `ConfConfigKeyValue` items, at most `CONF_CONFIG_MAX_LIST`; their keys are cut
 * at 127 and their values at 1023 characters. Receives an accounted array of items as its result; whoever owns the
 * block frees it with `OSMemTypeFreeMon`. Without items that is a block of length 0, to be freed as well.
 * @param blockBufferSize  Bytes at `block`.
 * @return 0; the service's code; `CONF_CONFIG_FAILED` otherwise, with a result in the block all the same when a copy
 *         failed.
 *
 * Values come as the service holds them, passwords encrypted. Needs up to 600 KB of stack.
 */
uint32_t ConfConfigGetConfConfig(uint32_t ignored, ConfMeetingServerMsgBlock* block, uint32_t blockBufferSize);

/**
 * @brief Writes the block's items to the service, in one call. "Conf.SIPCallParam.sipPwd" and
 *        "Conf.H323CallParam.gkPwd" are stored encrypted, and their values in the block wiped, also when a later item
 *        fails the call. The bound variables are not touched.
 * @param ignored  Not used.
 * @param block    Its data are `ConfConfigKeyValue` items, at most `CONF_CONFIG_MAX_LIST`. Its data length is taken on
 * trust: a handler first sees to it that it was given a whole `ConfMeetingServerMsgBlock`, and that
 * `GetMeetingServerMsgBlockSize` is no more than it was given.
 * @return 0; 1 when a value cannot be encrypted; `CONF_CONFIG_WRITE_REFUSED` when the service refuses;
 *         `CONF_CONFIG_FAILED` otherwise. Nothing is written unless 0.
 *
 * Needs up to 600 KB of stack.
 */
uint32_t ConfConfigSetConfConfig(uint32_t ignored, ConfMeetingServerMsgBlock* block);

/**
 * @brief Writes a number straight to the service.
 * @param key    At most 127 characters.
 * @param value  The number, stored in decimal.
 * @return 0, or 1 for a failure, which is logged.
 */
uint32_t ConfConfigSetIntValue(const char* key, int32_t value);

/**
 * @brief Reads a number straight from the service: decimal, hexadecimal behind "0x", octal behind "0" (strtol).
 * @param key  At most 127 characters.
 * @return the number; 1 for a failure, so that a stored 1 and a failure look alike.
 */
int32_t ConfConfigGetIntValue(const char* key);

/**
 * @brief Writes a number straight to the service.
 * @param key    At most 127 characters.
 * @param value  The number, stored in decimal.
 * @return 0, or 1 for a failure, which is logged.
 */
uint32_t ConfConfigSetUint64Value(const char* key, uint64_t value);

/**
 * @brief Reads a number straight from the service, as strtoull does in base 0; a text that is none reads as 0.
 * @param key     The key.
 * @param result  Receives the number; untouched after a failure.
 * @return 0, or 1 for a failure.
 */
uint32_t ConfConfigGetUint64Value(const char* key, uint64_t* result);

TARN_EXTERN_C_END

#endif
