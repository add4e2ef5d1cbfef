// TLS handshakes inside the test program.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace tarn::test {

using Context = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;

inline Context newContext(const SSL_METHOD* method) {
    return {SSL_CTX_new(method), SSL_CTX_free};
}
inline Context serverContext() {
    return newContext(TLS_server_method());
}
// Refuses servers that it does not trust.
inline Context clientContext() {
    Context context = newContext(TLS_client_method());
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    return context;
}

// The same, trusting the CA files of the device as the library lists and loads them.
Context deviceClient();

struct HandshakeResult {
    bool succeeded;
    long verifyResult; // the client's finding about the server
};

HandshakeResult handshake(SSL_CTX* server, SSL_CTX* client);

} // namespace tarn::test
