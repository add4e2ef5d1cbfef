// What the certificate tests share: a scratch directory with the service's directories in it, and the device's choice
// of paths.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <string>
#include <vector>

#include "file/scratch_directory.h"
#include "pki.h"
#include "scripted_certificate.h"
#include "scripted_path.h"
#include "scripted_platform.h"
#include "tarn_conference/conf_cert.h"
#include "tarn_conference/conf_log.h"

namespace tarn::test {

// The service's numbers of types 0 to 3.
inline constexpr uint32_t kOmTypes[] = {0x107, 0x109, 0x103, 0x104};

// What the feature switch answers.
extern std::atomic<uint8_t> fixedPathsSwitch;

// With ca/, crl/ and storage/ in `scratch`, as the service tells; nobody registered and no change pending.
class CertTest : public ScriptedPlatformTest {
 protected:
    void SetUp() override;
    void TearDown() override;

    // Serves the type from files in `scratch`, as well as by its bytes.
    void serve(uint32_t type, const std::string& certificate, const std::string& key,
               const std::string& passPhrase = "");
    // Texts of the records at this level, in order.
    std::vector<std::string> textsAt(int level) const;
    // Texts of all records, in order; the level stands in front where it is not that of errors.
    std::vector<std::string> texts() const;

    ScratchDirectory scratch;
    ScriptedCertificates& service = ScriptedCertificates::get();
};

// The text with `before` replaced by `after` everywhere; so that expectations need no scratch names.
std::vector<std::string> replaced(std::vector<std::string> texts, const std::string& before, const std::string& after);

// Test material that is made once: keys take time.
struct TestPki {
    Key rsa = newRsaKey();
    Key ec = newEcKey();
    Identity root = issue("Test Root", ec, nullptr, true);
    Identity intermediate = issue("Test Intermediate", newEcKey(), &root, true);
    Identity leaf = issue("server", rsa, &intermediate);
};
const TestPki& pki();

} // namespace tarn::test
