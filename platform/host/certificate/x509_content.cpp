#include "certificate/x509_content.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>

namespace tarn::host {
namespace {

using BioPointer = std::unique_ptr<BIO, OpensslFree<BIO_free>>;

BioPointer memoryBio(std::span<const uint8_t> bytes) {
    return BioPointer(bytes.size() > INT_MAX ? nullptr : BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

// In place of OpenSSL's own callback, which would ask at the terminal. A missing pass phrase is an error, which an
// empty one would not be for PKCS #8.
int givePassPhrase(char* buffer, int size, int, void* context) {
    const auto* passPhrase = static_cast<const std::string*>(context);
    if (passPhrase == nullptr || passPhrase->empty() || passPhrase->size() > static_cast<size_t>(size)) {
        return -1;
    }
    std::copy(passPhrase->begin(), passPhrase->end(), buffer);
    return static_cast<int>(passPhrase->size());
}

bool reachedEnd() {
    const unsigned long error = ERR_peek_last_error();
    return ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
}

template <typename Pointer, typename Read>
int readPemObjects(std::span<const uint8_t> bytes, Read read, std::vector<Pointer>& objects) {
    const OpensslErrorScope errors;
    const BioPointer bio = memoryBio(bytes);
    if (bio == nullptr) {
        return ENOMEM;
    }
    std::vector<Pointer> found;
    while (Pointer object{read(bio.get(), nullptr, givePassPhrase, nullptr)}) {
        found.push_back(std::move(object));
    }
    if (found.empty() || !reachedEnd()) {
        return EBADMSG;
    }
    for (Pointer& object : found) {
        objects.push_back(std::move(object));
    }
    return 0;
}

// Both kinds of encrypted PEM keys say so: in the header line (RFC 7468) or in "Proc-Type" (RFC 1421).
bool isEncrypted(std::span<const uint8_t> bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return text.find("ENCRYPTED") != std::string_view::npos;
}

} // namespace

OpensslErrorScope::OpensslErrorScope() {
    ERR_set_mark();
}

OpensslErrorScope::~OpensslErrorScope() {
    ERR_pop_to_mark();
}

int readPemCertificates(std::span<const uint8_t> bytes, std::vector<CertificatePointer>& certificates) {
    return readPemObjects(bytes, PEM_read_bio_X509_AUX, certificates);
}

int readPemCrls(std::span<const uint8_t> bytes, std::vector<CrlPointer>& crls) {
    return readPemObjects(bytes, PEM_read_bio_X509_CRL, crls);
}

int readDerCertificate(std::span<const uint8_t> bytes, CertificatePointer& certificate) {
    const OpensslErrorScope errors;
    const unsigned char* next = bytes.data();
    CertificatePointer found(bytes.size() > LONG_MAX ? nullptr
                                                     : d2i_X509(nullptr, &next, static_cast<long>(bytes.size())));
    if (found == nullptr || next != bytes.data() + bytes.size()) {
        return EBADMSG;
    }
    certificate = std::move(found);
    return 0;
}

int readCertificate(std::span<const uint8_t> bytes, CertificatePointer& certificate) {
    const OpensslErrorScope errors;
    const BioPointer bio = memoryBio(bytes);
    if (bio == nullptr) {
        return ENOMEM;
    }
    CertificatePointer found(PEM_read_bio_X509_AUX(bio.get(), nullptr, givePassPhrase, nullptr));
    if (found == nullptr) {
        return readDerCertificate(bytes, certificate);
    }
    certificate = std::move(found);
    return 0;
}

int readPemKey(std::span<const uint8_t> bytes, const std::string& passPhrase, KeyPointer& key) {
    const OpensslErrorScope errors;
    const BioPointer bio = memoryBio(bytes);
    if (bio == nullptr) {
        return ENOMEM;
    }
    KeyPointer found(
        PEM_read_bio_PrivateKey(bio.get(), nullptr, givePassPhrase, const_cast<std::string*>(&passPhrase)));
    if (found == nullptr) {
        return isEncrypted(bytes) ? ENOKEY : EBADMSG;
    }
    key = std::move(found);
    return 0;
}

bool isKeyOf(const X509& certificate, const EVP_PKEY& key) {
    const OpensslErrorScope errors;
    return X509_check_private_key(&certificate, &key) == 1;
}

std::string hexDigits(std::span<const uint8_t> bytes) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

std::string certificateId(const X509& certificate) {
    const OpensslErrorScope errors;
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned int length = 0;
    if (X509_digest(&certificate, EVP_sha256(), digest.data(), &length) != 1) {
        return {};
    }
    return hexDigits({digest.data(), length});
}

} // namespace tarn::host
