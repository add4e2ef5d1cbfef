/**
 * @file om_certificate.h
 * @brief The certificate client: service certificates, CA and CRL directories, change events.
 */
#ifndef TARN_PLATFORM_OM_CERTIFICATE_H
#define TARN_PLATFORM_OM_CERTIFICATE_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

#define OM_CERT_PATH_LEN 512    /**< Bytes of a path, its NUL included. */
#define OM_CERT_PASSWORD_LEN 64 /**< Bytes of a pass phrase, its NUL included. */
#define OM_CERT_ID_LEN 256      /**< Largest certificate id in bytes. */

/** A kind of `ConfCertPathQuery`: the files of a service certificate. */
#define OM_CERT_PATH_SERVICE 0U
/** The same: the directory of CA files. */
#define OM_CERT_PATH_CA_DIRECTORY 1U
/** The same: the directory of revocation lists. */
#define OM_CERT_PATH_CRL_DIRECTORY 2U

/** An event of the notification callback: a service certificate changed. */
#define OM_CERT_EVENT_SERVICE 0U
/** The same: the CA files changed. */
#define OM_CERT_EVENT_CA 1U
/** The same: the revocation lists changed. */
#define OM_CERT_EVENT_CRL 3U

/** A service certificate; the buffers are the caller's, their capacities known from `ConfCertSizeInfo`. */
typedef struct ConfCertServiceCert {
    uint8_t* certData; /**< The certificate. */
    uint32_t certLen;  /**< In: bytes expected; out: bytes written. */
    uint8_t* keyData;  /**< Null for types without a second part. */
    uint32_t keyLen;   /**< As `certLen`, of the second part. */
} ConfCertServiceCert;

static_assert(sizeof(ConfCertServiceCert) == 32, "certificate record size is part of the contract");
static_assert(offsetof(ConfCertServiceCert, certLen) == 8, "certificate record layout is part of the contract");
static_assert(offsetof(ConfCertServiceCert, keyData) == 16, "certificate record layout is part of the contract");
static_assert(offsetof(ConfCertServiceCert, keyLen) == 24, "certificate record layout is part of the contract");

/** Sizes of a service certificate's parts in bytes. */
typedef struct ConfCertSizeInfo {
    uint32_t certSize; /**< The certificate. */
    uint32_t keySize;  /**< The second part. */
    uint32_t reserved; /**< Kept for the platform. */
} ConfCertSizeInfo;

static_assert(sizeof(ConfCertSizeInfo) == 12, "size record is part of the contract");

/** Bytes with their length; as output the length goes in as the capacity. */
typedef struct ConfCertBlob {
    uint8_t* data;   /**< The bytes. */
    uint32_t length; /**< Their number. */
} ConfCertBlob;

static_assert(sizeof(ConfCertBlob) == 16, "blob size is part of the contract");

/*
 * The OM certificate types that the library asks for:
 *
 *     OM type   byte of TarnOmCertGetCapability   comes with a key part
 *     0x107     6                                 no
 *     0x109     8                                 no
 *     0x103     2                                 yes
 *     0x104     3                                 yes
 */

/** Which path is asked for. */
typedef struct ConfCertPathQuery {
    uint32_t kind;     /**< `OM_CERT_PATH_...`. */
    uint32_t constant; /**< Always 2. */
    uint32_t omType;   /**< OM certificate type; 0 for the directory kinds. */
} ConfCertPathQuery;

static_assert(sizeof(ConfCertPathQuery) == 12, "path query size is part of the contract");

/** The answer to a path query. */
typedef struct ConfCertPathInfo {
    char certPath[OM_CERT_PATH_LEN]; /**< The certificate, or the directory asked for, without a trailing slash. */
    char keyPath[OM_CERT_PATH_LEN];  /**< The key; of a service certificate only. */
    char keyPassword[OM_CERT_PASSWORD_LEN]; /**< The key's pass phrase; empty without one. */
} ConfCertPathInfo;

static_assert(sizeof(ConfCertPathInfo) == 1088, "path record size is part of the contract");

/**
 * @brief Connects the process to the certificate service.
 * @param arg  The caller's.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmCertClientInit(void* arg);

/**
 * @brief Registers the event callback (`OM_CERT_EVENT_...`).
 * @param callback  Called with the event and, for a service certificate, its OM type, on a thread of the client.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmCertNotifyCallback(void (*callback)(uint32_t msgId, uint32_t omCertType));

/**
 * @brief Tells how large a service certificate is.
 * @param omType  OM certificate type.
 * @param sizes   Filled on success.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmCertGetExpectedSrvCertSize(uint32_t omType, ConfCertSizeInfo* sizes);

/**
 * @brief Reads a service certificate into the caller's buffers.
 * @param omType       OM certificate type.
 * @param certificate  The caller's buffers.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmCertGetServiceCert(uint32_t omType, ConfCertServiceCert* certificate);

/**
 * @brief Computes the id of a certificate, by which a keyless engine finds its key.
 * @param certificate  The certificate.
 * @param id           In: room for it; out: the id. It ends with a NUL inside its length, or all ids are of one length:
 *                     the library keeps what stands behind a shorter one.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmCertGetCertId(const ConfCertBlob* certificate, ConfCertBlob* id);

/**
 * @brief Answers a path query.
 * @param query  What is asked for.
 * @param info   Filled on success.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmCertGetCertPath(ConfCertPathQuery query, ConfCertPathInfo* info);

/**
 * @brief Fills ten bytes, of which the library reads those of the table above; non-zero means keyless.
 * @param ten  Receives ten bytes.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmCertGetCapability(uint8_t* ten);

TARN_EXTERN_C_END

#endif
