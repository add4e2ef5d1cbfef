// The media service as a TLS client. News of revocation lists come without a callback, so the context is made anew for
// each conversation.
#include <openssl/x509v3.h>

#include <array>
#include <cstring>

#include "processes/handlers.h"
#include "processes/tls_talk.h"
#include "tarn_conference/conf_cert.h"
#include "tarn_conference/conf_tls.h"

namespace tarn::demo {
namespace {

constexpr uint32_t kRefused = 400;
constexpr const char* kLine = "media: how is the conference?";

// In place of the callback that comes with revocation lists, which lets every self-signed peer pass.
int judge(int isGood, X509_STORE_CTX* verification) {
    return isGood == 1 || X509_STORE_CTX_get_error(verification) == X509_V_ERR_UNABLE_TO_GET_CRL ? 1 : 0;
}

// Trusts the CA files of the device and looks into its revocation lists. Null when that fails.
TlsContext makeClientContext(uint32_t& caFiles) {
    TlsContext context = makeTlsContext(TLS_client_method());
    std::array<ConfCaCertEntry, CONF_CERT_MAX_CA_FILES> files = {};
    if (context == nullptr || ConfCertGetCaCertList(files.data(), &caFiles) != 0 ||
        ConfCertLoadAllCaCert(context.get(), files.data(), caFiles) != 0 ||
        ConfAddCancelCrlToSslctx(context.get()) != 0 ||
        X509_VERIFY_PARAM_set1_host(SSL_CTX_get0_param(context.get()), "localhost", 0) != 1) {
        return nullptr;
    }
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, judge);
    return context;
}

template <size_t Size>
void store(std::array<char, Size>& field, const std::string& text) {
    field = {};
    std::strncpy(field.data(), text.c_str(), Size - 1);
}

} // namespace

uint32_t visitOverTls(uint32_t, void* data, uint32_t length) {
    TlsVisit visit;
    if (data == nullptr || length != sizeof visit) {
        return kRefused;
    }
    std::memcpy(&visit, data, sizeof visit);
    const TlsContext context = makeClientContext(visit.caFiles);
    const Descriptor socket = connectToLoopback(static_cast<uint16_t>(visit.port));
    if (context == nullptr || socket.get() < 0) {
        return kRefused;
    }
    const TlsTalk talk = visitTalk(*context, socket, kLine);
    visit.succeeded = talk.succeeded ? 1 : 0;
    store(visit.protocol, talk.protocol);
    store(visit.peer, talk.peer);
    store(visit.outcome, talk.succeeded ? talk.heard : talk.reason);
    std::memcpy(data, &visit, sizeof visit);
    return 0;
}

} // namespace tarn::demo
