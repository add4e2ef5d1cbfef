// Certificates, keys and CRLs as they stand in files.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tarn::host {

template <auto Free>
struct OpensslFree {
    template <typename Handle>
    void operator()(Handle* handle) const {
        Free(handle);
    }
};

using CertificatePointer = std::unique_ptr<X509, OpensslFree<X509_free>>;
using CrlPointer = std::unique_ptr<X509_CRL, OpensslFree<X509_CRL_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpensslFree<EVP_PKEY_free>>;

// Takes back what a scope left in the thread's error queue: there it would pass for the reason of a later TLS failure.
class OpensslErrorScope {
 public:
    OpensslErrorScope();
    ~OpensslErrorScope();
    OpensslErrorScope(const OpensslErrorScope&) = delete;
    OpensslErrorScope& operator=(const OpensslErrorScope&) = delete;
};

// All PEM certificates, the first one first; text between them is skipped. EBADMSG when there is none or one of them
// cannot be read, and then nothing is added.
int readPemCertificates(std::span<const uint8_t> bytes, std::vector<CertificatePointer>& certificates);

// The same for PEM certificate revocation lists.
int readPemCrls(std::span<const uint8_t> bytes, std::vector<CrlPointer>& crls);

// A DER certificate. EBADMSG for anything else, or when something follows it.
int readDerCertificate(std::span<const uint8_t> bytes, CertificatePointer& certificate);

// One certificate: the first of a PEM text, or DER. EBADMSG otherwise.
int readCertificate(std::span<const uint8_t> bytes, CertificatePointer& certificate);

// A PEM private key. ENOKEY when it is encrypted and this pass phrase does not open it, EBADMSG when it is no key.
int readPemKey(std::span<const uint8_t> bytes, const std::string& passPhrase, KeyPointer& key);

bool isKeyOf(const X509& certificate, const EVP_PKEY& key);

// Two lower-case digits a byte.
std::string hexDigits(std::span<const uint8_t> bytes);

// The SHA-256 (FIPS 180-4) of the DER certificate in 64 lower-case hexadecimal digits; empty when OpenSSL fails.
std::string certificateId(const X509& certificate);

} // namespace tarn::host
