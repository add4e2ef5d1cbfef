// Revocation lists in a TLS context. From the first list on the context checks whole chains, and two findings are let
// pass: an issuer without a list, and a self-signed peer.
#include <openssl/ssl.h>

#include "base/log.h"
#include "cert/cert_path.h"
#include "tarn_conference/conf_tls.h"

using tarn::detail::DirectoryWalk;
using tarn::detail::nameHolds;
using tarn::detail::OwnedBio;
using tarn::detail::OwnedCrl;
using tarn::detail::PathBuffer;

namespace {

constexpr const char* kLogName = "conf_cert";
constexpr uint32_t kSuccess = 0;
constexpr uint32_t kFailure = 1;

int X509Vericycallback(int ok, X509_STORE_CTX* sctx) {
    switch (X509_STORE_CTX_get_error(sctx)) {
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
            // The code stays until a missing list clears it.
            TARN_LOG(CONF_LOG_WARNING, "X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT");
            return 1;
        case X509_V_ERR_UNABLE_TO_GET_CRL:
            X509_STORE_CTX_set_error(sctx, X509_V_OK);
            TARN_LOG(CONF_LOG_WARNING, "X509_V_ERR_UNABLE_TO_GET_CRL, ignore, clear error");
            return 1;
        default:
            return ok;
    }
}

uint32_t AddCancelCrlToSslctxByFile(SSL_CTX* ctx, const char* path) {
    X509_STORE* const store = SSL_CTX_get_cert_store(ctx);
    if (store == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "store null err");
        return kFailure;
    }
    OwnedBio file = tarn::detail::openFile(path);
    if (file == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "open file failed");
        return kFailure;
    }
    OwnedCrl crl = tarn::detail::readCrl(file);
    file.reset();
    if (crl == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "d2i_X509 failed");
        return kFailure;
    }
    if (X509_STORE_add_crl(store, crl.get()) == 0) {
        TARN_LOG(CONF_LOG_ERROR, "add crl failed!");
        return kFailure;
    }
    X509_STORE_set_flags(store, X509_V_FLAG_CRL_CHECK);
    X509_STORE_set_flags(store, X509_V_FLAG_CRL_CHECK_ALL);
    X509_STORE_set_verify_cb(store, X509Vericycallback);
    // Our own reference is kept on purpose: processes count on the list for all their life, also when the context that
    // it was read for is gone.
    (void)crl.release();
    return kSuccess;
}

bool isCrlFile(const char* name) {
    return (nameHolds(name, ".pem", ".PEM") || nameHolds(name, ".crl", ".CRL")) && nameHolds(name, "crl", "CRL");
}

// `function` is the exported function at work.
void addCrlFile(const char* function, SSL_CTX* ctx, const PathBuffer& directory, const char* name) {
    PathBuffer path = {};
    if (strcpy_s(path.data(), path.size(), directory.data()) != 0) {
        return;
    }
    if (strcat_s(path.data(), path.size(), name) != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "strcat_s failed");
        return;
    }
    TARN_LOG_AS(function, CONF_LOG_ERROR, "crl acFileName %s", path.data());
    if (AddCancelCrlToSslctxByFile(ctx, path.data()) != kSuccess) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "add file cert failed");
    }
}

} // namespace

uint32_t ConfAddCancelCrlToSslctx(SSL_CTX* ctx) {
    if (ctx == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "para err");
        return kFailure;
    }
    PathBuffer crlPath = {};
    if (tarn::detail::hasFixedPaths()) {
        tarn::detail::copyPath(__func__, crlPath.data(), crlPath.size(), tarn::detail::kFixedStore);
    } else {
        // A service that does not tell leaves the path empty, and the root directory is looked through.
        ConfCertGetCrlPath(crlPath.data(), CONF_CERT_PATH_LEN);
    }
    TARN_LOG(CONF_LOG_ERROR, "crlPath %s", crlPath.data());
    PathBuffer directory = {};
    tarn::detail::joinPath(directory, crlPath.data(), "/");
    DirectoryWalk walk(directory.data());
    if (!walk.isOpen()) {
        TARN_LOG(CONF_LOG_ERROR, "OpenDir error");
        return kFailure;
    }
    const tarn::detail::OpensslErrors errors;
    while (const char* const name = walk.next()) {
        if (isCrlFile(name)) {
            addCrlFile(__func__, ctx, directory, name);
        }
    }
    return kSuccess;
}
