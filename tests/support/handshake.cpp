#include "handshake.h"

#include <openssl/err.h>

#include <array>

#include "tarn_conference/conf_tls.h"

namespace tarn::test {
namespace {

using Connection = std::unique_ptr<SSL, decltype(&SSL_free)>;

void carry(SSL* from, SSL* to) {
    char buffer[16384];
    int got = 0;
    while ((got = BIO_read(SSL_get_wbio(from), buffer, sizeof buffer)) > 0) {
        BIO_write(SSL_get_rbio(to), buffer, got);
    }
}

Connection connect(SSL_CTX* context, void (*setState)(SSL*)) {
    Connection connection(SSL_new(context), SSL_free);
    SSL_set_bio(connection.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    setState(connection.get());
    return connection;
}

} // namespace

Context deviceClient() {
    Context context = clientContext();
    std::array<ConfCaCertEntry, CONF_CERT_MAX_CA_FILES> list = {};
    uint32_t count = 0;
    ConfCertGetCaCertList(list.data(), &count);
    ConfCertLoadAllCaCert(context.get(), list.data(), count);
    return context;
}

HandshakeResult handshake(SSL_CTX* server, SSL_CTX* client) {
    const Connection serverSide = connect(server, SSL_set_accept_state);
    const Connection clientSide = connect(client, SSL_set_connect_state);
    bool succeeded = false;
    for (int flight = 0; flight < 8 && !succeeded; ++flight) {
        const int clientDone = SSL_do_handshake(clientSide.get());
        carry(clientSide.get(), serverSide.get());
        const int serverDone = SSL_do_handshake(serverSide.get());
        carry(serverSide.get(), clientSide.get());
        succeeded = clientDone == 1 && serverDone == 1;
    }
    ERR_clear_error();
    return {succeeded, SSL_get_verify_result(clientSide.get())};
}

} // namespace tarn::test
