/**
 * @file host_key.h
 * @brief How the host platform encrypts values, and the way back for tools and tests.
 *
 * `TarnOmKeymEncrypt` (`tarn_platform/om_key.h`) encrypts with AES-256 in GCM mode (NIST SP 800-38D) under a random
 * 96-bit nonce. Its text is "TK1:" and, in base64 (RFC 4648), the nonce, the ciphertext and the 128-bit tag; the
 * owner's name is authenticated with it, so that another owner's text does not decrypt. Values of up to 200 bytes fit.
 *
 * The key is "TARN_HOST_DIR/keys/value.key": 32 random bytes, mode 0600, made on first use; processes that need it at
 * the same time agree on one. A file of another size, or one that others may read or that another user owns, is refused
 * with a line on standard error. Without that file the encrypted values are lost.
 *
 * Codes of both calls are 0 or an errno: EINVAL for a null argument, EMSGSIZE for a value that does not fit, EBADMSG
 * for a text that this key and owner did not make, one that is too long among them, EPERM or EBADMSG for a key file
 * that is refused, ENOMEM, or the system's own error. Nothing is written to the output unless 0. Both may be called
 * from any thread.
 */
#ifndef TARN_HOST_HOST_KEY_H
#define TARN_HOST_HOST_KEY_H

#include "tarn_platform/om_key.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Decrypts a text of `TarnOmKeymEncrypt`.
 * @param owner        The owner's name as given then.
 * @param text         NUL-terminated text.
 * @param plain        Receives the value and a NUL behind it.
 * @param plainBytes   Bytes at `plain`; one more than the value has is needed.
 * @param plainLength  Receives the value's length without the NUL.
 * @return 0 or a code as told above.
 */
uint32_t TarnHostKeyDecrypt(const char* owner, const char* text, char* plain, uint32_t plainBytes,
                            uint32_t* plainLength);

TARN_EXTERN_C_END

#endif
