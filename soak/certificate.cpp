#include "certificate.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>

namespace tarn::soak {
namespace {

constexpr long kDay = 24L * 60 * 60;

template <auto Release>
struct Releaser {
    template <typename T>
    void operator()(T* handle) const {
        Release(handle);
    }
};

} // namespace

std::string makeCaCertificate() {
    const std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>> key(EVP_EC_gen("P-256"));
    const std::unique_ptr<X509, Releaser<X509_free>> certificate(X509_new());
    const std::unique_ptr<BIO, Releaser<BIO_free>> text(BIO_new(BIO_s_mem()));
    if (key == nullptr || certificate == nullptr || text == nullptr) {
        return {};
    }
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    const auto* const commonName = reinterpret_cast<const unsigned char*>("soak CA");
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kDay);
    char* bytes = nullptr;
    if (X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, commonName, -1, -1, 0) != 1 ||
        X509_set_issuer_name(certificate.get(), name) != 1 || X509_set_pubkey(certificate.get(), key.get()) != 1 ||
        X509_sign(certificate.get(), key.get(), EVP_sha256()) == 0 ||
        PEM_write_bio_X509(text.get(), certificate.get()) != 1) {
        return {};
    }
    const long length = BIO_get_mem_data(text.get(), &bytes);
    return {bytes, static_cast<size_t>(length)};
}

} // namespace tarn::soak
