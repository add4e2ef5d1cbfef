// CA files in a TLS context. A file that cannot be loaded leaves the others in: a process that trusts some of its peers
// is worth more than one that trusts none.
#include "base/log.h"
#include "base/openssl_owner.h"
#include "tarn_conference/conf_tls.h"
#include "tarn_platform/tls_extension.h"

namespace {

constexpr const char* kLogName = "conf_cert";

} // namespace

void ConfCertLoadOneCaCert(SSL_CTX* ctx, const char* path, uint32_t fileType) {
    if (ctx == nullptr || path == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, tarn::detail::kNullPointerText);
        return;
    }
    const tarn::detail::OpensslErrors errors;
    if (SSL_CTX_load_cacertificate_file(ctx, path, fileType) != 1) {
        TARN_LOG(CONF_LOG_ERROR, "load ca file fail!");
    }
}

uint32_t ConfCertLoadAllCaCert(SSL_CTX* ctx, ConfCaCertEntry* list, uint32_t count) {
    if (list == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "invalid params!");
        return CONF_CERT_FAILED;
    }
    for (uint32_t i = 0; i < count; ++i) {
        ConfCertLoadOneCaCert(ctx, list[i].path, list[i].fileType);
    }
    return 0;
}
