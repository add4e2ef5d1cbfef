/**
 * @file conf_cert.h
 * @brief The device's certificates: service certificates by type, CA and CRL directories, the trust store, changes.
 *
 * Certificates belong to the device's certificate service; kept here are the id of each type's certificate, which names
 * its key to a keyless engine, and the trust store: a directory of copies of the CA and CRL files, the CA files under
 * their OpenSSL subject-hash names. Both follow the service's change events.
 *
 * Types are 0 to 3. Types 2 and 3 come with a second, key part.
 *
 * `ConfCertInit` comes first. Every function may be called from any thread.
 */
#ifndef TARN_CONFERENCE_CONF_CERT_H
#define TARN_CONFERENCE_CONF_CERT_H

#include "tarn_platform/om_certificate.h"
#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Result for a missing argument and for a path query that the service refused. */
#define CONF_CERT_FAILED 0xFFFFFFFFU
/** Bytes of every path, its NUL included. */
#define CONF_CERT_PATH_LEN 512U
/** Most files that `ConfCertGetCaCertList` lists. */
#define CONF_CERT_MAX_CA_FILES 30U
/** Largest service certificate in bytes. */
#define CONF_CERT_MAX_BYTES 1048576U

/** What a process needs to load a service certificate itself. */
typedef struct ConfCertGmSrvCertInfo {
    char certPath[CONF_CERT_PATH_LEN]; /**< The certificate. */
    char keyPath[CONF_CERT_PATH_LEN];  /**< Its key. */
    char keyPassword[128];             /**< Empty for a key without a pass phrase. */
} ConfCertGmSrvCertInfo;

static_assert(sizeof(ConfCertGmSrvCertInfo) == 1152, "record size is part of the interface");
static_assert(offsetof(ConfCertGmSrvCertInfo, keyPath) == 512, "record layout is part of the interface");
static_assert(offsetof(ConfCertGmSrvCertInfo, keyPassword) == 1024, "record layout is part of the interface");

/** One file of the CA list. */
typedef struct ConfCaCertEntry {
    char path[CONF_CERT_PATH_LEN]; /**< The file. */
    uint32_t fileType;             /**< Always 1, PEM (RFC 7468). */
} ConfCaCertEntry;

static_assert(sizeof(ConfCaCertEntry) == 516, "entry size is part of the interface");
static_assert(offsetof(ConfCaCertEntry, fileType) == 512, "entry layout is part of the interface");

/**
 * @brief Connects to the certificate service, reads the ids of all four types and builds the trust store.
 * @param arg  Passed on to `TarnOmCertClientInit`.
 *
 * What fails is logged, but for a refused registration for events, and does not stop the rest. Call it once, before any
 * TLS context is built. Change events may arrive, on the service's thread, before this returns.
 */
void ConfCertInit(void* arg);

/**
 * @brief Fetches a service certificate into new buffers.
 * @param type  0 to 3.
 * @param out   Zeroed by the caller. On success its buffers are the caller's, released with `ClearAndFreeBuff`; after a
 *              failure there is nothing to release and the record must not be read.
 * @return 0; 1 for a null `out`, an unknown type, a certificate of 0 or more than `CONF_CERT_MAX_BYTES` bytes, when
 *         memory is out, and when the service refuses.
 */
uint32_t ConfCertGetCertSizeAndInfo(uint32_t type, ConfCertServiceCert* out);

/**
 * @brief Releases the buffers of `ConfCertGetCertSizeAndInfo` and clears their pointers.
 * @param cert  The record; null is logged.
 * @param type  The type that was fetched: the key part is released for 2 and 3 only. It is not wiped: whoever has read
 *              a key wipes it first (`OPENSSL_cleanse`).
 */
void ClearAndFreeBuff(ConfCertServiceCert* cert, int32_t type);

/**
 * @brief Path of a type's certificate file.
 * @param type    0 to 3.
 * @param buf     Receives the path, NUL-terminated.
 * @param bufLen  Bytes at `buf`.
 * @return 0; `CONF_CERT_FAILED` for a null `buf` and when the service refuses; 1 when `buf` is too small.
 */
uint32_t ConfCertGetSrvCertFilePath(uint32_t type, char* buf, uint32_t bufLen);

/**
 * @brief The directory of CA files, without a trailing slash.
 * @param buf     Receives the path, NUL-terminated.
 * @param bufLen  Bytes at `buf`.
 * @return 0; `CONF_CERT_FAILED` for a null `buf` and when the service refuses; 1 when `buf` is too small.
 */
uint32_t ConfCertGetCaPath(char* buf, uint32_t bufLen);

/**
 * @brief The directory of revocation lists, without a trailing slash.
 * @param buf     Receives the path, NUL-terminated.
 * @param bufLen  Bytes at `buf`.
 * @return as `ConfCertGetCaPath`.
 */
uint32_t ConfCertGetCrlPath(char* buf, uint32_t bufLen);

/**
 * @brief The trust-store directory, with a trailing slash; empty before `ConfCertInit`.
 * @param buf  Receives `CONF_CERT_PATH_LEN` bytes. A null one is logged.
 */
void ConfCertGetAddrCaPath(char* buf);

/**
 * @brief Paths and pass phrase of a type, for a process that loads them itself.
 * @param type  0 to 3.
 * @param out   Receives them; cleanse it after use.
 * @return 0; `CONF_CERT_FAILED` for a null `out` and when the service refuses; 1 when a copy fails (the fields before
 *         it are then filled).
 */
uint32_t ConfCertGetGmSrvCertInfo(uint32_t type, ConfCertGmSrvCertInfo* out);

/**
 * @brief Lists the files of the CA directory whose names end in "pem" in any case, in the directory's order.
 * @param list   Room for `CONF_CERT_MAX_CA_FILES` entries; further files are left out. A path that does not fit is
 *               listed as an empty one.
 * @param count  Receives the number of entries; may be null.
 * @return 0; `CONF_CERT_FAILED` for a null `list` and when the directory cannot be read.
 */
uint32_t ConfCertGetCaCertList(ConfCaCertEntry* list, uint32_t* count);

/**
 * @brief Registers the callback for changed service certificates, in place of an earlier one.
 * @param cb  Called with 0 for type 0, and with 1 for types 2 and 3, whenever the id of their certificate was read: by
 *            `ConfCertInit`, on its caller's thread, and after each change, on the service's. Null takes the callback
 *            away.
 *
 * When type 0 was read while no callback was registered, at the start too, `cb(0)` is called once, from inside this
 * call.
 */
void ConfCertNotifyCallback(void (*cb)(uint32_t change));

/**
 * @brief Registers the callback for a changed CA set, in place of an earlier one.
 * @param cb  Called on the service's thread when the trust store has been rebuilt for changed CA files; not at the
 *            start, not for revocation lists, and never on a device with fixed paths (`CallServiceIsForbiddenKitCap`).
 *            Null takes the callback away.
 */
void ConfCertUpdateNotifyCallback(void (*cb)(void));

/**
 * @brief Handles an event of the certificate service; `ConfCertInit` registers it there.
 * @param msgId       `OM_CERT_EVENT_...`; any other does nothing.
 * @param omCertType  The service's number of the changed type; for `OM_CERT_EVENT_SERVICE` only.
 */
void ConfOmCertCallback(uint32_t msgId, uint32_t omCertType);

TARN_EXTERN_C_END

#endif
