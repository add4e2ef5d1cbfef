#include "certificate/made_certificates.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <sstream>

namespace certificate_test {
namespace {

using Bio = std::unique_ptr<BIO, Freer<BIO_free>>;

std::string contentOf(BIO* bio) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return {data, static_cast<size_t>(length)};
}

void addExtension(X509* certificate, int nid, const char* value) {
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, nid, value);
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

Certificate makeCertificate(const char* name, EVP_PKEY* key, bool isCa) {
    static std::atomic<long> serial = 1;
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), serial++);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 10L * 24 * 3600);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
    X509_set_pubkey(certificate.get(), key);
    addExtension(certificate.get(), NID_basic_constraints, isCa ? "critical,CA:TRUE" : "CA:FALSE");
    return certificate;
}

// One step of a handshake side; false when it failed.
bool advance(SSL* side) {
    const int result = SSL_do_handshake(side);
    return result == 1 || SSL_get_error(side, result) == SSL_ERROR_WANT_READ;
}

} // namespace

std::string Identity::certificatePem() const {
    const Bio bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(bio.get(), certificate.get());
    return contentOf(bio.get());
}

std::string Identity::certificateDer() const {
    const Bio bio(BIO_new(BIO_s_mem()));
    i2d_X509_bio(bio.get(), certificate.get());
    return contentOf(bio.get());
}

std::string Identity::keyPem(const std::string& passPhrase) const {
    const Bio bio(BIO_new(BIO_s_mem()));
    const EVP_CIPHER* cipher = passPhrase.empty() ? nullptr : EVP_aes_256_cbc();
    PEM_write_bio_PKCS8PrivateKey(bio.get(), key.get(), cipher, passPhrase.data(), static_cast<int>(passPhrase.size()),
                                  nullptr, nullptr);
    return contentOf(bio.get());
}

Key makeEcKey() {
    return Key(EVP_EC_gen("P-256"));
}

Key makeRsaKey() {
    return Key(EVP_RSA_gen(2048));
}

Identity makeCa(const char* name) {
    Key key = makeEcKey();
    Certificate certificate = makeCertificate(name, key.get(), true);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get()));
    X509_sign(certificate.get(), key.get(), EVP_sha256());
    return {std::move(key), std::move(certificate)};
}

Identity makeLeaf(const char* name, const Identity& issuer, Key key) {
    Certificate certificate = makeCertificate(name, key.get(), false);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer.certificate.get()));
    X509_sign(certificate.get(), issuer.key.get(), EVP_sha256());
    return {std::move(key), std::move(certificate)};
}

std::string crlPem(const Identity& issuer, const std::vector<const X509*>& revoked) {
    const std::unique_ptr<X509_CRL, Freer<X509_CRL_free>> crl(X509_CRL_new());
    const std::unique_ptr<ASN1_TIME, Freer<ASN1_TIME_free>> now(X509_gmtime_adj(nullptr, 0));
    const std::unique_ptr<ASN1_TIME, Freer<ASN1_TIME_free>> later(X509_gmtime_adj(nullptr, 24L * 3600));
    X509_CRL_set_version(crl.get(), 1);
    X509_CRL_set_issuer_name(crl.get(), X509_get_subject_name(issuer.certificate.get()));
    X509_CRL_set1_lastUpdate(crl.get(), now.get());
    X509_CRL_set1_nextUpdate(crl.get(), later.get());
    for (const X509* certificate : revoked) {
        X509_REVOKED* entry = X509_REVOKED_new();
        X509_REVOKED_set_serialNumber(entry, const_cast<ASN1_INTEGER*>(X509_get0_serialNumber(certificate)));
        X509_REVOKED_set_revocationDate(entry, now.get());
        X509_CRL_add0_revoked(crl.get(), entry);
    }
    X509_CRL_sign(crl.get(), issuer.key.get(), EVP_sha256());
    const Bio bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509_CRL(bio.get(), crl.get());
    return contentOf(bio.get());
}

bool shakesHands(SSL_CTX* serverContext, SSL_CTX* clientContext) {
    const std::unique_ptr<SSL, Freer<SSL_free>> server(SSL_new(serverContext));
    const std::unique_ptr<SSL, Freer<SSL_free>> client(SSL_new(clientContext));
    BIO* serverEnd = nullptr;
    BIO* clientEnd = nullptr;
    BIO_new_bio_pair(&serverEnd, 0, &clientEnd, 0);
    SSL_set_bio(server.get(), serverEnd, serverEnd);
    SSL_set_bio(client.get(), clientEnd, clientEnd);
    SSL_set_accept_state(server.get());
    SSL_set_connect_state(client.get());
    SSL_set_verify(client.get(), SSL_VERIFY_PEER, nullptr);
    for (int round = 0; round < 10; round++) {
        if (!advance(client.get()) || !advance(server.get())) {
            return false;
        }
        if (SSL_is_init_finished(client.get()) && SSL_is_init_finished(server.get())) {
            return SSL_version(client.get()) == TLS1_3_VERSION;
        }
    }
    return false;
}

void writeFile(const std::string& path, const std::string& content, unsigned mode) {
    std::ofstream(path, std::ios::binary) << content;
    EXPECT_EQ(chmod(path.c_str(), mode), 0) << path;
}

std::string readFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

} // namespace certificate_test
