// Start-up, and the refresh of a type's certificate id. The certificate itself is fetched for its id only, not kept.
#include "base/log.h"
#include "cert/cert_change.h"
#include "cert/cert_fetch.h"
#include "cert/cert_refresh.h"
#include "cert/cert_table.h"
#include "cert/trust_store.h"
#include "tarn_conference/conf_cert.h"

namespace {

constexpr const char* kLogName = "conf_cert";

bool GetCertId(uint32_t type, const ConfCertBlob& certificate) {
    uint8_t id[OM_CERT_ID_LEN] = {};
    ConfCertBlob output = {id, sizeof id};
    if (TarnOmCertGetCertId(&certificate, &output) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmCertGetCertId ERROR");
        return false;
    }
    tarn::detail::SetCertInfo(type, output.data, output.length);
    return true;
}

void ConfCertGetAllCert() {
    for (uint32_t type = 0; type < tarn::detail::kCertTypeCount; ++type) {
        if (tarn::detail::ConfCertUpdateCertInfo(type) != 0) {
            TARN_LOG(CONF_LOG_ERROR, "Failed to load the certificate. type = [%d]", static_cast<int>(type));
        }
    }
}

} // namespace

uint32_t tarn::detail::ConfCertUpdateCertInfo(uint32_t type) {
    TARN_LOG(CONF_LOG_INFO, "ConfCertUpdateCertInfo enter, type = [%d]", static_cast<int>(type));
    const FetchedCertificate certificate(type);
    if (!certificate.isFetched() || !GetCertId(type, certificate.bytes())) {
        return 1;
    }
    announceCertificate(type);
    return 0;
}

void ConfCertInit(void* arg) {
    TARN_LOG(CONF_LOG_INFO, "TarnOmCertClientInit enter");
    if (TarnOmCertClientInit(arg) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "TarnOmCertClientInit ERROR");
    }
    TarnOmCertNotifyCallback(ConfOmCertCallback);
    ConfCertGetAllCert();
    tarn::detail::ConfCertUpdateLdapCert();
}
