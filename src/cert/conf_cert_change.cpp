// Events of the certificate service and the callbacks that hear of them. A change of type 0 that comes before the
// registration is delivered at the registration, exactly once however the two meet on different threads.
#include <atomic>

#include "base/log.h"
#include "cert/cert_change.h"
#include "cert/cert_path.h"
#include "cert/cert_refresh.h"
#include "cert/cert_table.h"
#include "cert/trust_store.h"
#include "tarn_conference/conf_cert.h"

namespace {

constexpr const char* kLogName = "conf_cert";

using CertChangeCallback = void (*)(uint32_t change);
using CaUpdateCallback = void (*)();

constexpr uint32_t kChangeOfFirstType = 0;
constexpr uint32_t kChangeWithKeyPart = 1;

// An event sets the flag and then looks for a callback; a registration sets the callback and then looks at the flag. In
// sequential order, the default of both, at least one of them sees the other, and the flag goes to one of them only.
std::atomic<CertChangeCallback> certChangeCallback{nullptr};
std::atomic<uint8_t> certChangePending{0};
std::atomic<CaUpdateCallback> caUpdateCallback{nullptr};

void deliverPending(CertChangeCallback callback) {
    if (callback != nullptr && certChangePending.exchange(0) == 1) {
        callback(kChangeOfFirstType);
    }
}

void announceFirstType() {
    const CertChangeCallback callback = certChangeCallback.load();
    if (callback != nullptr) {
        callback(kChangeOfFirstType);
        return;
    }
    certChangePending.store(1);
    deliverPending(certChangeCallback.load());
}

} // namespace

void tarn::detail::announceCertificate(uint32_t type) {
    if (type == 0) {
        announceFirstType();
        return;
    }
    const CertChangeCallback callback = certChangeCallback.load();
    if (hasKeyPart(type) && callback != nullptr) {
        callback(kChangeWithKeyPart);
    }
}

void ConfCertNotifyCallback(void (*cb)(uint32_t change)) {
    // At this level although nothing is wrong: the line tells in every log whether a change was waiting.
    TARN_LOG(CONF_LOG_ERROR, "Conf register certchange callback, Flag:%u.", uint32_t{certChangePending.load()});
    certChangeCallback.store(cb);
    deliverPending(cb);
}

void ConfCertUpdateNotifyCallback(void (*cb)(void)) {
    TARN_LOG(CONF_LOG_INFO, "Conf register ca cert update callback.");
    caUpdateCallback.store(cb);
}

void ConfOmCertCallback(uint32_t msgId, uint32_t omCertType) {
    TARN_LOG(CONF_LOG_INFO, "ConfOmCertCallback enter, msgId = %u", msgId);
    switch (msgId) {
        case OM_CERT_EVENT_SERVICE:
            tarn::detail::ConfCertUpdateCertInfo(tarn::detail::ConfCertOmTypeToType(omCertType));
            break;
        case OM_CERT_EVENT_CA:
            tarn::detail::ConfCertUpdateLdapCert();
            if (!tarn::detail::hasFixedPaths()) {
                const CaUpdateCallback callback = caUpdateCallback.load();
                if (callback != nullptr) {
                    callback();
                }
            }
            break;
        case OM_CERT_EVENT_CRL:
            tarn::detail::ConfCertUpdateLdapCert();
            break;
        default:
            break;
    }
}
