// The library's loaders over the certificate service of the host platform, as a process meets the two together.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/engine.h>
#include <openssl/err.h>

#include "certificate/certificate_support.h"
#include "tarn_conference/conf_tls.h"

namespace {

using namespace tarn::test;

// A process with all kinds of certificates: type 0 with an encrypted RSA key, type 2 keyless with a chain of three, and
// type 3 keyless with an encrypted key.
class LoadersTest : public testing::Test {
 protected:
    void SetUp() override {
        ASSERT_EQ(addCa(pem(root_.certificate)), 0U);
        ASSERT_EQ(install(0x107, issue("file", rsa_, &root_), "open sesame"), 0U);
        ASSERT_EQ(install(0x103, pem(leaf_.certificate) + pem(intermediate_.certificate) + pem(root_.certificate),
                          pem(leaf_.key), "", true),
                  0U);
        ASSERT_EQ(install(0x104, issue("keyless", rsa_, &root_), "secret", true), 0U);
        ConfCertInit(nullptr);
    }
    void TearDown() override {
        TarnOmCertNotifyCallback(nullptr);
        fs::remove_all(below(""));
        ERR_clear_error();
    }

    static inline const Key rsa_ = newRsaKey(); // takes time
    const Identity root_ = newCa("Root");
    const Identity intermediate_ = issue("Intermediate", newEcKey(), &root_, true);
    const Identity leaf_ = issue("leaf", newEcKey(), &intermediate_);
};

TEST_F(LoadersTest, EachKindServesUntilItIsRevoked) {
    for (const uint32_t type : {0U, 2U, 3U}) {
        EXPECT_TRUE(handshakeAs(type).succeeded) << type;
        EXPECT_EQ(ERR_peek_error(), 0U);
    }
    EXPECT_FALSE(handshakeAs(1).succeeded) << "nothing is installed";
    ASSERT_EQ(addCrl(crlPem(intermediate_, {leaf_.certificate}) + crlPem(root_)), 0U);
    EXPECT_EQ(handshakeAs(2).verifyResult, X509_V_ERR_CERT_REVOKED);
    EXPECT_TRUE(handshakeAs(0).succeeded);

    ASSERT_EQ(install(0x103, issue("next", newEcKey(), &root_), "", true), 0U);
    EXPECT_TRUE(comesTrue([] { return handshakeAs(2).succeeded; })) << "by the id that the event brings";
    ASSERT_EQ(TarnHostCertUninstall(0x103), 0U);
    EXPECT_FALSE(handshakeAs(2).succeeded);
}

TEST_F(LoadersTest, EngineGivesNoOtherKeys) {
    ENGINE* const engine = ENGINE_by_id("openssl_engine");
    ASSERT_NE(engine, nullptr);
    const auto gives = [&](const std::string& id) {
        return Key(ENGINE_load_private_key(engine, id.c_str(), nullptr, nullptr), EVP_PKEY_free) != nullptr;
    };
    const std::string id = idOf(pem(leaf_.certificate));
    const auto writeKey = [](const std::string& key, unsigned mode) {
        writeOwnFile(folderOf(0x103) + "/key.pem", key, mode);
    };
    EXPECT_TRUE(gives(id));
    for (const std::string& other : {std::string(), std::string(10'000, 'a'), idOf(pem(root_.certificate))}) {
        EXPECT_FALSE(gives(other));
    }
    EXPECT_EQ(ENGINE_load_private_key(engine, nullptr, nullptr, nullptr), nullptr);
    writeKey(pem(root_.key), 0600);
    EXPECT_FALSE(gives(id)) << "another certificate's";
    writeKey(pem(leaf_.key), 0644);
    EXPECT_FALSE(gives(id)) << "others can read it";
    writeKey(pem(leaf_.key, "right"), 0600);
    writeOwnFile(folderOf(0x103) + "/key.pass", "wrong");
    EXPECT_FALSE(gives(id));
    writeOwnFile(folderOf(0x103) + "/key.pass", "right");
    EXPECT_TRUE(gives(id));
    fs::remove(folderOf(0x103) + "/keyless");
    EXPECT_FALSE(gives(id)) << "not keyless";
    ENGINE_free(engine);
}

} // namespace
