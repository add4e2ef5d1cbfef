// TLS contexts out of the device's certificates, and a handshake between two of them.
#include <openssl/ssl.h>

#include <atomic>
#include <memory>
#include <vector>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_cert.h"
#include "tarn_conference/conf_tls.h"
// [/includes]

namespace {

using Context = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;
using Connection = std::unique_ptr<SSL, decltype(&SSL_free)>;

// [server]
Context serverContext() {
    Context context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    if (context != nullptr && ConfLoadServerCert(context.get(), 0) != 0) {
        context.reset(); // filled in part: not to be used
    }
    return context;
}
// [/server]

// [client]
// In place of the callback that comes with revocation lists, which lets every self-signed peer pass.
int judge(int isGood, X509_STORE_CTX* verification) {
    return isGood == 1 || X509_STORE_CTX_get_error(verification) == X509_V_ERR_UNABLE_TO_GET_CRL ? 1 : 0;
}

Context clientContext() {
    Context context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    std::vector<ConfCaCertEntry> authorities(CONF_CERT_MAX_CA_FILES);
    uint32_t count = 0;
    if (context == nullptr || ConfCertGetCaCertList(authorities.data(), &count) != 0) {
        return {nullptr, SSL_CTX_free};
    }
    if (ConfCertLoadAllCaCert(context.get(), authorities.data(), count) != 0 ||
        ConfAddCancelCrlToSslctx(context.get()) != 0) {
        return {nullptr, SSL_CTX_free};
    }
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, judge);
    return context;
}
// [/client]

std::atomic<uint32_t> authorityChanges = 0;

// [changed]
// On the certificate service's thread: contexts that are built from now on have the new authorities.
void onTrustChange() {
    ++authorityChanges;
}
// [/changed]

// A server with a certificate that it signed itself.
Context strangerContext() {
    Context context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    if (context != nullptr && (SSL_CTX_use_certificate_file(context.get(), "stranger/ca.pem", SSL_FILETYPE_PEM) != 1 ||
                               SSL_CTX_use_PrivateKey_file(context.get(), "stranger/ca.key", SSL_FILETYPE_PEM) != 1)) {
        context.reset();
    }
    return context;
}

Connection connection(SSL_CTX* context, BIO* bio) {
    Connection made(SSL_new(context), SSL_free);
    SSL_set_bio(made.get(), bio, bio);
    return made;
}

// What the client says of the server's certificate (X509_V_...); -1 when no context could be made.
long verdict(const Context& server) {
    const Context client = clientContext();
    BIO* near = nullptr;
    BIO* far = nullptr;
    if (server == nullptr || client == nullptr || BIO_new_bio_pair(&near, 0, &far, 0) != 1) {
        return -1;
    }
    const Connection serverSide = connection(server.get(), near);
    const Connection clientSide = connection(client.get(), far);
    SSL_set_accept_state(serverSide.get());
    SSL_set_connect_state(clientSide.get());
    int done = 0;
    for (int flight = 0; flight < 8 && done != 2; ++flight) {
        done = SSL_do_handshake(clientSide.get()) == 1 ? 1 : 0;
        done += SSL_do_handshake(serverSide.get()) == 1 ? 1 : 0;
    }
    const long result = SSL_get_verify_result(clientSide.get());
    return done == 2 || result != X509_V_OK ? result : -1;
}

} // namespace

int main() {
    // [start]
    ConfCertUpdateNotifyCallback(onTrustChange);
    ConfCertInit(nullptr);
    // [/start]
    guide::promise(verdict(serverContext()) == X509_V_OK, "a client takes the server's certificate");
    std::puts("ready");
    std::fflush(stdout);

    guide::promise(guide::comesTrue([] { return authorityChanges != 0; }), "a new authority is told");
    guide::promise(verdict(serverContext()) == X509_V_ERR_CERT_REVOKED, "a revoked certificate is refused");
    guide::promise(verdict(strangerContext()) == X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, "so is a self-signed one");
    return guide::result();
}
