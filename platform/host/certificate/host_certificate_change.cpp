// Installs and removes certificates. All is checked before anything is written.
#include <openssl/crypto.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/guarded.h"
#include "base/host_directory.h"
#include "certificate/draft_folder.h"
#include "certificate/service_folder.h"
#include "certificate/x509_facts.h"
#include "tarn_host/host_certificate.h"

using namespace tarn::host;

namespace {

constexpr size_t kNameDigits = 16;

std::span<const uint8_t> bytesOf(const void* data, size_t bytes) {
    return {static_cast<const uint8_t*>(data), bytes};
}

std::string_view passPhraseOf(const TarnHostCertInstallation& installation) {
    return installation.passPhrase == nullptr ? "" : installation.passPhrase;
}

int checkShape(const TarnHostCertInstallation& installation) {
    if (installation.certificate == nullptr || installation.key == nullptr ||
        findCertificateType(installation.omType) == nullptr ||
        passPhraseOf(installation).find_first_of("\r\n") != std::string_view::npos) {
        return EINVAL;
    }
    const bool fits = installation.certificateBytes <= kMostCertificateBytes &&
                      installation.keyBytes <= kMostKeyBytes &&
                      passPhraseOf(installation).size() <= kMostPassPhraseBytes;
    return fits ? 0 : EFBIG;
}

int checkContent(const TarnHostCertInstallation& installation) {
    std::vector<CertificatePointer> chain;
    int error = readPemCertificates(bytesOf(installation.certificate, installation.certificateBytes), chain);
    if (error != 0) {
        return error;
    }
    KeyPointer key;
    std::string passPhrase(passPhraseOf(installation));
    error = readPemKey(bytesOf(installation.key, installation.keyBytes), passPhrase, key);
    OPENSSL_cleanse(passPhrase.data(), passPhrase.size());
    if (error != 0) {
        return error;
    }
    return isKeyOf(*chain.front(), *key) ? 0 : EKEYREJECTED;
}

int writeService(const TarnHostCertInstallation& installation, int folder) {
    const std::string_view passPhrase = passPhraseOf(installation);
    int error =
        writeNewFile(folder, kCertificateFile, bytesOf(installation.certificate, installation.certificateBytes));
    error = error != 0 ? error : writeNewFile(folder, kKeyFile, bytesOf(installation.key, installation.keyBytes));
    if (error == 0 && !passPhrase.empty()) {
        error = writeNewFile(folder, kPassPhraseFile, bytesOf(passPhrase.data(), passPhrase.size()));
    }
    if (error == 0 && installation.isKeyless != 0) {
        error = writeNewFile(folder, kKeylessFile, {});
    }
    return error;
}

int servicePath(const CertificateType& type, std::string& path) {
    const int error = serviceParent(path);
    path.append("/").append(type.folder);
    return error;
}

int install(const TarnHostCertInstallation& installation) {
    int error = checkShape(installation);
    error = error != 0 ? error : checkContent(installation);
    std::string path;
    error = error != 0 ? error : servicePath(*findCertificateType(installation.omType), path);
    DraftFolder draft;
    error = error != 0 ? error : DraftFolder::make(draft);
    error = error != 0 ? error : writeService(installation, draft.folder());
    return error != 0 ? error : draft.takePlaceOf(path);
}

int uninstall(const CertificateType& type) {
    std::string path;
    DraftFolder draft;
    int error = servicePath(type, path);
    error = error != 0 ? error : DraftFolder::make(draft);
    return error != 0 ? error : draft.takeIn(path);
}

// Contents by file names.
using NamedTexts = std::map<std::string, std::string>;

// "PREFIX-HASH-DIGITS.pem"
std::string fileName(const char* prefix, unsigned long hash, const std::string& digits) {
    std::array<char, 64> name;
    std::snprintf(name.data(), name.size(), "%s-%08lx-%.*s.pem", prefix, hash, static_cast<int>(kNameDigits),
                  digits.c_str());
    return name.data();
}

std::string fileName(const X509& certificate) {
    return fileName("ca", nameHash(*X509_get_subject_name(&certificate)), certificateId(certificate));
}

std::string fileName(const X509_CRL& crl) {
    const X509_NAME& issuer = *X509_CRL_get_issuer(&crl);
    return fileName("crl", nameHash(issuer), nameId(issuer));
}

int placeFiles(const char* subdirectory, const NamedTexts& files) {
    std::string path;
    DraftFolder draft;
    int error = makeHostSubdirectory(subdirectory, path);
    error = error != 0 ? error : DraftFolder::make(draft);
    for (const auto& [name, pem] : files) {
        error = error != 0 ? error : writeNewFile(draft.folder(), name.c_str(), bytesOf(pem.data(), pem.size()));
    }
    path += '/';
    for (const auto& [name, pem] : files) {
        error = error != 0 ? error : draft.moveFile(name, path + name);
    }
    return error;
}

template <typename Pointer, typename Read>
int addFiles(const char* subdirectory, std::span<const uint8_t> pem, uint32_t* count, Read read) {
    if (pem.data() == nullptr) {
        return EINVAL;
    }
    std::vector<Pointer> objects;
    int error = read(pem, objects);
    NamedTexts files;
    for (const Pointer& object : objects) {
        std::string& text = files[fileName(*object)];
        text = pemText(*object);
        error = text.empty() ? ENOMEM : error;
    }
    error = error != 0 ? error : placeFiles(subdirectory, files);
    if (error == 0 && count != nullptr) {
        *count = static_cast<uint32_t>(objects.size());
    }
    return error;
}

uint32_t removeFile(const char* subdirectory, const char* name) {
    const std::string_view given(name == nullptr ? "" : name);
    if (given.empty() || given == "." || given == ".." || given.find('/') != std::string_view::npos) {
        return EINVAL;
    }
    return guarded([&] {
        std::string path;
        const int error = makeHostSubdirectory(subdirectory, path);
        if (error != 0) {
            return error;
        }
        path.append("/").append(given);
        return unlink(path.c_str()) == 0 ? 0 : errno;
    });
}

} // namespace

uint32_t TarnHostCertInstall(const TarnHostCertInstallation* installation) {
    return installation == nullptr ? EINVAL : guarded([&] { return install(*installation); });
}

uint32_t TarnHostCertUninstall(uint32_t omType) {
    const CertificateType* const type = findCertificateType(omType);
    return type == nullptr ? EINVAL : guarded([&] { return uninstall(*type); });
}

uint32_t TarnHostCertAddCa(const void* pem, uint32_t bytes, uint32_t* count) {
    return guarded(
        [&] { return addFiles<CertificatePointer>("cert/ca", bytesOf(pem, bytes), count, readPemCertificates); });
}

uint32_t TarnHostCertRemoveCa(const char* name) {
    return removeFile("cert/ca", name);
}

uint32_t TarnHostCertAddCrl(const void* pem, uint32_t bytes, uint32_t* count) {
    return guarded([&] { return addFiles<CrlPointer>("cert/crl", bytesOf(pem, bytes), count, readPemCrls); });
}

uint32_t TarnHostCertRemoveCrl(const char* name) {
    return removeFile("cert/crl", name);
}
