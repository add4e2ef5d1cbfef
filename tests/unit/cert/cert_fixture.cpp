#include "cert_fixture.h"

#include <openssl/err.h>

#include "tarn_conference/conf_settings.h"

namespace tarn::test {

std::atomic<uint8_t> fixedPathsSwitch{0};

void CertTest::SetUp() {
    ScriptedPlatformTest::SetUp();
    ScriptedCertificates::reset();
    fixedPathsSwitch = 0;
    for (const char* const name : {"ca", "crl", "storage"}) {
        std::filesystem::create_directory(scratch / name);
    }
    service.caDirectory = scratch / "ca";
    service.crlDirectory = scratch / "crl";
    scriptedPaths().storage = scratch / "storage";
    ConfCertNotifyCallback([](uint32_t) {});
    ConfCertNotifyCallback(nullptr);
    ConfCertUpdateNotifyCallback(nullptr);
    ERR_clear_error();
    platform.reset();
}

void CertTest::TearDown() {
    scriptedPaths() = {};
    ScriptedPlatformTest::TearDown();
}

void CertTest::serve(uint32_t type, const std::string& certificate, const std::string& key,
                     const std::string& passPhrase) {
    const std::string certPath = scratch / ("cert" + std::to_string(type));
    const std::string keyPath = scratch / ("key" + std::to_string(type));
    writeFile(certPath, certificate);
    writeFile(keyPath, key);
    service.served[kOmTypes[type]] = {certificate, key, certPath, keyPath, passPhrase, {}, {}};
}

std::vector<std::string> CertTest::textsAt(int level) const {
    std::vector<std::string> texts;
    for (const LogRecord& record : platform.logs()) {
        if (record.level == level) {
            texts.push_back(record.text);
        }
    }
    return texts;
}

std::vector<std::string> CertTest::texts() const {
    std::vector<std::string> texts;
    for (const LogRecord& record : platform.logs()) {
        texts.push_back(record.level == CONF_LOG_ERROR ? record.text
                                                       : std::to_string(record.level) + " " + record.text);
    }
    return texts;
}

std::vector<std::string> replaced(std::vector<std::string> texts, const std::string& before, const std::string& after) {
    for (std::string& text : texts) {
        for (size_t at = text.find(before); at != std::string::npos; at = text.find(before, at + after.size())) {
            text.replace(at, before.size(), after);
        }
    }
    return texts;
}

const TestPki& pki() {
    static const TestPki made;
    return made;
}

} // namespace tarn::test

// In place of the library's own: that one reads its settings only once in the life of a process.
uint8_t CallServiceIsForbiddenKitCap(void) {
    return tarn::test::fixedPathsSwitch;
}
