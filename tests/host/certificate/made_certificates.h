// Certificates, keys and revocation lists made for a test, and what a test does with them.
#pragma once

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace certificate_test {

template <auto Free>
struct Freer {
    template <typename Handle>
    void operator()(Handle* handle) const {
        Free(handle);
    }
};

using Certificate = std::unique_ptr<X509, Freer<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using Context = std::unique_ptr<SSL_CTX, Freer<SSL_CTX_free>>;

// A certificate with its key.
struct Identity {
    Key key;
    Certificate certificate;

    std::string certificatePem() const;
    std::string certificateDer() const;
    // Encrypted with a pass phrase that is not empty.
    std::string keyPem(const std::string& passPhrase = "") const;
};

Key makeEcKey();
Key makeRsaKey();
Identity makeCa(const char* name);
Identity makeLeaf(const char* name, const Identity& issuer, Key key = makeEcKey());
std::string crlPem(const Identity& issuer, const std::vector<const X509*>& revoked);

// A TLS 1.3 handshake through memory in which the client verifies the server.
bool shakesHands(SSL_CTX* server, SSL_CTX* client);

void writeFile(const std::string& path, const std::string& content, unsigned mode = 0600);
std::string readFile(const std::string& path);

} // namespace certificate_test
