/**
 * @file conf_digest.h
 * @brief Message digests, named by number.
 *
 * | id | algorithm                   | bytes |
 * |----|-----------------------------|-------|
 * | 0  | SHA-1 (FIPS 180-4)          | 20    |
 * | 1  | SHA-256 (FIPS 180-4)        | 32    |
 * | 2  | MD5 (RFC 1321)              | 16    |
 * | 3  | SM3 (GB/T 32905)            | 32    |
 *
 * Only the low 16 bits of an id count: 65537 is SHA-256 too. Any other id fails, as does SM3 where OpenSSL lacks it.
 * Unlike elsewhere, 1 is success and 0 is failure; nothing is logged. Any thread may call any function; one context
 * belongs to one thread at a time.
 *
 * A caller that hashes often uses the streaming calls: every successful `ZOR_CRYPT_digest` keeps memory for good.
 */
#ifndef TARN_CONFERENCE_CONF_DIGEST_H
#define TARN_CONFERENCE_CONF_DIGEST_H

#include <openssl/types.h>

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

enum { ZOR_CRYPT_DIGEST_SHA1 = 0, ZOR_CRYPT_DIGEST_SHA256 = 1, ZOR_CRYPT_DIGEST_MD5 = 2, ZOR_CRYPT_DIGEST_SM3 = 3 };

/**
 * @brief OpenSSL's digest of an id, owned by OpenSSL.
 * @param id  Algorithm.
 * @return it; null for an unknown id.
 */
const EVP_MD* get_evp_md_by_id_conf(uint16_t id);

/**
 * @brief Hashes a buffer in one call.
 * @param id            Algorithm.
 * @param data          The bytes; may be null when `length` is 0.
 * @param length        Bytes at `data`.
 * @param digest        Receives the digest; has room for all of it (32 bytes are enough for any).
 * @param digestLength  Receives its length in bytes; may be null.
 * @return 1; 0 for an unknown id, a null argument, and when OpenSSL fails.
 *
 * Each successful call keeps one digest context of OpenSSL (about 72 bytes) until the process ends; nothing can release
 * it. Processes were sized with this, and it stays. Use `ZOR_CRYPT_digestInit` and its companions to hash often.
 */
uint32_t ZOR_CRYPT_digest(uint32_t id, const void* data, uint32_t length, unsigned char* digest,
                          uint32_t* digestLength);

/**
 * @brief Begins a digest.
 * @param context  Receives a new context. `ZOR_CRYPT_digestFinal` or a failing update releases it; a caller that ends
 *                 early releases it with `EVP_MD_CTX_free`.
 * @param id       Algorithm.
 * @return 1; 0 for a null `context`, an unknown id or want of memory, `*context` then being untouched, and when the
 *         algorithm cannot be started, `*context` then being null.
 */
uint32_t ZOR_CRYPT_digestInit(EVP_MD_CTX** context, uint32_t id);

/**
 * @brief Adds bytes to a digest.
 * @param context  From `ZOR_CRYPT_digestInit`.
 * @param data     The bytes; may be null when `length` is 0.
 * @param length   Bytes at `data`.
 * @return 1, or 0. After 0 the context is released: the caller's pointer must not be used any more, not even for
 *         `ZOR_CRYPT_digestFinal`.
 */
uint32_t ZOR_CRYPT_digestUpdate(EVP_MD_CTX* context, const void* data, uint32_t length);

/**
 * @brief Ends a digest and releases its context.
 * @param context       The context's variable; null afterwards, whatever the result.
 * @param digest        Receives the digest; has room for all of it.
 * @param digestLength  Receives its length in bytes; may be null.
 * @return 1; 0 for a null argument or context (nothing is written), and when OpenSSL fails.
 */
uint32_t ZOR_CRYPT_digestFinal(EVP_MD_CTX** context, unsigned char* digest, uint32_t* digestLength);

TARN_EXTERN_C_END

#endif
