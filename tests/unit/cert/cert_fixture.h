// What the certificate tests share: a scratch directory with the service's directories in it, and the device's choice
// of paths.
#pragma once

#include <gmock/gmock.h>
#include <openssl/err.h>

#include <atomic>
#include <string>
#include <vector>

#include "file/scratch_directory.h"
#include "pki.h"
#include "scripted_certificate.h"
#include "scripted_path.h"
#include "tarn_conference/conf_cert.h"
#include "tarn_conference/conf_log.h"
#include "told.h"

namespace tarn::test {

// The service's numbers of types 0 to 3.
inline constexpr uint32_t kOmTypes[] = {0x107, 0x109, 0x103, 0x104};

// What the feature switch answers.
extern std::atomic<uint8_t> fixedPathsSwitch;

// With ca/, crl/ and storage/ in `scratch`, as the service tells; nobody registered and no change pending.
class CertTest : public ScriptedPlatformTest {
 protected:
    static constexpr uint32_t kFailed = CONF_CERT_FAILED;

    void SetUp() override {
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
    void TearDown() override {
        scriptedPaths() = {};
        ScriptedPlatformTest::TearDown();
    }

    // Serves the type from files in `scratch`, as well as by its bytes.
    void serve(uint32_t type, const std::string& certificate, const std::string& key,
               const std::string& passPhrase = "") {
        const std::string certPath = scratch / ("cert" + std::to_string(type));
        const std::string keyPath = scratch / ("key" + std::to_string(type));
        writeFile(certPath, certificate);
        writeFile(keyPath, key);
        service.served[kOmTypes[type]] = {certificate, key, certPath, keyPath, passPhrase, {}, {}};
    }

    // The records since the last call of this, or those of one level, as "level [function]message". The name of the
    // scratch directory is left out.
    std::vector<std::string> told(char level = '\0') const {
        std::vector<std::string> texts = takeLogs();
        std::erase_if(texts, [=](const std::string& text) { return level != '\0' && text[0] != level; });
        for (std::string& text : texts) {
            for (size_t at = text.find(scratch.path()); at != std::string::npos; at = text.find(scratch.path())) {
                text.erase(at, scratch.path().size());
            }
        }
        return texts;
    }

    static std::string storePath() {
        char path[CONF_CERT_PATH_LEN];
        ConfCertGetAddrCaPath(path);
        return path;
    }

    ScratchDirectory scratch;
    ScriptedCertificates& service = ScriptedCertificates::get();
};

// Test material that is made once: keys take time.
struct TestPki {
    Key rsa = newRsaKey();
    Key ec = newEcKey();
    Identity root = issue("Test Root", ec, nullptr, true);
    Identity intermediate = issue("Test Intermediate", newEcKey(), &root, true);
    Identity leaf = issue("server", rsa, &intermediate);
};
inline const TestPki& pki() {
    static const TestPki made;
    return made;
}

} // namespace tarn::test
