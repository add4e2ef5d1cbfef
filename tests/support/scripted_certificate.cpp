#include "scripted_certificate.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "scripted_platform.h"

using tarn::test::ScriptedCertificates;
using tarn::test::ScriptedPlatform;
using tarn::test::ServedCertificate;

namespace {

constexpr uint32_t kCertificateFailure = 601;
constexpr uint32_t kNotServed = 602;

std::mutex queriesMutex;

bool certificateCallFails(const char* call) {
    return ScriptedPlatform::get().enter(call);
}

const ServedCertificate* find(uint32_t omType) {
    const auto& served = ScriptedCertificates::get().served;
    const auto found = served.find(omType);
    return found == served.end() ? nullptr : &found->second;
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
    return certificateCallFails("TarnOmCertClientInit") ? kCertificateFailure : 0;
}

uint32_t TarnOmCertNotifyCallback(void (*callback)(uint32_t msgId, uint32_t omCertType)) {
    if (certificateCallFails("TarnOmCertNotifyCallback")) {
        return kCertificateFailure;
    }
    ScriptedCertificates::get().notify = callback;
    return 0;
}

uint32_t TarnOmCertGetExpectedSrvCertSize(uint32_t omType, ConfCertSizeInfo* sizes) {
    if (certificateCallFails("TarnOmCertGetExpectedSrvCertSize")) {
        return kCertificateFailure;
    }
    const ServedCertificate* const served = find(omType);
    if (served == nullptr) {
        return kNotServed;
    }
    *sizes = {served->reportedSize.value_or(sizeOf(served->certificate)),
              served->reportedKeySize.value_or(sizeOf(served->key)), 0xEEEEEEEE};
    return 0;
}

uint32_t TarnOmCertGetServiceCert(uint32_t omType, ConfCertServiceCert* certificate) {
    if (certificateCallFails("TarnOmCertGetServiceCert")) {
        return kCertificateFailure;
    }
    const ServedCertificate* const served = find(omType);
    if (served == nullptr || certificate->certLen < served->certificate.size()) {
        return kNotServed;
    }
    std::memcpy(certificate->certData, served->certificate.data(), served->certificate.size());
    certificate->certLen = sizeOf(served->certificate);
    if (certificate->keyData != nullptr && certificate->keyLen >= served->key.size()) {
        std::memcpy(certificate->keyData, served->key.c_str(), served->key.size() + 1);
        certificate->keyLen = sizeOf(served->key);
    }
    return 0;
}

uint32_t TarnOmCertGetCertId(const ConfCertBlob* certificate, ConfCertBlob* id) {
    if (certificateCallFails("TarnOmCertGetCertId")) {
        return kCertificateFailure;
    }
    const std::string text = tarn::test::scriptedCertificateId(
        std::string(reinterpret_cast<const char*>(certificate->data), certificate->length));
    if (id->length < text.size()) {
        return kNotServed;
    }
    const uint32_t length = ScriptedCertificates::get().reportedIdLength.value_or(sizeOf(text));
    // A longer id than the text is filled up.
    std::memset(id->data, 'x', std::min(id->length, length));
    std::memcpy(id->data, text.data(), text.size());
    id->length = length;
    return 0;
}

uint32_t TarnOmCertGetCertPath(ConfCertPathQuery query, ConfCertPathInfo* info) {
    {
        const std::lock_guard lock(queriesMutex);
        ScriptedCertificates::get().pathQueries.push_back({query.kind, query.constant, query.omType});
    }
    if (certificateCallFails("TarnOmCertGetCertPath")) {
        return kCertificateFailure;
    }
    if (query.kind == OM_CERT_PATH_CA_DIRECTORY || query.kind == OM_CERT_PATH_CRL_DIRECTORY) {
        const ScriptedCertificates& service = ScriptedCertificates::get();
        fill(info->certPath, query.kind == OM_CERT_PATH_CA_DIRECTORY ? service.caDirectory : service.crlDirectory);
        return 0;
    }
    const ServedCertificate* const served = find(query.omType);
    if (served == nullptr) {
        return kNotServed;
    }
    fill(info->certPath, served->certPath);
    fill(info->keyPath, served->keyPath);
    fill(info->keyPassword, served->keyPassword);
    return 0;
}

uint32_t TarnOmCertGetCapability(uint8_t* ten) {
    if (certificateCallFails("TarnOmCertGetCapability")) {
        return kCertificateFailure;
    }
    std::ranges::copy(ScriptedCertificates::get().capability, ten);
    return 0;
}
