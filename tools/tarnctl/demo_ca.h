// A small certificate authority for demonstrations and tests, kept in a folder: ca.pem, ca.key and crl.pem. Its key is
// not encrypted: it is no authority for anything else.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace tarnctl {

template <auto Free>
struct OpensslFree {
    template <typename Handle>
    void operator()(Handle* handle) const {
        Free(handle);
    }
};

using CertificatePointer = std::unique_ptr<X509, OpensslFree<X509_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpensslFree<EVP_PKEY_free>>;

class DemoCa {
 public:
    // All throw std::runtime_error with a text for people when something fails.

    // Whether the folder holds an authority, or part of one.
    static bool isIn(const std::string& folder);
    // Opens the authority of a folder, or makes both.
    static DemoCa openOrMake(const std::string& folder);
    // Only one that is there.
    static DemoCa open(const std::string& folder);

    bool hasIssued(const std::string& name) const;

    // Writes NAME.pem, certificate and authority, and NAME.key; for the host names "localhost" and `name`.
    void issue(const std::string& name) const;

    // Puts the certificate on the list crl.pem, whose text it returns.
    std::string revoke(const X509& certificate) const;

 private:
    DemoCa(std::string folder, KeyPointer key, CertificatePointer certificate)
        : folder_(std::move(folder)), key_(std::move(key)), certificate_(std::move(certificate)) {}

    std::string folder_;
    KeyPointer key_;
    CertificatePointer certificate_;
};

// The first certificate of a PEM text, or null.
CertificatePointer parseCertificate(const std::string& pem);

} // namespace tarnctl
