#define OPENSSL_SUPPRESS_DEPRECATED // The engine's callers use engines.
#include "certificate/engine_support.h"

#include <openssl/engine.h>
#include <openssl/err.h>

#include <vector>

#include "tarn_host/host_certificate.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_certificate.h"
#include "tarn_platform/tls_extension.h"

namespace certificate_test {

uint32_t installKeyless(uint32_t omType, const Identity& identity, const std::string& passPhrase) {
    const std::string certificate = identity.certificatePem();
    const std::string key = identity.keyPem(passPhrase);
    TarnHostCertInstallation installation = {};
    installation.omType = omType;
    installation.isKeyless = 1;
    installation.certificate = certificate.data();
    installation.certificateBytes = static_cast<uint32_t>(certificate.size());
    installation.key = key.data();
    installation.keyBytes = static_cast<uint32_t>(key.size());
    installation.passPhrase = passPhrase.c_str();
    return TarnHostCertInstall(&installation);
}

std::string idOf(const Identity& identity) {
    std::string pem = identity.certificatePem();
    std::vector<uint8_t> id(OM_CERT_ID_LEN);
    const ConfCertBlob in = {reinterpret_cast<uint8_t*>(pem.data()), static_cast<uint32_t>(pem.size())};
    ConfCertBlob out = {id.data(), OM_CERT_ID_LEN};
    return TarnOmCertGetCertId(&in, &out) == 0 ? reinterpret_cast<const char*>(id.data()) : "";
}

Key keyFrom(ENGINE* engine, const std::string& id) {
    Key key(ENGINE_load_private_key(engine, id.c_str(), nullptr, nullptr));
    ERR_clear_error();
    return key;
}

bool talksWithKeyFrom(ENGINE* engine, const Identity& identity, const Identity& root) {
    const Context server(SSL_CTX_new(TLS_server_method()));
    const Context client(SSL_CTX_new(TLS_client_method()));
    const std::string rootFile = std::string(TarnHostDir()) + "/root.pem";
    writeFile(rootFile, root.certificatePem());
    const Key key = keyFrom(engine, idOf(identity));
    return key != nullptr && SSL_CTX_use_certificate(server.get(), identity.certificate.get()) == 1 &&
           SSL_CTX_use_PrivateKey(server.get(), key.get()) == 1 && SSL_CTX_check_private_key(server.get()) == 1 &&
           SSL_CTX_load_cacertificate_file(client.get(), rootFile.c_str(), 1) == 1 &&
           shakesHands(server.get(), client.get());
}

} // namespace certificate_test
