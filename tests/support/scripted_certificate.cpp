#include "scripted_certificate.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "scripted_platform.h"

using tarn::test::ScriptedCertificates;
using tarn::test::ServedCertificate;

namespace {

constexpr uint32_t kCertificateFailure = 601;
constexpr uint32_t kNotServed = 602;

std::mutex queriesMutex;

template <typename Work>
uint32_t certificateCall(const char* call, Work work) {
    return tarn::test::ScriptedPlatform::get().enter(call) ? kCertificateFailure : work();
}

// With the certificate of this type, if it is served.
template <typename Work>
uint32_t withServed(uint32_t omType, Work work) {
    const auto& served = ScriptedCertificates::get().served;
    const auto found = served.find(omType);
    return found == served.end() ? kNotServed : work(found->second);
}

// As a service would that writes its field to the last byte: a text without room for its NUL has none.
template <size_t Bytes>
void fill(char (&field)[Bytes], const std::string& text) {
    std::memcpy(field, text.data(), std::min(text.size(), Bytes));
}

uint32_t sizeOf(const std::string& part) {
    return static_cast<uint32_t>(part.size());
}

uint32_t copyOut(const ServedCertificate& served, ConfCertServiceCert* certificate) {
    if (certificate->certLen < served.certificate.size()) {
        return kNotServed;
    }
    std::memcpy(certificate->certData, served.certificate.data(), served.certificate.size());
    certificate->certLen = sizeOf(served.certificate);
    if (certificate->keyData != nullptr && certificate->keyLen >= served.key.size()) {
        std::memcpy(certificate->keyData, served.key.c_str(), served.key.size() + 1);
        certificate->keyLen = sizeOf(served.key);
    }
    return 0;
}

} // namespace

namespace tarn::test {

ScriptedCertificates& ScriptedCertificates::get() {
    static ScriptedCertificates service;
    return service;
}

void ScriptedCertificates::reset() {
    get() = {};
}

std::string scriptedCertificateId(const std::string& certificate) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const char byte : certificate) {
        hash = (hash ^ static_cast<uint8_t>(byte)) * 0x100000001b3;
    }
    char text[24];
    std::snprintf(text, sizeof text, "id-%016llx", static_cast<unsigned long long>(hash));
    return text;
}

} // namespace tarn::test

uint32_t TarnOmCertClientInit(void* arg) {
    ScriptedCertificates::get().clientArgument = arg;
    return certificateCall("TarnOmCertClientInit", [] { return 0U; });
}

uint32_t TarnOmCertNotifyCallback(void (*callback)(uint32_t msgId, uint32_t omCertType)) {
    return certificateCall("TarnOmCertNotifyCallback", [&] {
        ScriptedCertificates::get().notify = callback;
        return 0U;
    });
}

uint32_t TarnOmCertGetExpectedSrvCertSize(uint32_t omType, ConfCertSizeInfo* sizes) {
    return certificateCall("TarnOmCertGetExpectedSrvCertSize", [&] {
        return withServed(omType, [&](const ServedCertificate& served) {
            *sizes = {served.reportedSize.value_or(sizeOf(served.certificate)),
                      served.reportedKeySize.value_or(sizeOf(served.key)), 0xEEEEEEEE};
            return 0U;
        });
    });
}

uint32_t TarnOmCertGetServiceCert(uint32_t omType, ConfCertServiceCert* certificate) {
    return certificateCall("TarnOmCertGetServiceCert", [&] {
        return withServed(omType, [&](const ServedCertificate& served) { return copyOut(served, certificate); });
    });
}

uint32_t TarnOmCertGetCertId(const ConfCertBlob* certificate, ConfCertBlob* id) {
    return certificateCall("TarnOmCertGetCertId", [&] {
        const std::string text = tarn::test::scriptedCertificateId(
            std::string(reinterpret_cast<const char*>(certificate->data), certificate->length));
        const uint32_t length = ScriptedCertificates::get().reportedIdLength.value_or(sizeOf(text));
        // A longer id than the text is filled up.
        std::memset(id->data, 'x', std::min(id->length, length));
        std::memcpy(id->data, text.data(), text.size());
        id->length = length;
        return 0U;
    });
}

uint32_t TarnOmCertGetCertPath(ConfCertPathQuery query, ConfCertPathInfo* info) {
    const ScriptedCertificates& service = ScriptedCertificates::get();
    {
        const std::lock_guard lock(queriesMutex);
        ScriptedCertificates::get().pathQueries.push_back({query.kind, query.constant, query.omType});
    }
    return certificateCall("TarnOmCertGetCertPath", [&] {
        if (query.kind == OM_CERT_PATH_CA_DIRECTORY || query.kind == OM_CERT_PATH_CRL_DIRECTORY) {
            fill(info->certPath, query.kind == OM_CERT_PATH_CA_DIRECTORY ? service.caDirectory : service.crlDirectory);
            return 0U;
        }
        return withServed(query.omType, [&](const ServedCertificate& served) {
            fill(info->certPath, served.certPath);
            fill(info->keyPath, served.keyPath);
            fill(info->keyPassword, served.keyPassword);
            return 0U;
        });
    });
}

uint32_t TarnOmCertGetCapability(uint8_t* ten) {
    return certificateCall("TarnOmCertGetCapability", [&] {
        std::ranges::copy(ScriptedCertificates::get().capability, ten);
        return 0U;
    });
}
