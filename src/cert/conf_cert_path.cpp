// Paths of certificates, keys and directories, as the certificate service reports them.
#include <openssl/crypto.h>

#include "base/log.h"
#include "cert/cert_path.h"
#include "cert/cert_table.h"
#include "cert/service_path.h"
#include "tarn_conference/conf_cert.h"
#include "tarn_platform/bounds_checked.h"

using tarn::detail::copyPath;
using tarn::detail::ServicePath;

namespace {

constexpr const char* kLogName = "conf_cert";
constexpr uint32_t kSuccess = 0;
constexpr uint32_t kFailure = 1;
constexpr const char* kNoInputText = "input null error";

// `function` is the exported function that answers.
uint32_t copyDirectory(const char* function, uint32_t kind, char* buf, uint32_t bufLen) {
    if (buf == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, kNoInputText);
        return CONF_CERT_FAILED;
    }
    const ServicePath path(kind, 0);
    if (path.result() != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "TarnOmCertGetCertPath error, %u", path.result());
        return CONF_CERT_FAILED;
    }
    return copyPath(function, buf, bufLen, path->certPath) ? kSuccess : kFailure;
}

} // namespace

namespace tarn::detail {

bool copyPath(const char* function, char* out, size_t bytes, const char* path) {
    const errno_t copied = strcpy_s(out, bytes, path);
    if (copied != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, kSecureFunctionText, copied);
    }
    return copied == 0;
}

ServicePath::ServicePath(uint32_t kind, uint32_t omType)
    : result_(TarnOmCertGetCertPath(ConfCertPathQuery{kind, kQueryConstant, omType}, &info_)) {
    // A service that fills a field to its last byte must not make readers run on behind it.
    info_.certPath[sizeof info_.certPath - 1] = '\0';
    info_.keyPath[sizeof info_.keyPath - 1] = '\0';
    info_.keyPassword[sizeof info_.keyPassword - 1] = '\0';
}

ServicePath::~ServicePath() {
    OPENSSL_cleanse(info_.keyPassword, sizeof info_.keyPassword);
}

} // namespace tarn::detail

uint32_t ConfCertGetSrvCertFilePath(uint32_t type, char* buf, uint32_t bufLen) {
    if (buf == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, kNoInputText);
        return CONF_CERT_FAILED;
    }
    const ServicePath path(OM_CERT_PATH_SERVICE, tarn::detail::ConfCertTypeToOmType(type));
    if (path.result() != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmCertGetCertPath, ret=%u, type=%u.", path.result(), type);
        return CONF_CERT_FAILED;
    }
    return copyPath(__func__, buf, bufLen, path->certPath) ? kSuccess : kFailure;
}

uint32_t ConfCertGetCaPath(char* buf, uint32_t bufLen) {
    return copyDirectory(__func__, OM_CERT_PATH_CA_DIRECTORY, buf, bufLen);
}

uint32_t ConfCertGetCrlPath(char* buf, uint32_t bufLen) {
    return copyDirectory(__func__, OM_CERT_PATH_CRL_DIRECTORY, buf, bufLen);
}

uint32_t ConfCertGetGmSrvCertInfo(uint32_t type, ConfCertGmSrvCertInfo* out) {
    if (out == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, kNoInputText);
        return CONF_CERT_FAILED;
    }
    const ServicePath path(OM_CERT_PATH_SERVICE, tarn::detail::ConfCertTypeToOmType(type));
    if (path.result() != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmCertGetCertPath error, ret=%u, type=%u.", path.result(), type);
        return CONF_CERT_FAILED;
    }
    const bool allCopied = copyPath(__func__, out->certPath, sizeof out->certPath, path->certPath) &&
                           copyPath(__func__, out->keyPath, sizeof out->keyPath, path->keyPath) &&
                           copyPath(__func__, out->keyPassword, sizeof out->keyPassword, path->keyPassword);
    return allCopied ? kSuccess : kFailure;
}
