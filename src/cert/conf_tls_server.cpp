// The service certificate and its key in a TLS context: the key from its file, or left with its holder.
#include <openssl/ssl.h>

#include <array>

#include "base/log.h"
#include "cert/cert_path.h"
#include "cert/cert_table.h"
#include "cert/key_holder.h"
#include "cert/service_path.h"
#include "tarn_conference/conf_tls.h"

using tarn::detail::KeyHolder;
using tarn::detail::OwnedKey;
using tarn::detail::PathBuffer;
using tarn::detail::ServicePath;

namespace {

constexpr const char* kLogName = "conf_cert";
constexpr uint32_t kSuccess = 0;
constexpr size_t kCapabilityCount = 10;

// A pass phrase for the time of a load. Afterwards the context has what it had before, no pointer to a text that is
// gone.
class PassPhrase {
 public:
    PassPhrase(SSL_CTX* ctx, const char* text)
        : ctx_(ctx), before_(SSL_CTX_get_default_passwd_cb_userdata(ctx)), isSet_(text[0] != '\0') {
        if (isSet_) {
            SSL_CTX_set_default_passwd_cb_userdata(ctx, const_cast<char*>(text));
        }
    }
    ~PassPhrase() {
        if (isSet_) {
            SSL_CTX_set_default_passwd_cb_userdata(ctx_, before_);
        }
    }
    PassPhrase(const PassPhrase&) = delete;
    PassPhrase& operator=(const PassPhrase&) = delete;

 private:
    SSL_CTX* const ctx_;
    void* const before_;
    const bool isSet_;
};

bool ConfCertIsSupportKeyless(uint32_t type, uint8_t& keyless) {
    std::array<uint8_t, kCapabilityCount> capabilities = {};
    const uint32_t result = TarnOmCertGetCapability(capabilities.data());
    if (result != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmCertGetCapability fail, ret=%u.", result);
        return false;
    }
    const uint32_t index = tarn::detail::ConfCertTypeToCapIndex(type);
    if (index >= capabilities.size()) {
        return false;
    }
    keyless = capabilities[index];
    return true;
}

// `function` is the loader at work.
bool useCertificate(const char* function, SSL_CTX* ctx, const char* path) {
    if (SSL_CTX_use_certificate_chain_file(ctx, path) == 1) {
        return true;
    }
    const int result = SSL_CTX_use_certificate_file(ctx, path, SSL_FILETYPE_PEM);
    if (result != 1) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "server cert file error :%d", result);
    }
    return result == 1;
}

uint32_t ConfLoadServerCertificateByKey(SSL_CTX* ctx, uint32_t type) {
    const ServicePath path(OM_CERT_PATH_SERVICE, tarn::detail::ConfCertTypeToOmType(type));
    if (path.result() != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmCertGetCertPath, ret=%u.", path.result());
        return CONF_CERT_FAILED;
    }
    if (path->certPath[0] == '\0' || path->keyPath[0] == '\0') {
        TARN_LOG(CONF_LOG_ERROR, "server cert is null");
        return CONF_CERT_FAILED;
    }
    const PassPhrase passPhrase(ctx, path->keyPassword);
    if (!useCertificate(__func__, ctx, path->certPath)) {
        return CONF_CERT_FAILED;
    }
    if (SSL_CTX_use_PrivateKey_file(ctx, path->keyPath, SSL_FILETYPE_PEM) != 1) {
        TARN_LOG(CONF_LOG_ERROR, "[TLS]SSL_ctxUsePrivateKeyFile err, %s", path->keyPath);
        return CONF_CERT_FAILED;
    }
    if (SSL_CTX_check_private_key(ctx) != 1) {
        TARN_LOG(CONF_LOG_ERROR, "[TLS]SSL_ctxCheckPrivateKey err, %s", path->keyPath);
        return CONF_CERT_FAILED;
    }
    return kSuccess;
}

uint32_t ConfLoadServerCertificateKeyLess(SSL_CTX* ctx, uint32_t type) {
    PathBuffer path = {};
    const uint32_t asked = ConfCertGetSrvCertFilePath(type, path.data(), CONF_CERT_PATH_LEN);
    if (asked != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfCertGetSrvCertFilePath error, %d", static_cast<int>(asked));
        return CONF_CERT_FAILED;
    }
    if (!useCertificate(__func__, ctx, path.data())) {
        return CONF_CERT_FAILED;
    }
    std::array<char, OM_CERT_ID_LEN + 1> id = {}; // an id may fill its field
    tarn::detail::ConfCertGetCertId(type, id.data());
    TARN_LOG(CONF_LOG_INFO, "get cert from type [%s]", id.data());
    const KeyHolder holder = KeyHolder::open();
    if (!holder.isOpen()) {
        return CONF_CERT_FAILED;
    }
    const OwnedKey key = holder.load(id.data());
    if (SSL_CTX_use_PrivateKey(ctx, key.get()) != 1) {
        TARN_LOG(CONF_LOG_ERROR, "use privkey error");
        return CONF_CERT_FAILED;
    }
    if (SSL_CTX_check_private_key(ctx) == 0) {
        TARN_LOG(CONF_LOG_ERROR, "check privKey error");
        return CONF_CERT_FAILED;
    }
    return kSuccess;
}

} // namespace

uint32_t ConfLoadServerCert(SSL_CTX* ctx, uint32_t type) {
    if (ctx == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, tarn::detail::kNullPointerText);
        return CONF_CERT_FAILED;
    }
    uint8_t keyless = 0;
    if (!ConfCertIsSupportKeyless(type, keyless)) {
        TARN_LOG(CONF_LOG_ERROR, "server cert check error");
        return CONF_CERT_FAILED;
    }
    TARN_LOG(CONF_LOG_INFO, "type=%u flag=%u", type, uint32_t{keyless});
    tarn::detail::OpensslErrors errors;
    const uint32_t result =
        keyless != 0 ? ConfLoadServerCertificateKeyLess(ctx, type) : ConfLoadServerCertificateByKey(ctx, type);
    if (result != kSuccess) {
        errors.keep();
    }
    return result;
}
