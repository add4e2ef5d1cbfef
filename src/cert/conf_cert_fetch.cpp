// Fetching a service certificate into buffers of the caller's. The certificate's buffer has room for the largest
// certificate, whatever size the service reports: the certificate may be replaced between the two questions.
#include "base/accounted.h"
#include "base/log.h"
#include "cert/cert_table.h"
#include "tarn_conference/conf_cert.h"

using tarn::detail::Accounted;
using tarn::detail::kNoSuchType;
using tarn::detail::kNullPointerText;
using tarn::detail::kSecureFunctionText;

namespace {

constexpr const char* kLogName = "conf_cert";
constexpr uint32_t kSuccess = 0;
constexpr uint32_t kFailure = 1;

uint32_t GetCertSize(uint32_t omType, ConfCertSizeInfo& sizes) {
    if (TarnOmCertGetExpectedSrvCertSize(omType, &sizes) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmCertGetExpectedSrvCertSize ERROR");
        return kFailure;
    }
    TARN_LOG(CONF_LOG_INFO, "cert size = [%u]", sizes.certSize);
    return sizes.certSize == 0 || sizes.certSize > CONF_CERT_MAX_BYTES ? kFailure : kSuccess;
}

Accounted<uint8_t> allocateKeyPart(uint32_t keySize) {
    return keySize == UINT32_MAX ? nullptr : TARN_ALLOCATE(uint8_t, keySize + 1);
}

} // namespace

uint32_t ConfCertGetCertSizeAndInfo(uint32_t type, ConfCertServiceCert* out) {
    if (out == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, kNullPointerText);
        return kFailure;
    }
    const uint32_t omType = tarn::detail::ConfCertTypeToOmType(type);
    if (omType == kNoSuchType) {
        // No copy failed: readers of the log know an unknown type by this very text.
        TARN_LOG(CONF_LOG_ERROR, kSecureFunctionText, static_cast<int>(omType));
        return kFailure;
    }
    ConfCertSizeInfo sizes = {};
    if (GetCertSize(omType, sizes) != kSuccess) {
        return kFailure;
    }
    Accounted<uint8_t> certificate = TARN_ALLOCATE(uint8_t, CONF_CERT_MAX_BYTES + 1);
    if (certificate == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, kNullPointerText);
        return kFailure;
    }
    out->certData = certificate.get();
    out->certLen = sizes.certSize;
    if (tarn::detail::hasKeyPart(type)) {
        Accounted<uint8_t> key = allocateKeyPart(sizes.keySize);
        if (key == nullptr) {
            TARN_LOG(CONF_LOG_INFO, "malloc err!");
            return kFailure;
        }
        out->keyData = key.release();
        out->keyLen = sizes.keySize;
    }
    (void)certificate.release();
    if (TarnOmCertGetServiceCert(omType, out) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmCertGetServiceCert ERROR");
        ClearAndFreeBuff(out, static_cast<int32_t>(type));
        return kFailure;
    }
    return kSuccess;
}

void ClearAndFreeBuff(ConfCertServiceCert* cert, int32_t type) {
    if (cert == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, kNullPointerText);
        return;
    }
    TARN_FREE(cert->certData);
    cert->certData = nullptr;
    if (tarn::detail::hasKeyPart(static_cast<uint32_t>(type))) {
        TARN_FREE(cert->keyData);
        cert->keyData = nullptr;
    }
}
