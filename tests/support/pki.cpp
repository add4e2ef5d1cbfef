#include "pki.h"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace tarn::test {
namespace {

template <typename Made>
using Owned = std::unique_ptr<Made, void (*)(Made*)>;

// OpenSSL's answer, or the end of the test.
template <typename Answer>
Answer must(Answer answer) {
    if (!answer) {
        throw std::runtime_error("OpenSSL refuses to make test material");
    }
    return answer;
}

void setName(X509_NAME* name, const std::string& commonName) {
    must(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                    reinterpret_cast<const unsigned char*>(commonName.data()),
                                    static_cast<int>(commonName.size()), -1, 0));
}

void addExtension(X509* certificate, int id, const char* value) {
    const Owned<X509_EXTENSION> extension(must(X509V3_EXT_conf_nid(nullptr, nullptr, id, value)), X509_EXTENSION_free);
    must(X509_add_ext(certificate, extension.get(), -1));
}

template <typename Write>
std::string written(Write write) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> bio(must(BIO_new(BIO_s_mem())), BIO_free);
    must(write(bio.get()));
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<size_t>(length)};
}

} // namespace

Key newRsaKey() {
    return {must(EVP_RSA_gen(2048)), EVP_PKEY_free};
}

Key newEcKey() {
    return {must(EVP_EC_gen("P-256")), EVP_PKEY_free};
}

Identity issue(const std::string& subject, const Key& key, const Identity* issuer, bool isCa, Validity validity) {
    static long serial = 0;
    Certificate certificate(must(X509_new()), X509_free);
    X509* const made = certificate.get();
    X509_set_version(made, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(made), validity.from);
    X509_gmtime_adj(X509_getm_notAfter(made), validity.until);
    setName(X509_get_subject_name(made), subject);
    X509_set_issuer_name(made, X509_get_subject_name(issuer == nullptr ? made : issuer->certificate.get()));
    X509_set_pubkey(made, key.get());
    addExtension(made, NID_basic_constraints, isCa ? "critical,CA:TRUE" : "critical,CA:FALSE");
    addExtension(made, NID_key_usage, isCa ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature");
    must(X509_sign(made, issuer == nullptr ? key.get() : issuer->key.get(), EVP_sha256()));
    return {certificate, key};
}

std::string pem(const Certificate& certificate) {
    return written([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate.get()); });
}

std::string der(const Certificate& certificate) {
    return written([&](BIO* bio) { return i2d_X509_bio(bio, certificate.get()); });
}

std::string pem(const Key& key, const std::string& passPhrase) {
    return written([&](BIO* bio) {
        return PEM_write_bio_PKCS8PrivateKey(bio, key.get(), passPhrase.empty() ? nullptr : EVP_aes_128_cbc(),
                                             passPhrase.data(), static_cast<int>(passPhrase.size()), nullptr, nullptr);
    });
}

std::string crlPem(const Identity& issuer, const std::vector<Certificate>& revoked, Validity validity) {
    const Owned<X509_CRL> crl(must(X509_CRL_new()), X509_CRL_free);
    const Owned<ASN1_TIME> from(must(X509_gmtime_adj(nullptr, validity.from)), ASN1_TIME_free);
    const Owned<ASN1_TIME> until(must(X509_gmtime_adj(nullptr, validity.until)), ASN1_TIME_free);
    X509_CRL_set_version(crl.get(), X509_CRL_VERSION_2);
    X509_CRL_set_issuer_name(crl.get(), X509_get_subject_name(issuer.certificate.get()));
    X509_CRL_set1_lastUpdate(crl.get(), from.get());
    X509_CRL_set1_nextUpdate(crl.get(), until.get());
    for (const Certificate& certificate : revoked) {
        X509_REVOKED* const entry = must(X509_REVOKED_new());
        X509_REVOKED_set_serialNumber(entry, X509_get_serialNumber(certificate.get()));
        X509_REVOKED_set_revocationDate(entry, from.get());
        must(X509_CRL_add0_revoked(crl.get(), entry));
    }
    must(X509_CRL_sign(crl.get(), issuer.key.get(), EVP_sha256()));
    return written([&](BIO* bio) { return PEM_write_bio_X509_CRL(bio, crl.get()); });
}

std::string subjectHash(const Certificate& certificate) {
    char text[24];
    std::snprintf(text, sizeof text, "%08lx", X509_subject_name_hash(certificate.get()));
    return text;
}

} // namespace tarn::test
