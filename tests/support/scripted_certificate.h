// The certificate service of the scripted platform: it serves what a test puts in.
#pragma once

#include <array>
#include <optional>

#include "scripted_platform.h"
#include "tarn_platform/om_certificate.h"

namespace tarn::test {

struct ServedCertificate {
    std::string certificate;
    std::string key; // the second part
    std::string certPath;
    std::string keyPath;
    std::string keyPassword;
    std::optional<uint32_t> reportedSize;    // instead of the certificate's
    std::optional<uint32_t> reportedKeySize; // instead of the key part's
};

struct ScriptedCertificates {
    std::map<uint32_t, ServedCertificate> served; // by the service's number of the type
    std::string caDirectory;
    std::string crlDirectory;
    std::array<uint8_t, 10> capability = {};
    std::optional<uint32_t> reportedIdLength; // instead of the id's

    void* clientArgument = nullptr;
    void (*notify)(uint32_t msgId, uint32_t omCertType) = nullptr;
    std::vector<std::array<uint32_t, 3>> pathQueries; // as asked, word by word

    static ScriptedCertificates& get() { return stateOf<ScriptedCertificates>(); }
    // Serves nothing.
    static void reset() { get() = {}; }
};

// The id that the service gives a certificate.
std::string scriptedCertificateId(const std::string& certificate);

} // namespace tarn::test
