/**
 * @file host_config.h
 * @brief How the host platform keeps the configuration, and the calls for tools that administer it.
 *
 * The clients' half is `tarn_platform/om_config.h`. All processes of a host directory share the SQLite database
 * "TARN_HOST_DIR/config.db" (mode 0600, write-ahead log); there is no server. A write is on the disk when the call
 * returns, a killed process leaves no half write, and readers neither wait for writers nor hinder them.
 *
 * Keys. 1 to 127 bytes, compared exactly, letter case included: "Conf.a" and "conf.a" are two items. (Whoever binds a
 * key in another case than it is stored in will not find it; whoever writes a protected key in another case does not
 * overwrite the protected one.) Values have 0 to 1023 bytes. Texts are bytes up to the NUL; records whose text has no
 * NUL, or whose length is neither 0 nor the text's, are refused.
 *
 * Changes. A value that is written over the same value is no change. The changes of one write come as one
 * notification, in the order of the records; each registered process gets each write once, its own too, in the order of
 * the commits, on one thread of the client that blocks all signals, starting with the writes after the registration. A
 * domain "Conf" gets the keys that begin with "Conf.". A removed key is notified as an empty value. A process that
 * falls behind the change log by more than 8 MiB, or whose database file is replaced by another, is told so on standard
 * error and gets the present values of all that it missed, in one notification.
 *
 * Inside a callback all calls may be used; `TarnOmConfigUnInit` then does not wait for it.
 *
 * Codes of the configuration calls are 0 or an errno:
 *
 * | code | meaning |
 * |---|---|
 * | EINVAL | null argument; text without an end, empty key, wrong length; more than 65536 records |
 * | EMSGSIZE | `TarnOmConfigcopyStr2Key`, `TarnOmConfigcopyStr2Val`: the text does not fit |
 * | ENOTCONN | no `TarnOmConfigInit` before, or not of this domain |
 * | ENOENT | the key is not held (`TarnOmConfigStringGet`, `TarnHostConfigRemove`) |
 * | EBUSY | another process has the database locked for 2 seconds |
 * | EBADMSG | the file is damaged, or no configuration of this version |
 * | EPERM, ENOTDIR | the host directory cannot be used (`host_process.h`) |
 * | ENOTSUP | the file system has no shared memory for the write-ahead log |
 * | ENOSPC, EACCES, EROFS, EIO, ENOMEM, ... | the system's own error |
 *
 * Trouble with the file is told in one line on standard error when it begins. Records that a failed
 * `TarnOmConfigStringMget` was to fill are unspecified.
 *
 * A forked child starts disconnected; one that is forked inside a callback is ended when it returns from it. A fork
 * waits until no other thread is inside a configuration call. All calls may be made from any thread.
 */
#ifndef TARN_HOST_HOST_CONFIG_H
#define TARN_HOST_HOST_CONFIG_H

#include "tarn_platform/om_config.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Gets one held item.
 * @return 0 to go on; anything else ends the walk.
 *
 * Both texts are valid during the call.
 */
typedef uint32_t (*TarnHostConfigVisitFunc)(const char* key, const char* value, void* argument);

/**
 * @brief Walks over the held items, sorted by key (byte order), as they are at one moment.
 * @param prefix    Only keys that begin with it; empty or null for all.
 * @param visit     Called for each item; may use all calls of this interface.
 * @param argument  Passed through.
 * @return 0, what `visit` ended the walk with, or a code of the table above. Needs no `TarnOmConfigInit`.
 */
uint32_t TarnHostConfigList(const char* prefix, TarnHostConfigVisitFunc visit, void* argument);

/**
 * @brief Removes an item.
 * @param key  Its key.
 * @return 0 or a code of the table above. Needs no `TarnOmConfigInit`.
 */
uint32_t TarnHostConfigRemove(const char* key);

/** A change that a watch is told of. */
typedef struct TarnHostConfigChange {
    const char* key;   /**< NUL-terminated. */
    const char* value; /**< Null when the key was removed. */
} TarnHostConfigChange;

/** Gets the changes of one write, in its order. The array and its texts are valid during the call. */
typedef void (*TarnHostConfigWatchFunc)(const TarnHostConfigChange* changes, uint32_t count, void* argument);

/** A running watch. */
typedef struct TarnHostConfigWatch TarnHostConfigWatch;

/**
 * @brief Follows changes without being a client.
 * @param prefix    Only keys that begin with it; empty or null for all.
 * @param onChange  Called on the client's thread.
 * @param argument  Passed through; must live until the watch is stopped.
 * @param watch     Receives the watch, to be stopped with `TarnHostConfigWatchStop`. Unchanged on failure.
 * @return 0 or a code of the table above. Needs no `TarnOmConfigInit`.
 */
uint32_t TarnHostConfigWatchStart(const char* prefix, TarnHostConfigWatchFunc onChange, void* argument,
                                  TarnHostConfigWatch** watch);

/**
 * @brief Stops a watch and frees it; null does nothing. `onChange` is not called after this returned, unless it is
 *        called by `onChange` itself.
 * @param watch  From `TarnHostConfigWatchStart`.
 */
void TarnHostConfigWatchStop(TarnHostConfigWatch* watch);

TARN_EXTERN_C_END

#endif
