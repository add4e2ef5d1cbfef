/**
 * @file conf_tls.h
 * @brief Fills OpenSSL contexts from the device: service certificate and key, CA files, revocation lists.
 *
 * For each context: `ConfLoadServerCert`; `ConfCertGetCaCertList` and `ConfCertLoadAllCaCert`; and
 * `ConfAddCancelCrlToSslctx` when revoked certificates are to be refused. `ConfCertInit` comes before all of them.
 *
 * A context belongs to the caller and is used by one thread at a time here; several contexts may be filled at once.
 * After a failure a context may be filled in part: discard it. OpenSSL's error queue then tells more.
 */
#ifndef TARN_CONFERENCE_CONF_TLS_H
#define TARN_CONFERENCE_CONF_TLS_H

#include <openssl/types.h>

#include "tarn_conference/conf_cert.h"
#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Loads the certificate chain and the private key of a type.
 * @param ctx   The context.
 * @param type  0 to 3.
 * @return 0, or `CONF_CERT_FAILED`.
 *
 * Whether the key is read from its file or held by the engine "openssl_engine", which knows it by the certificate's id,
 * is the device's choice for each type. The engine is loaded at first need and stays for the life of the process; each
 * attempt to load it that fails keeps a handle of OpenSSL. A key file that is encrypted while the service tells no pass
 * phrase makes OpenSSL ask at the terminal, unless the context has a pass phrase or a pass-phrase callback of its own.
 */
uint32_t ConfLoadServerCert(SSL_CTX* ctx, uint32_t type);

/**
 * @brief Adds one CA file to those that a context trusts. A file that cannot be loaded is logged.
 * @param ctx       The context.
 * @param path      The file.
 * @param fileType  Its format; 1 is PEM.
 */
void ConfCertLoadOneCaCert(SSL_CTX* ctx, const char* path, uint32_t fileType);

/**
 * @brief Adds CA files to those that a context trusts.
 * @param ctx    The context.
 * @param list   The files, as `ConfCertGetCaCertList` lists them.
 * @param count  Their number.
 * @return 0, or `CONF_CERT_FAILED` for a null `list`. A file that cannot be loaded is logged and left out.
 */
uint32_t ConfCertLoadAllCaCert(SSL_CTX* ctx, ConfCaCertEntry* list, uint32_t count);

/**
 * @brief Adds the device's revocation lists (RFC 5280) to a context and has it check whole chains against them.
 * @param ctx  The context.
 * @return 0, also when some of the lists cannot be loaded, which is logged, and when the service does not tell the
 *         directory: the root directory is looked through then, as a rule without finding a list, and nothing is
 *         checked for revocation. 1 for a null `ctx` or when the directory cannot be opened. Ask `ConfCertGetCrlPath`
 *         first where that matters.
 *
 * Taken are files whose names hold ".pem" or ".crl", and "crl" (or either of them in capitals). From the first list on
 * a context refuses what OpenSSL refuses, but for two things: a chain whose issuer has no list passes, and so does a
 * peer certificate that is self-signed. `SSL_get_verify_result` tells of the second only when no list is missing: a
 * missing one makes it `X509_V_OK`. The exceptions are the store's verify callback: a callback given to
 * `SSL_CTX_set_verify` takes its place.
 *
 * Each list that a context takes stays in memory to the end of the process, for every context anew: build contexts
 * seldom.
 */
uint32_t ConfAddCancelCrlToSslctx(SSL_CTX* ctx);

TARN_EXTERN_C_END

#endif
