// What people and file names want to know of certificates and revocation lists.
#pragma once

#include <cstdint>
#include <string>

#include "certificate/x509_content.h"

namespace tarn::host {

// By which OpenSSL finds a certificate by its subject, and a list by its issuer, in a hashed directory.
unsigned long nameHash(const X509_NAME& name);

// The SHA-256 of the name in hexadecimal digits; empty when OpenSSL fails.
std::string nameId(const X509_NAME& name);

// As in RFC 4514, in UTF-8.
std::string nameText(const X509_NAME& name);

// "RSA 2048", "EC prime256v1", "ED25519"; empty for a key that OpenSSL does not know.
std::string keyTypeText(const X509& certificate);

// Seconds since 1970; 0 for null and for what is no time.
int64_t secondsOf(const ASN1_TIME* time);

// Empty when memory is out.
std::string pemText(const X509& certificate);
std::string pemText(const X509_CRL& crl);

} // namespace tarn::host
