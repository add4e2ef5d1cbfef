// Keys, certificates and revocation lists, made when a test needs them.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

namespace tarn::test {

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;

Key newRsaKey(); // 2048 bits
Key newEcKey();  // P-256

// A certificate and its key.
struct Identity {
    Certificate certificate;
    Key key;
};

constexpr long kDay = 24L * 60 * 60;

struct Validity {
    long from = -kDay; // seconds from now
    long until = kDay;
};

// A certificate for `subject` (its common name), signed by `issuer`; by itself without one. Each has its own serial.
Identity issue(const std::string& subject, const Key& key, const Identity* issuer = nullptr, bool isCa = false,
               Validity validity = {});

inline Identity newCa(const std::string& name) {
    return issue(name, newEcKey(), nullptr, true);
}

std::string pem(const Certificate& certificate);
std::string der(const Certificate& certificate);
std::string pem(const Key& key, const std::string& passPhrase = "");
// The issuer's list of revoked certificates.
std::string crlPem(const Identity& issuer, const std::vector<Certificate>& revoked = {}, Validity validity = {});

// Eight hexadecimal digits, as a hashed certificate directory names the subject.
std::string subjectHash(const Certificate& certificate);

} // namespace tarn::test
