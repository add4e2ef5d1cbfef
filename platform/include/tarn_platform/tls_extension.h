/**
 * @file tls_extension.h
 * @brief What the platform's TLS library has beyond OpenSSL.
 */
#ifndef TARN_PLATFORM_TLS_EXTENSION_H
#define TARN_PLATFORM_TLS_EXTENSION_H

#include <openssl/ssl.h>

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Adds the certificates of one CA file to a context's trust store.
 * @param context   The context.
 * @param path      The file.
 * @param fileType  Its format; 1 is PEM.
 * @return 1 on success, as OpenSSL's own loaders.
 */
int SSL_CTX_load_cacertificate_file(SSL_CTX* context, const char* path, uint32_t fileType);

TARN_EXTERN_C_END

#endif
