// Tells what the certificate folders hold.
#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/guarded.h"
#include "base/host_directory.h"
#include "certificate/service_folder.h"
#include "certificate/x509_facts.h"
#include "tarn_host/host_certificate.h"

using namespace tarn::host;

namespace {

constexpr size_t kMostListBytes = size_t{16} * 1024 * 1024;

struct DirectoryClose {
    void operator()(DIR* directory) const { closedir(directory); }
};

template <size_t Bytes>
void store(const std::string& text, char (&field)[Bytes]) {
    size_t length = std::min(text.size(), Bytes - 1);
    // Not within a character of UTF-8.
    while (length < text.size() && length > 0 && (static_cast<uint8_t>(text[length]) & 0xC0U) == 0x80U) {
        length--;
    }
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

std::string hashName(unsigned long hash, const char* ending) {
    char name[16];
    std::snprintf(name, sizeof name, "%08lx.%s", hash, ending);
    return name;
}

void storeFacts(const X509& certificate, TarnHostCertFacts& facts) {
    const X509_NAME& subject = *X509_get_subject_name(&certificate);
    facts.notBefore = secondsOf(X509_get0_notBefore(&certificate));
    facts.notAfter = secondsOf(X509_get0_notAfter(&certificate));
    store(nameText(subject), facts.subject);
    store(nameText(*X509_get_issuer_name(&certificate)), facts.issuer);
    store(keyTypeText(certificate), facts.keyType);
    store(hashName(nameHash(subject), "0"), facts.hashName);
    store(certificateId(certificate), facts.id);
}

void storeFacts(const X509_CRL& crl, TarnHostCertFacts& facts) {
    const X509_NAME& issuer = *X509_CRL_get_issuer(&crl);
    facts.notBefore = secondsOf(X509_CRL_get0_lastUpdate(&crl));
    facts.notAfter = secondsOf(X509_CRL_get0_nextUpdate(&crl));
    store(nameText(issuer), facts.issuer);
    store(hashName(nameHash(issuer), "r0"), facts.hashName);
}

int readService(const CertificateType& type, const ServiceFolder& folder, TarnHostCertFacts& facts) {
    facts = {};
    facts.kind = TARN_HOST_CERT_SERVICE;
    facts.omType = type.omType;
    facts.isKeyless = folder.isKeyless() ? 1 : 0;
    FileBytes bytes;
    CertificatePointer certificate;
    int error = folder.readCertificate(kMostCertificateBytes, bytes);
    error = error != 0 ? error : readCertificate(bytes.all(), certificate);
    if (error == 0) {
        KeyPointer key;
        facts.keyError = static_cast<uint32_t>(loadOwnKey(folder, *certificate, key));
        storeFacts(*certificate, facts);
    }
    return error;
}

template <typename Pointer, typename Read>
int readFirst(int folder, const char* name, Read read, TarnHostCertFacts& facts) {
    FileBytes bytes;
    std::vector<Pointer> objects;
    int error = readRegularFile(folder, name, Readers::kAnybody, kMostListBytes, bytes);
    error = error != 0 ? error : read(bytes.all(), objects);
    if (error == 0) {
        storeFacts(*objects.front(), facts);
    }
    return error;
}

int readFile(uint32_t kind, int folder, const char* name, TarnHostCertFacts& facts) {
    return kind == TARN_HOST_CERT_CA ? readFirst<CertificatePointer>(folder, name, readPemCertificates, facts)
                                     : readFirst<CrlPointer>(folder, name, readPemCrls, facts);
}

// 0 or an errno.
int namesIn(DIR* directory, std::vector<std::string>& names) {
    errno = 0;
    while (const dirent* entry = readdir(directory)) {
        const std::string name(entry->d_name);
        if (name != "." && name != "..") {
            names.push_back(name);
        }
        errno = 0;
    }
    std::sort(names.begin(), names.end());
    return errno;
}

// Calls the visitor with facts that `read` fills.
class Lister {
 public:
    Lister(void (*visit)(const TarnHostCertFacts*, void*), void* context) : visit_(visit), context_(context) {}

    void listServices() const {
        for (const CertificateType& type : kCertificateTypes) {
            TarnHostCertFacts facts = {};
            bool isThere = false;
            const auto forget = [&] {
                facts = {};
                isThere = false;
            };
            const int error = useServiceFolder(type, forget, [&](const ServiceFolder& folder) {
                isThere = true;
                return readService(type, folder, facts);
            });
            if (isThere || error != ENOENT) {
                tell(facts, type.folder, error);
            }
        }
    }

    int listFolder(uint32_t kind, const char* subdirectory) const {
        std::string path;
        int error = makeHostSubdirectory(subdirectory, path);
        if (error != 0) {
            return error;
        }
        const std::unique_ptr<DIR, DirectoryClose> directory(opendir(path.c_str()));
        std::vector<std::string> names;
        error = directory == nullptr ? errno : namesIn(directory.get(), names);
        if (error != 0) {
            return error;
        }
        for (const std::string& name : names) {
            TarnHostCertFacts facts = {};
            facts.kind = kind;
            tell(facts, name, readFile(kind, dirfd(directory.get()), name.c_str(), facts));
        }
        return 0;
    }

 private:
    void tell(TarnHostCertFacts& facts, const std::string& name, int error) const {
        facts.error = static_cast<uint32_t>(error);
        store(name, facts.name);
        visit_(&facts, context_);
    }

    void (*visit_)(const TarnHostCertFacts*, void*);
    void* context_;
};

} // namespace

uint32_t TarnHostCertList(void (*visit)(const TarnHostCertFacts* facts, void* context), void* context) {
    if (visit == nullptr) {
        return EINVAL;
    }
    return guarded([&] {
        const Lister lister(visit, context);
        lister.listServices();
        const int error = lister.listFolder(TARN_HOST_CERT_CA, "cert/ca");
        return error != 0 ? error : lister.listFolder(TARN_HOST_CERT_CRL, "cert/crl");
    });
}
