// The certificate service, and the TLS extension by what stock OpenSSL has for it.
#include "scripted_certificate.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "tarn_platform/tls_extension.h"

using namespace tarn::test;

namespace {

constexpr uint32_t kCertificateFailure = 601;
constexpr uint32_t kNotServed = 602;

std::mutex queriesMutex;

// A call that works with the certificate of this type, if it is served.
template <typename Work>
uint32_t servedCall(const char* call, uint32_t omType, Work work) {
    return scriptedCall(call, kCertificateFailure, [&] {
        const auto& served = ScriptedCertificates::get().served;
        const auto found = served.find(omType);
        return found == served.end() ? kNotServed : work(found->second);
    });
}

// As a service would that writes its field to the last byte: a text without room for its NUL has none.
template <size_t Bytes>
void fill(char (&field)[Bytes], const std::string& text) {
    std::memcpy(field, text.data(), std::min(text.size(), Bytes));
}

uint32_t sizeOf(const std::string& part) {
    return static_cast<uint32_t>(part.size());
}

} // namespace

std::string tarn::test::scriptedCertificateId(const std::string& certificate) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const char byte : certificate) {
        hash = (hash ^ static_cast<uint8_t>(byte)) * 0x100000001b3;
    }
    char text[24];
    std::snprintf(text, sizeof text, "id-%016llx", static_cast<unsigned long long>(hash));
    return text;
}

uint32_t TarnOmCertClientInit(void* arg) {
    ScriptedCertificates::get().clientArgument = arg;
    return scriptedCall(__func__, kCertificateFailure, [] {});
}

uint32_t TarnOmCertNotifyCallback(void (*callback)(uint32_t msgId, uint32_t omCertType)) {
    return scriptedCall(__func__, kCertificateFailure, [=] { ScriptedCertificates::get().notify = callback; });
}

uint32_t TarnOmCertGetExpectedSrvCertSize(uint32_t omType, ConfCertSizeInfo* sizes) {
    return servedCall(__func__, omType, [=](const ServedCertificate& served) {
        *sizes = {served.reportedSize.value_or(sizeOf(served.certificate)),
                  served.reportedKeySize.value_or(sizeOf(served.key)), 0xEEEEEEEE};
        return 0U;
    });
}

uint32_t TarnOmCertGetServiceCert(uint32_t omType, ConfCertServiceCert* certificate) {
    return servedCall(__func__, omType, [=](const ServedCertificate& served) {
        if (certificate->certLen < served.certificate.size()) {
            return kNotServed;
        }
        std::memcpy(certificate->certData, served.certificate.data(), served.certificate.size());
        certificate->certLen = sizeOf(served.certificate);
        if (certificate->keyData != nullptr && certificate->keyLen >= served.key.size()) {
            std::memcpy(certificate->keyData, served.key.c_str(), served.key.size() + 1);
            certificate->keyLen = sizeOf(served.key);
        }
        return 0U;
    });
}

uint32_t TarnOmCertGetCertId(const ConfCertBlob* certificate, ConfCertBlob* id) {
    return scriptedCall(__func__, kCertificateFailure, [=] {
        const std::string text =
            scriptedCertificateId(std::string(reinterpret_cast<const char*>(certificate->data), certificate->length));
        const uint32_t length = ScriptedCertificates::get().reportedIdLength.value_or(sizeOf(text));
        // A longer id than the text is filled up.
        std::memset(id->data, 'x', std::min(id->length, length));
        std::memcpy(id->data, text.data(), text.size());
        id->length = length;
    });
}

uint32_t TarnOmCertGetCertPath(ConfCertPathQuery query, ConfCertPathInfo* info) {
    ScriptedCertificates& service = ScriptedCertificates::get();
    std::unique_lock lock(queriesMutex);
    service.pathQueries.push_back({query.kind, query.constant, query.omType});
    lock.unlock();
    if (query.kind == OM_CERT_PATH_CA_DIRECTORY || query.kind == OM_CERT_PATH_CRL_DIRECTORY) {
        return scriptedCall(__func__, kCertificateFailure, [&] {
            fill(info->certPath, query.kind == OM_CERT_PATH_CA_DIRECTORY ? service.caDirectory : service.crlDirectory);
        });
    }
    return servedCall(__func__, query.omType, [=](const ServedCertificate& served) {
        fill(info->certPath, served.certPath);
        fill(info->keyPath, served.keyPath);
        fill(info->keyPassword, served.keyPassword);
        return 0U;
    });
}

uint32_t TarnOmCertGetCapability(uint8_t* ten) {
    return scriptedCall(__func__, kCertificateFailure,
                        [=] { std::ranges::copy(ScriptedCertificates::get().capability, ten); });
}

int SSL_CTX_load_cacertificate_file(SSL_CTX* context, const char* path, uint32_t fileType) {
    return isToFail(__func__) || fileType != 1 ? 0 : SSL_CTX_load_verify_locations(context, path, nullptr);
}
