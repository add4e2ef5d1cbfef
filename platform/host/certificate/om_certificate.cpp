// The certificate calls of the platform contract. Results are errno values.
#include "tarn_platform/om_certificate.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string>

#include "base/guarded.h"
#include "base/host_directory.h"
#include "certificate/certificate_client.h"
#include "certificate/key_engine.h"
#include "certificate/service_folder.h"
#include "certificate/x509_content.h"

using namespace tarn::host;

namespace {

constexpr uint32_t kQueryConstant = 2;
constexpr size_t kCapabilityBytes = 10;

uint32_t reported(uint64_t size) {
    return static_cast<uint32_t>(std::min<uint64_t>(size, std::numeric_limits<uint32_t>::max()));
}

// The key of a keyless type stays with the engine: for the caller there is none.
template <typename Read>
int unlessKeyless(const ServiceFolder& folder, Read read) {
    if (folder.isKeyless()) {
        return 0;
    }
    const int error = read();
    return error == ENOENT ? 0 : error;
}

int expectedSizes(const ServiceFolder& folder, ConfCertSizeInfo& sizes) {
    uint64_t certificate = 0;
    uint64_t key = 0;
    int error = folder.certificateSize(certificate);
    error = error != 0 ? error : unlessKeyless(folder, [&] { return folder.keySize(key); });
    if (error == 0) {
        sizes = {reported(certificate), reported(key), 0};
    }
    return error;
}

// The files may have grown since the caller asked for their sizes, so what was told then is the bound now.
int readService(const CertificateType& type, ConfCertServiceCert& service) {
    FileBytes certificate;
    FileBytes key;
    const int error = useServiceFolder(type, [&](const ServiceFolder& folder) {
        key = FileBytes();
        const int failure = folder.readCertificate(service.certLen, certificate);
        if (failure != 0 || service.keyData == nullptr) {
            return failure;
        }
        return unlessKeyless(folder, [&] { return folder.readKey(service.keyLen, key); });
    });
    if (error != 0) {
        return error;
    }
    std::copy(certificate.all().begin(), certificate.all().end(), service.certData);
    service.certLen = static_cast<uint32_t>(certificate.size());
    if (service.keyData != nullptr) {
        std::copy(key.all().begin(), key.all().end(), service.keyData);
    }
    service.keyLen = static_cast<uint32_t>(key.size());
    return 0;
}

int storeText(const std::string& text, char* buffer, size_t bytes) {
    if (text.size() >= bytes) {
        return ENAMETOOLONG;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return 0;
}

int storePath(const ServiceFolder& folder, const char* name, char* path) {
    return storeText(std::string(folder.path()).append("/").append(name), path, OM_CERT_PATH_LEN);
}

int keyPaths(const ServiceFolder& folder, ConfCertPathInfo& info) {
    uint64_t size = 0;
    std::string passPhrase;
    int error = folder.keySize(size);
    error = error != 0 ? error : folder.readPassPhrase(passPhrase);
    error = error != 0 ? error : storeText(passPhrase, info.keyPassword, sizeof info.keyPassword);
    OPENSSL_cleanse(passPhrase.data(), passPhrase.size());
    return error != 0 ? error : storePath(folder, kKeyFile, info.keyPath);
}

int servicePaths(const ServiceFolder& folder, ConfCertPathInfo& info) {
    uint64_t size = 0;
    int error = folder.certificateSize(size);
    if (error != 0) {
        return error;
    }
    error = storePath(folder, kCertificateFile, info.certPath);
    return error != 0 ? error : unlessKeyless(folder, [&] { return keyPaths(folder, info); });
}

// What is not installed leaves an empty path, which is no failure.
int servicePaths(const CertificateType& type, ConfCertPathInfo& info) {
    const int error = useServiceFolder(
        type, [&] { OPENSSL_cleanse(&info, sizeof info); },
        [&](const ServiceFolder& folder) { return servicePaths(folder, info); });
    return error == ENOENT ? 0 : error;
}

int directoryPath(const char* name, ConfCertPathInfo& info) {
    std::string path;
    const int error = makeHostSubdirectory(name, path);
    return error != 0 ? error : storeText(path, info.certPath, sizeof info.certPath);
}

int answerQuery(const ConfCertPathQuery& query, ConfCertPathInfo& info) {
    const CertificateType* const type = findCertificateType(query.omType);
    if (query.constant != kQueryConstant) {
        return EINVAL;
    }
    switch (query.kind) {
        case OM_CERT_PATH_SERVICE:
            return type == nullptr ? EINVAL : servicePaths(*type, info);
        case OM_CERT_PATH_CA_DIRECTORY:
            return directoryPath("cert/ca", info);
        case OM_CERT_PATH_CRL_DIRECTORY:
            return directoryPath("cert/crl", info);
        default:
            return EINVAL;
    }
}

} // namespace

uint32_t TarnOmCertClientInit(void*) {
    return guarded([] {
        const int error = registerKeyEngine();
        return error != 0 ? error : CertificateClient::get().start();
    });
}

uint32_t TarnOmCertNotifyCallback(void (*callback)(uint32_t msgId, uint32_t omCertType)) {
    return guarded([&] {
        CertificateClient& client = CertificateClient::get();
        const int error = callback == nullptr ? 0 : client.start();
        if (error == 0) {
            client.setCallback(callback);
        }
        return error;
    });
}

uint32_t TarnOmCertGetExpectedSrvCertSize(uint32_t omType, ConfCertSizeInfo* sizes) {
    const CertificateType* const type = findCertificateType(omType);
    if (type == nullptr || sizes == nullptr) {
        return EINVAL;
    }
    return guarded([&] {
        ConfCertSizeInfo found = {};
        const int error =
            useServiceFolder(*type, [&](const ServiceFolder& folder) { return expectedSizes(folder, found); });
        *sizes = error == 0 ? found : *sizes;
        return error;
    });
}

uint32_t TarnOmCertGetServiceCert(uint32_t omType, ConfCertServiceCert* certificate) {
    const CertificateType* const type = findCertificateType(omType);
    if (type == nullptr || certificate == nullptr || certificate->certData == nullptr) {
        return EINVAL;
    }
    return guarded([&] { return readService(*type, *certificate); });
}

uint32_t TarnOmCertGetCertId(const ConfCertBlob* certificate, ConfCertBlob* id) {
    if (certificate == nullptr || certificate->data == nullptr || id == nullptr || id->data == nullptr) {
        return EINVAL;
    }
    return guarded([&]() -> int {
        CertificatePointer parsed;
        const int error = readCertificate({certificate->data, certificate->length}, parsed);
        if (error != 0) {
            return error;
        }
        const std::string text = certificateId(*parsed);
        if (text.empty()) {
            return ENOMEM;
        }
        if (text.size() >= id->length) {
            return EMSGSIZE;
        }
        std::memcpy(id->data, text.c_str(), text.size() + 1);
        id->length = static_cast<uint32_t>(text.size());
        return 0;
    });
}

uint32_t TarnOmCertGetCertPath(ConfCertPathQuery query, ConfCertPathInfo* info) {
    if (info == nullptr) {
        return EINVAL;
    }
    return guarded([&] {
        ConfCertPathInfo answer = {};
        const int error = answerQuery(query, answer);
        if (error == 0) {
            *info = answer;
        }
        OPENSSL_cleanse(&answer, sizeof answer);
        return error;
    });
}

uint32_t TarnOmCertGetCapability(uint8_t* ten) {
    if (ten == nullptr) {
        return EINVAL;
    }
    return guarded([&] {
        std::array<uint8_t, kCapabilityBytes> capability = {};
        for (const CertificateType& type : kCertificateTypes) {
            uint8_t& flag = capability[type.capabilityIndex];
            const int error = useServiceFolder(
                type, [&] { flag = 0; },
                [&](const ServiceFolder& folder) {
                    flag = folder.isKeyless() ? 1 : 0;
                    return 0;
                });
            if (error != 0 && error != ENOENT) {
                return error;
            }
        }
        std::copy(capability.begin(), capability.end(), ten);
        return 0;
    });
}
