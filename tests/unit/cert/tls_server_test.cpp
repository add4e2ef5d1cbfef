// Server contexts: key by file and keyless, through the handshake; CA files.
#include "cert_fixture.h"
#include "handshake.h"
#include "scripted_openssl.h"
#include "tarn_conference/conf_tls.h"

namespace {

using testing::ElementsAre;

using namespace tarn::test;

class TlsServer : public CertTest {
 protected:
    void SetUp() override {
        CertTest::SetUp();
        writeFile(scratch / "ca/root.pem", pem(pki().root.certificate));
        engine.keyDirectory = scratch.path();
    }
    void TearDown() override {
        engine.unload();
        CertTest::TearDown();
    }

    static std::string chain() {
        return pem(pki().leaf.certificate) + pem(pki().intermediate.certificate) + pem(pki().root.certificate);
    }

    // Loads the type, tells what was logged, and leaves no OpenSSL error after a success.
    std::vector<std::string> load(uint32_t type, uint32_t expected) {
        const Context context = serverContext();
        told();
        EXPECT_EQ(ConfLoadServerCert(context.get(), type), expected);
        std::vector<std::string> logs = told();
        if (expected == 0) {
            EXPECT_EQ(ERR_peek_error(), 0U);
            EXPECT_TRUE(handshake(context.get(), deviceClient().get()).succeeded);
        }
        EXPECT_EQ(SSL_CTX_get_default_passwd_cb_userdata(context.get()), nullptr);
        ERR_clear_error();
        return logs;
    }

    ScriptedEngine& engine = ScriptedEngine::get();
};

TEST_F(TlsServer, KeysFromFilesServeHandshakes) {
    serve(0, chain(), pem(pki().rsa));
    serve(1, chain(), pem(pki().rsa, "pass phrase"), "pass phrase");
    const Key ec = newEcKey();
    serve(2, "text\n" + pem(issue("ec", ec, &pki().root).certificate) + "text\n", pem(ec));
    // The chain breaks off behind the first certificate, which is then loaded alone.
    const std::string broken = pem(pki().intermediate.certificate).substr(0, 200);
    serve(3, pem(issue("alone", pki().rsa, &pki().root).certificate) + broken, pem(pki().rsa));
    for (uint32_t type = 0; type < 4; ++type) {
        EXPECT_THAT(load(type, 0), ElementsAre("3 [ConfLoadServerCert]type=" + std::to_string(type) + " flag=0"));
    }
}

TEST_F(TlsServer, FilesThatDoNotFitAreRefused) {
    const std::string prefix = "1 [ConfLoadServerCertificateByKey]";
    const auto error = [&](const std::string& certificate, const std::string& key, const std::string& passPhrase = "") {
        serve(0, certificate, key, passPhrase);
        return load(0, kFailed).back();
    };
    EXPECT_EQ(error(chain(), pem(newRsaKey())), prefix + "[TLS]SSL_ctxUsePrivateKeyFile err, /key0");
    EXPECT_EQ(error(chain(), pem(pki().rsa, "one"), "another"), prefix + "[TLS]SSL_ctxUsePrivateKeyFile err, /key0");
    EXPECT_EQ(error(chain(), pem(pki().ec)), prefix + "[TLS]SSL_ctxCheckPrivateKey err, /key0");
    EXPECT_EQ(error("no certificate", pem(pki().rsa)), prefix + "server cert file error :0");
    // What OpenSSL found wrong is left to the caller.
    EXPECT_EQ(ConfLoadServerCert(serverContext().get(), 0), kFailed);
    EXPECT_NE(ERR_peek_error(), 0U);
    for (std::string ServedCertificate::*const path : {&ServedCertificate::certPath, &ServedCertificate::keyPath}) {
        serve(0, chain(), pem(pki().rsa));
        service.served[kOmTypes[0]].*path = "";
        EXPECT_EQ(load(0, kFailed).back(), prefix + "server cert is null");
    }
    EXPECT_EQ(load(1, kFailed).back(), prefix + "TarnOmCertGetCertPath, ret=602.");
    EXPECT_THAT(load(4, kFailed), ElementsAre("1 [ConfLoadServerCert]server cert check error"));
    EXPECT_EQ(ConfLoadServerCert(nullptr, 0), kFailed);
    EXPECT_THAT(told(), ElementsAre("1 [ConfLoadServerCert]Null ptr."));
}

TEST_F(TlsServer, KeylessTypesSignThroughTheEngine) {
    const std::string loader = "[ConfLoadServerCertificateKeyLess]";
    const std::string id = scriptedCertificateId(chain());
    const auto changed = [] { ConfOmCertCallback(OM_CERT_EVENT_SERVICE, kOmTypes[2]); };
    serve(1, "no certificate", "");
    serve(2, chain(), "");
    writeFile(scratch / id, pem(pki().rsa));
    service.capability = {0, 0, 1, 0, 0, 0, 0, 0, 7, 0};
    changed();
    platform.reset();
    EXPECT_THAT(load(1, kFailed),
                ElementsAre("3 [ConfLoadServerCert]type=1 flag=7", "1 " + loader + "server cert file error :0"));
    EXPECT_THAT(load(2, 0),
                ElementsAre("3 [ConfLoadServerCert]type=2 flag=1", "3 " + loader + "get cert from type [" + id + "]"));
    EXPECT_EQ(engine.modulePath, "/system/lib64/libopenssl_engine.so");
    EXPECT_EQ(load(2, 0).back(), "3 [GetOpensslEngine]ssl_engine has loaded");
    EXPECT_EQ(platform.count("ENGINE_init"), 1U);

    writeFile(scratch / id, pem(pki().ec));
    EXPECT_EQ(load(2, kFailed).back(), "1 " + loader + "check privKey error");
    std::filesystem::remove(scratch / id);
    EXPECT_EQ(load(2, kFailed).back(), "1 " + loader + "use privkey error");
    // An id as long as its field has no NUL in it; behind a shorter one stands what it did not overwrite.
    service.reportedIdLength = 256;
    changed();
    service.reportedIdLength.reset();
    changed();
    EXPECT_EQ(load(2, kFailed)[1],
              "3 " + loader + "get cert from type [" + id + std::string(256 - id.size(), 'x') + "]");
}

TEST_F(TlsServer, CaFilesThatFailLeaveTheOthersIn) {
    serve(0, chain(), pem(pki().rsa));
    const Context server = serverContext();
    ASSERT_EQ(ConfLoadServerCert(server.get(), 0), 0U);
    EXPECT_EQ(handshake(server.get(), clientContext().get()).verifyResult, X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN);

    writeFile(scratch / "ca/bad.pem", "no certificate");
    const Context trusting = deviceClient();
    EXPECT_TRUE(handshake(server.get(), trusting.get()).succeeded);
    EXPECT_EQ(ConfCertLoadAllCaCert(trusting.get(), nullptr, 3), kFailed);
    ConfCertLoadOneCaCert(trusting.get(), nullptr, 1);
    EXPECT_THAT(told('1'),
                ElementsAre("1 [ConfCertLoadOneCaCert]load ca file fail!", "1 [ConfCertLoadAllCaCert]invalid params!",
                            "1 [ConfCertLoadOneCaCert]Null ptr."));
}

} // namespace
