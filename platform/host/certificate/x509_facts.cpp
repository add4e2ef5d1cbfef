#include "certificate/x509_facts.h"

#include <openssl/bio.h>
#include <openssl/pem.h>

#include <array>
#include <ctime>

namespace tarn::host {
namespace {

using BioPointer = std::unique_ptr<BIO, OpensslFree<BIO_free>>;

// The text that `write` puts into a BIO; empty when it fails.
template <typename Write>
std::string written(Write write) {
    const OpensslErrorScope errors;
    const BioPointer bio(BIO_new(BIO_s_mem()));
    char* text = nullptr;
    if (bio == nullptr || write(bio.get()) < 0) {
        return {};
    }
    const long length = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<size_t>(length)};
}

} // namespace

unsigned long nameHash(const X509_NAME& name) {
    return X509_NAME_hash_ex(&name, nullptr, nullptr, nullptr);
}

std::string nameId(const X509_NAME& name) {
    const OpensslErrorScope errors;
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned int length = 0;
    if (X509_NAME_digest(&name, EVP_sha256(), digest.data(), &length) != 1) {
        return {};
    }
    return hexDigits({digest.data(), length});
}

std::string nameText(const X509_NAME& name) {
    constexpr unsigned long kFlags = XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
    return written([&](BIO* bio) { return X509_NAME_print_ex(bio, &name, 0, kFlags); });
}

std::string keyTypeText(const X509& certificate) {
    const OpensslErrorScope errors;
    const EVP_PKEY* const key = X509_get0_pubkey(&certificate);
    const char* const type = key == nullptr ? nullptr : EVP_PKEY_get0_type_name(key);
    if (type == nullptr) {
        return {};
    }
    std::string text(type);
    std::array<char, 64> group;
    size_t length = 0;
    if (EVP_PKEY_get_group_name(key, group.data(), group.size(), &length) == 1) {
        text.append(" ").append(group.data());
    } else if (text == "RSA" || text == "RSA-PSS") {
        text.append(" ").append(std::to_string(EVP_PKEY_get_bits(key)));
    }
    return text;
}

int64_t secondsOf(const ASN1_TIME* time) {
    const OpensslErrorScope errors;
    std::tm parts = {};
    return time != nullptr && ASN1_TIME_to_tm(time, &parts) == 1 ? timegm(&parts) : 0;
}

std::string pemText(const X509& certificate) {
    return written([&](BIO* bio) { return PEM_write_bio_X509(bio, &certificate) == 1 ? 0 : -1; });
}

std::string pemText(const X509_CRL& crl) {
    return written([&](BIO* bio) { return PEM_write_bio_X509_CRL(bio, &crl) == 1 ? 0 : -1; });
}

} // namespace tarn::host
