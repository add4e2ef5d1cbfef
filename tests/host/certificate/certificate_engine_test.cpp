// Keys of keyless types, from the engine that a client of the certificate service has.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <gtest/gtest.h>
#include <openssl/engine.h>

#include <filesystem>

#include "certificate/engine_support.h"
#include "tarn_host/host_certificate.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_certificate.h"

namespace {

using namespace certificate_test;

class CertificateEngineTest : public testing::Test {
 protected:
    void SetUp() override {
        ASSERT_EQ(TarnOmCertClientInit(nullptr), 0U);
        ASSERT_EQ(TarnOmCertClientInit(nullptr), 0U) << "a second time is welcome";
        engine_ = ENGINE_by_id("openssl_engine");
        ASSERT_NE(engine_, nullptr);
    }
    void TearDown() override {
        ENGINE_free(engine_);
        for (const uint32_t omType : {0x107U, 0x109U, 0x103U, 0x104U}) {
            TarnHostCertUninstall(omType);
        }
    }

    ENGINE* engine_ = nullptr;
    const Identity ca_ = makeCa("Test CA");
};

TEST_F(CertificateEngineTest, SignsForEachKeylessType) {
    const Identity plain = makeLeaf("plain", ca_);
    const Identity encrypted = makeLeaf("encrypted", ca_, makeRsaKey());
    ASSERT_EQ(installKeyless(0x107, plain), 0U);
    ASSERT_EQ(installKeyless(0x104, encrypted, "open sesame"), 0U);
    EXPECT_TRUE(talksWithKeyFrom(engine_, plain, ca_));
    EXPECT_TRUE(talksWithKeyFrom(engine_, encrypted, ca_));
    EXPECT_FALSE(talksWithKeyFrom(engine_, plain, makeCa("stranger"))) << "the client does verify";
    const Identity next = makeLeaf("next", ca_);
    ASSERT_EQ(installKeyless(0x107, next), 0U);
    EXPECT_EQ(keyFrom(engine_, idOf(plain)), nullptr);
    EXPECT_TRUE(talksWithKeyFrom(engine_, next, ca_));
}

TEST_F(CertificateEngineTest, GivesNoOtherKeys) {
    const Identity leaf = makeLeaf("leaf", ca_);
    const std::string folder = std::string(TarnHostDir()) + "/cert/service/0x109/";
    ASSERT_EQ(installKeyless(0x109, leaf, "secret"), 0U);
    ASSERT_NE(keyFrom(engine_, idOf(leaf)), nullptr);
    EXPECT_EQ(keyFrom(engine_, ""), nullptr);
    EXPECT_EQ(keyFrom(engine_, std::string(10'000, 'a')), nullptr);
    EXPECT_EQ(keyFrom(engine_, idOf(ca_)), nullptr);
    EXPECT_EQ(ENGINE_load_private_key(engine_, nullptr, nullptr, nullptr), nullptr);
    writeFile(folder + "key.pass", "wrong");
    EXPECT_EQ(keyFrom(engine_, idOf(leaf)), nullptr);
    writeFile(folder + "key.pem", ca_.keyPem());
    EXPECT_EQ(keyFrom(engine_, idOf(leaf)), nullptr) << "another certificate's";
    writeFile(folder + "key.pem", leaf.keyPem(), 0644);
    EXPECT_EQ(keyFrom(engine_, idOf(leaf)), nullptr) << "others can read it";
    writeFile(folder + "key.pem", leaf.keyPem());
    EXPECT_NE(keyFrom(engine_, idOf(leaf)), nullptr);
    std::filesystem::remove(folder + "keyless");
    EXPECT_EQ(keyFrom(engine_, idOf(leaf)), nullptr) << "not keyless";
}

} // namespace
