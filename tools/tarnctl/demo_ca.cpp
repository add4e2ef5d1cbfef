#include "demo_ca.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "cert.h"
#include "file_content.h"

namespace tarnctl {
namespace {

constexpr long kDaySeconds = 24L * 3600;
constexpr long kLeafDays = 90;
constexpr long kListDays = 30;
constexpr long kAuthorityDays = 3650;

using BioPointer = std::unique_ptr<BIO, OpensslFree<BIO_free>>;
using CrlPointer = std::unique_ptr<X509_CRL, OpensslFree<X509_CRL_free>>;
using NumberPointer = std::unique_ptr<ASN1_INTEGER, OpensslFree<ASN1_INTEGER_free>>;
using TimePointer = std::unique_ptr<ASN1_TIME, OpensslFree<ASN1_TIME_free>>;
using ExtensionPointer = std::unique_ptr<X509_EXTENSION, OpensslFree<X509_EXTENSION_free>>;
using RevokedPointer = std::unique_ptr<X509_REVOKED, OpensslFree<X509_REVOKED_free>>;

// What OpenSSL calls success is 1 or a pointer.
template <typename Result>
Result needed(Result result) {
    if (!result) {
        throw std::runtime_error("OpenSSL cannot make the certificate");
    }
    return result;
}

[[noreturn]] void failedFile(const std::string& path, int error) {
    throw std::runtime_error("cannot use " + path + ": " + std::strerror(error));
}

BioPointer memoryBio(const std::string& text) {
    return BioPointer(needed(BIO_new_mem_buf(text.data(), static_cast<int>(text.size()))));
}

template <typename Write>
std::string textOf(Write write) {
    const BioPointer bio(needed(BIO_new(BIO_s_mem())));
    needed(write(bio.get()) == 1);
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<size_t>(length)};
}

std::string pemOf(X509* certificate) {
    return textOf([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

std::string pemOf(EVP_PKEY* key) {
    return textOf(
        [&](BIO* bio) { return PEM_write_bio_PKCS8PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

std::string pemOf(X509_CRL* crl) {
    return textOf([&](BIO* bio) { return PEM_write_bio_X509_CRL(bio, crl); });
}

// Keys get nobody else's eyes, whatever the umask.
void writeFile(const std::string& path, const std::string& content, Place place) {
    const int error = writeContent(path, content, place, 0600);
    if (error != 0) {
        failedFile(path, error);
    }
}

std::string readFile(const std::string& path) {
    std::string content;
    if (readPem(path, content) != kDone) {
        throw std::runtime_error("there is no whole demonstration authority");
    }
    return content;
}

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

void addExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const ExtensionPointer extension(needed(X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str())));
    needed(X509_add_ext(certificate, extension.get(), -1));
}

// Unsigned, with a random serial number and its own name as the issuer's.
CertificatePointer draft(const std::string& name, EVP_PKEY* key, long days) {
    CertificatePointer certificate(needed(X509_new()));
    std::array<unsigned char, 8> serial;
    needed(RAND_bytes(serial.data(), serial.size()) == 1);
    uint64_t number = 0;
    std::memcpy(&number, serial.data(), sizeof number);
    needed(X509_set_version(certificate.get(), X509_VERSION_3));
    needed(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), number >> 1U));
    needed(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDaySeconds));
    needed(X509_gmtime_adj(X509_getm_notAfter(certificate.get()), days * kDaySeconds));
    X509_NAME* const subject = X509_get_subject_name(certificate.get());
    needed(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                      reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0));
    needed(X509_set_issuer_name(certificate.get(), subject));
    needed(X509_set_pubkey(certificate.get(), key));
    return certificate;
}

void sign(X509* certificate, EVP_PKEY* key) {
    needed(X509_sign(certificate, key, EVP_sha256()) > 0);
}

// The list of the folder, or an empty one.
CrlPointer readList(const std::string& path, X509* issuer) {
    if (access(path.c_str(), F_OK) != 0) {
        CrlPointer list(needed(X509_CRL_new()));
        needed(X509_CRL_set_version(list.get(), X509_CRL_VERSION_2));
        needed(X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(issuer)));
        return list;
    }
    const std::string content = readFile(path);
    CrlPointer list(PEM_read_bio_X509_CRL(memoryBio(content).get(), nullptr, nullptr, nullptr));
    if (list == nullptr) {
        throw std::runtime_error(path + " is no revocation list");
    }
    return list;
}

void countUp(X509_CRL* list) {
    const NumberPointer before(
        static_cast<ASN1_INTEGER*>(X509_CRL_get_ext_d2i(list, NID_crl_number, nullptr, nullptr)));
    const NumberPointer next(needed(ASN1_INTEGER_new()));
    needed(ASN1_INTEGER_set(next.get(), before == nullptr ? 1 : ASN1_INTEGER_get(before.get()) + 1));
    needed(X509_CRL_add1_ext_i2d(list, NID_crl_number, next.get(), 0, X509V3_ADD_REPLACE) == 1);
}

KeyPointer parseKey(const std::string& pem) {
    return KeyPointer(PEM_read_bio_PrivateKey(memoryBio(pem).get(), nullptr, nullptr, const_cast<char*>("")));
}

} // namespace

CertificatePointer parseCertificate(const std::string& pem) {
    return CertificatePointer(PEM_read_bio_X509(memoryBio(pem).get(), nullptr, nullptr, const_cast<char*>("")));
}

bool DemoCa::isIn(const std::string& folder) {
    return exists(folder + "/ca.pem") || exists(folder + "/ca.key");
}

DemoCa DemoCa::open(const std::string& folder) {
    for (const char* const part : {"ca.pem", "ca.key"}) {
        if (!exists(std::string(folder).append("/").append(part))) {
            throw std::runtime_error(folder + " holds only part of a demonstration authority: " + part +
                                     " is not there");
        }
    }
    CertificatePointer certificate = parseCertificate(readFile(folder + "/ca.pem"));
    KeyPointer key = parseKey(readFile(folder + "/ca.key"));
    if (certificate == nullptr || key == nullptr || X509_check_private_key(certificate.get(), key.get()) != 1) {
        throw std::runtime_error(folder +
                                 " holds no demonstration authority: ca.pem and ca.key do not belong together");
    }
    return {folder, std::move(key), std::move(certificate)};
}

DemoCa DemoCa::openOrMake(const std::string& folder) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        failedFile(folder, errno);
    }
    if (isIn(folder)) {
        return open(folder);
    }
    KeyPointer key(needed(EVP_EC_gen("P-256")));
    CertificatePointer certificate = draft("Tarn demonstration CA", key.get(), kAuthorityDays);
    addExtension(certificate.get(), certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate.get(), certificate.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(certificate.get(), certificate.get(), NID_subject_key_identifier, "hash");
    sign(certificate.get(), key.get());
    writeFile(folder + "/ca.key", pemOf(key.get()), Place::kNew);
    writeFile(folder + "/ca.pem", pemOf(certificate.get()), Place::kNew);
    return {folder, std::move(key), std::move(certificate)};
}

bool DemoCa::hasIssued(const std::string& name) const {
    return exists(folder_ + "/" + name + ".key") || exists(folder_ + "/" + name + ".pem");
}

void DemoCa::issue(const std::string& name) const {
    const KeyPointer key(needed(EVP_EC_gen("P-256")));
    const CertificatePointer leaf = draft(name, key.get(), kLeafDays);
    X509* const issuer = certificate_.get();
    needed(X509_set_issuer_name(leaf.get(), X509_get_subject_name(issuer)));
    addExtension(leaf.get(), issuer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(leaf.get(), issuer, NID_key_usage, "critical,digitalSignature");
    addExtension(leaf.get(), issuer, NID_subject_key_identifier, "hash");
    addExtension(leaf.get(), issuer, NID_authority_key_identifier, "keyid");
    addExtension(leaf.get(), issuer, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,DNS:" + name);
    sign(leaf.get(), key_.get());
    writeFile(folder_ + "/" + name + ".key", pemOf(key.get()), Place::kNew);
    writeFile(folder_ + "/" + name + ".pem", pemOf(leaf.get()) + pemOf(issuer), Place::kNew);
}

std::string DemoCa::revoke(const X509& certificate) const {
    if (X509_verify(const_cast<X509*>(&certificate), key_.get()) != 1) {
        throw std::runtime_error("the certificate is not one of the authority in " + folder_);
    }
    const std::string path = folder_ + "/crl.pem";
    const CrlPointer list = readList(path, certificate_.get());
    const TimePointer now(needed(X509_gmtime_adj(nullptr, 0)));
    const TimePointer next(needed(X509_gmtime_adj(nullptr, kListDays * kDaySeconds)));
    auto* const serial = const_cast<ASN1_INTEGER*>(X509_get0_serialNumber(&certificate));
    X509_REVOKED* known = nullptr;
    if (X509_CRL_get0_by_serial(list.get(), &known, serial) == 0) {
        RevokedPointer entry(needed(X509_REVOKED_new()));
        needed(X509_REVOKED_set_serialNumber(entry.get(), serial));
        needed(X509_REVOKED_set_revocationDate(entry.get(), now.get()));
        needed(X509_CRL_add0_revoked(list.get(), entry.get()));
        static_cast<void>(entry.release()); // It belongs to the list now.
    }
    countUp(list.get());
    needed(X509_CRL_set1_lastUpdate(list.get(), now.get()));
    needed(X509_CRL_set1_nextUpdate(list.get(), next.get()));
    needed(X509_CRL_sort(list.get()));
    needed(X509_CRL_sign(list.get(), key_.get(), EVP_sha256()) > 0);
    std::string text = pemOf(list.get());
    writeFile(path + ".new", text, Place::kAny);
    if (rename((path + ".new").c_str(), path.c_str()) != 0) {
        failedFile(path, errno);
    }
    return text;
}

} // namespace tarnctl
