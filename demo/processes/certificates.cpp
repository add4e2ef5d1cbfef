#include "processes/certificates.h"

#include <array>

#include "processes/inbox.h"
#include "tarn_conference/conf_cert.h"

namespace tarn::demo {
namespace {

void onCertificateChange(uint32_t change) {
    forgetTlsContexts(change);
    inbox().note("certificate-change", std::to_string(change));
}

void onCaUpdate() {
    inbox().note("ca-update", "");
}

} // namespace

Reply startCertificates(const Arguments&) {
    ConfCertInit(nullptr);
    // Whatever changed at start-up waits for this.
    ConfCertNotifyCallback(onCertificateChange);
    ConfCertUpdateNotifyCallback(onCaUpdate);
    std::array<char, CONF_CERT_PATH_LEN> store = {};
    ConfCertGetAddrCaPath(store.data());
    return {{"store", store.data()}};
}

} // namespace tarn::demo
