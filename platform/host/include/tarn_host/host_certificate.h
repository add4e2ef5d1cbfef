/**
 * @file host_certificate.h
 * @brief How the host platform keeps certificates, and the calls for tools that administer them.
 *
 * Files, all below "TARN_HOST_DIR/cert":
 *
 * | path | what |
 * |---|---|
 * | service/0x107/ | the service certificate of OM type 0x107; 0x109, 0x103 and 0x104 alike |
 * | service/0x107/cert.pem | the certificate, then its chain (PEM, RFC 7468) |
 * | service/0x107/key.pem | its private key (PEM, mode 0600), encrypted or not |
 * | service/0x107/key.pass | the pass phrase of an encrypted key: one line of up to 63 bytes, mode 0600 |
 * | service/0x107/keyless | when it exists, the type is keyless: processes sign through the engine and get no key |
 * | ca/ | one trusted CA certificate a file, *.pem |
 * | crl/ | one certificate revocation list a file, crl-*.pem |
 *
 * The calls below put whole files and whole service folders in place by renaming, so that a reader finds the old state
 * or the new one; the file system must be able to exchange two folders (RENAME_EXCHANGE of renameat2(2): ext4, xfs,
 * btrfs, tmpfs, overlayfs). Who opens a certificate and its key by their paths, one after the other, can meet an
 * installation between the two, and finds that they do not match; the event follows. Files may be put there by hand as
 * well. A key or pass phrase that other users can read is refused with a line on standard error.
 *
 * Events. `TarnOmCertClientInit`, or the registration of a callback, starts one thread a process, which sees every
 * change in these folders (inotify(7)), also their removal and re-creation, and calls the callback once a change is
 * over: when nothing happened in that folder for 80 ms, and each second while it does not end. A change may be told
 * that turns out to be none. Changes while no callback is registered are not kept. `TarnOmCertNotifyCallback` replaces
 * the callback, null removes it; the one before is not running any more when it returns, unless it is the caller, so
 * the caller must hold no lock that the callback takes. The callback may call everything here and may fork: a forked
 * child starts without thread and callback, and is ended when it returns from the callback.
 *
 * Keyless. The id of a certificate is the SHA-256 (FIPS 180-4) of its DER form in 64 lower-case hexadecimal digits.
 * `TarnOmCertClientInit` registers an OpenSSL engine "openssl_engine", unless the process has one of that id, that
 * loads the key of a keyless type by this id. The same engine is built as a shared object, tarn_openssl_engine.so, for
 * programs that load it through OpenSSL's "dynamic" engine.
 *
 * Results of the contract's calls and of those below are 0 or an errno: EINVAL for a null argument, an unknown OM type
 * or a wrong query; ENOENT for what is not installed; EFBIG for a file that is larger than the caller has room for or
 * than is sensible; EAGAIN for a file that is being written; EPERM for a key or pass phrase that other users can read;
 * EBADMSG for content that is no certificate, key or list; EMSGSIZE for an id buffer that is too short; ENOMEM; or the
 * system's own error. Nothing is written to the caller's memory unless 0. A path query for a service certificate that
 * is not installed succeeds with empty paths. All may be called from any thread.
 */
#ifndef TARN_HOST_HOST_CERTIFICATE_H
#define TARN_HOST_HOST_CERTIFICATE_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** A service certificate to install. */
typedef struct TarnHostCertInstallation {
    /** 0x107, 0x109, 0x103 or 0x104. */
    uint32_t omType;
    /** Non-zero: the key is for the engine only. */
    uint32_t isKeyless;
    /** PEM: the certificate, then its chain. Up to 1 MiB. */
    const void* certificate;
    uint32_t certificateBytes; /**< Bytes at `certificate`. */
    uint32_t keyBytes;         /**< Bytes at `key`. */
    /** PEM: its private key, encrypted or not. Up to 64 KiB. */
    const void* key;
    /** Of the key, up to 63 bytes without line ends; null or empty when it is not encrypted. */
    const char* passPhrase;
} TarnHostCertInstallation;

/** A kind of `TarnHostCertFacts`: a service certificate. */
#define TARN_HOST_CERT_SERVICE 0U
/** The same: a trusted CA certificate. */
#define TARN_HOST_CERT_CA 1U
/** The same: a revocation list. */
#define TARN_HOST_CERT_CRL 2U

/** What is known of a file. Texts are NUL-terminated UTF-8, cut where they do not fit. */
typedef struct TarnHostCertFacts {
    /** `TARN_HOST_CERT_...` */
    uint32_t kind;
    /** Of a service certificate, else 0. */
    uint32_t omType;
    /** Not 0: why the file cannot be read, as an errno; only kind, type and name hold then. */
    uint32_t error;
    /**
     * Of a service certificate: 0 when its key is there and its own. Otherwise ENOENT, EPERM, EBADMSG, ENOKEY (the pass
     * phrase is missing or does not open it), EKEYREJECTED (it is another certificate's), or the system's own error.
     */
    uint32_t keyError;
    /** Of a service certificate: 0 or 1. */
    uint32_t isKeyless;
    uint32_t reserved; /**< 0. */
    /** Seconds since 1970, UTC; of a revocation list, its issue. */
    int64_t notBefore;
    /** The same; of a revocation list, when the next is due, or 0. */
    int64_t notAfter;
    /** File name below "ca" or "crl"; folder name of a service certificate. */
    char name[256];
    /** RFC 4514; empty for a revocation list. */
    char subject[512];
    char issuer[512]; /**< RFC 4514. */
    /** "RSA 2048", "EC prime256v1", "ED25519"; empty for a revocation list. */
    char keyType[32];
    /** By which OpenSSL finds it in a hashed directory: "1a2b3c4d.0", of a revocation list "1a2b3c4d.r0". */
    char hashName[16];
    /** The certificate's id; empty for a revocation list. */
    char id[80];
} TarnHostCertFacts;

static_assert(sizeof(TarnHostCertFacts) == 24 + 16 + 256 + 512 + 512 + 32 + 16 + 80,
              "the record is shared with the tools");

/**
 * @brief Installs a service certificate in place of the one before.
 * @param installation  What to install; copied.
 * @return 0 or a code as told above; ENOKEY when the pass phrase does not open the key; EKEYREJECTED when the key is
 *         not the first certificate's. Nothing is changed unless 0 or an error of bringing it to the disk, which comes
 *         when the new certificate is in its place.
 */
uint32_t TarnHostCertInstall(const TarnHostCertInstallation* installation);

/**
 * @brief Removes a service certificate with its key.
 * @param omType  0x107, 0x109, 0x103 or 0x104.
 * @return 0 or a code as told above.
 */
uint32_t TarnHostCertUninstall(uint32_t omType);

/**
 * @brief Adds every certificate of a PEM text to the trusted CAs, each in a file "ca-HASH-ID.pem" of its own.
 * @param pem    The text.
 * @param bytes  Its length.
 * @param count  Receives how many certificates it has, the same one twice counted twice; may be null.
 * @return 0 or a code as told above. After a failure of the disk some of the files may be there.
 */
uint32_t TarnHostCertAddCa(const void* pem, uint32_t bytes, uint32_t* count);

/**
 * @brief Removes a file below "ca".
 * @param name  File name, as `TarnHostCertList` tells it.
 * @return 0 or a code as told above; EINVAL for a name with a slash.
 */
uint32_t TarnHostCertRemoveCa(const char* name);

/**
 * @brief Adds every revocation list of a PEM text, each in a file "crl-HASH-ISSUER.pem" of its own in place of the same
 *        issuer's list before.
 * @param pem    The text.
 * @param bytes  Its length.
 * @param count  Receives how many lists it has; may be null.
 * @return 0 or a code as told above. After a failure of the disk some of the files may be there.
 */
uint32_t TarnHostCertAddCrl(const void* pem, uint32_t bytes, uint32_t* count);

/**
 * @brief Removes a file below "crl".
 * @param name  File name, as `TarnHostCertList` tells it.
 * @return 0 or a code as told above; EINVAL for a name with a slash.
 */
uint32_t TarnHostCertRemoveCrl(const char* name);

/**
 * @brief Tells the facts of every service certificate, CA and revocation list, in this order, each folder's by name.
 * @param visit    Called for each; the facts hold during the call.
 * @param context  Handed to it.
 * @return 0 or a code as told above.
 */
uint32_t TarnHostCertList(void (*visit)(const TarnHostCertFacts* facts, void* context), void* context);

TARN_EXTERN_C_END

#endif
