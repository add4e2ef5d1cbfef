// Fetching a service certificate into buffers of the caller's. The certificate's buffer has room for the largest
// certificate, whatever size the service reports: the certificate may be replaced between the two questions.
#include <openssl/crypto.h>

#include <algorithm>

#include "base/accounted.h"
#include "base/log.h"
#include "cert/cert_fetch.h"
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

// The service may say that it wrote less than there is room for.
void cleanseKey(const ConfCertServiceCert& certificate, uint32_t keyRoom) {
    if (certificate.keyData != nullptr) {
        OPENSSL_cleanse(certificate.keyData, std::min(certificate.keyLen, keyRoom));
    }
}

// `keyRoom` receives the bytes of the key's block.
uint32_t fetch(uint32_t type, ConfCertServiceCert* out, uint32_t& keyRoom) {
    constexpr const char* kFunction = "ConfCertGetCertSizeAndInfo";
    if (out == nullptr) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, kNullPointerText);
        return kFailure;
    }
    const uint32_t omType = tarn::detail::ConfCertTypeToOmType(type);
    if (omType == kNoSuchType) {
        // No copy failed: readers of the log know an unknown type by this very text.
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, kSecureFunctionText, static_cast<int>(omType));
        return kFailure;
    }
    ConfCertSizeInfo sizes = {};
    if (GetCertSize(omType, sizes) != kSuccess) {
        return kFailure;
    }
    Accounted<uint8_t> certificate = TARN_ALLOCATE(uint8_t, CONF_CERT_MAX_BYTES + 1);
    if (certificate == nullptr) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, kNullPointerText);
        return kFailure;
    }
    out->certData = certificate.get();
    out->certLen = sizes.certSize;
    if (tarn::detail::hasKeyPart(type)) {
        Accounted<uint8_t> key = allocateKeyPart(sizes.keySize);
        if (key == nullptr) {
            TARN_LOG_AS(kFunction, CONF_LOG_INFO, "malloc err!");
            return kFailure;
        }
        out->keyData = key.release();
        out->keyLen = sizes.keySize;
        keyRoom = sizes.keySize + 1;
    }
    (void)certificate.release();
    if (TarnOmCertGetServiceCert(omType, out) != 0) {
        TARN_LOG_AS(kFunction, CONF_LOG_ERROR, "TarnOmCertGetServiceCert ERROR");
        cleanseKey(*out, keyRoom);
        ClearAndFreeBuff(out, static_cast<int32_t>(type));
        return kFailure;
    }
    return kSuccess;
}

} // namespace

tarn::detail::FetchedCertificate::FetchedCertificate(uint32_t type)
    : type_(type), isFetched_(fetch(type, &certificate_, keyRoom_) == kSuccess) {}

tarn::detail::FetchedCertificate::~FetchedCertificate() {
    if (isFetched_) {
        cleanseKey(certificate_, keyRoom_);
        ClearAndFreeBuff(&certificate_, static_cast<int32_t>(type_));
    }
}

uint32_t ConfCertGetCertSizeAndInfo(uint32_t type, ConfCertServiceCert* out) {
    uint32_t keyRoom = 0;
    return fetch(type, out, keyRoom);
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
