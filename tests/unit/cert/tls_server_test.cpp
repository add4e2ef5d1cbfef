// Server contexts: key by file and keyless, through the handshake; CA files.
#include <openssl/err.h>

#include "cert_fixture.h"
#include "handshake.h"
#include "scripted_openssl.h"
#include "tarn_conference/conf_tls.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using namespace tarn::test;

constexpr uint32_t kFailed = 0xFFFFFFFF;

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

    // Loads type `type`, says what it logged as errors, and leaves no OpenSSL error after a success.
    std::vector<std::string> loadErrors(uint32_t type, uint32_t expected) {
        const Context context = serverContext();
        platform.clearLogs();
        EXPECT_EQ(ConfLoadServerCert(context.get(), type), expected);
        if (expected == 0) {
            EXPECT_EQ(ERR_peek_error(), 0U);
            EXPECT_TRUE(handshake(context.get(), deviceClient().get()).succeeded);
        }
        EXPECT_EQ(SSL_CTX_get_default_passwd_cb_userdata(context.get()), nullptr);
        ERR_clear_error();
        return replaced(textsAt(CONF_LOG_ERROR), scratch.path(), "SCRATCH");
    }

    // Type 2, its key with the engine.
    void serveKeyless() {
        serve(2, chain(), "");
        writeFile(scratch / scriptedCertificateId(chain()), pem(pki().rsa));
        service.capability[2] = 1;
        ConfOmCertCallback(OM_CERT_EVENT_SERVICE, kOmTypes[2]);
        platform.reset();
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
        SCOPED_TRACE(type);
        EXPECT_THAT(loadErrors(type, 0), IsEmpty());
        EXPECT_THAT(textsAt(CONF_LOG_INFO), Contains("[ConfLoadServerCert]type=" + std::to_string(type) + " flag=0"));
    }
}

TEST_F(TlsServer, FilesThatDoNotFitAreRefused) {
    const char* const kKeyRefused = "[ConfLoadServerCertificateByKey][TLS]SSL_ctxUsePrivateKeyFile err, SCRATCH/key0";
    const char* const kNotTheKey = "[ConfLoadServerCertificateByKey][TLS]SSL_ctxCheckPrivateKey err, SCRATCH/key0";
    serve(0, chain(), pem(newRsaKey()));
    EXPECT_THAT(loadErrors(0, kFailed), ElementsAre(kKeyRefused));
    serve(0, chain(), pem(pki().ec));
    EXPECT_THAT(loadErrors(0, kFailed), ElementsAre(kNotTheKey));
    serve(0, chain(), pem(pki().rsa, "pass phrase"), "another");
    EXPECT_THAT(loadErrors(0, kFailed), ElementsAre(kKeyRefused));
    for (std::string ServedCertificate::*const path : {&ServedCertificate::certPath, &ServedCertificate::keyPath}) {
        serve(0, chain(), pem(pki().rsa));
        service.served[kOmTypes[0]].*path = "";
        EXPECT_THAT(loadErrors(0, kFailed), ElementsAre("[ConfLoadServerCertificateByKey]server cert is null"));
    }
    serve(0, "no certificate", pem(pki().rsa));
    EXPECT_THAT(loadErrors(0, kFailed), ElementsAre("[ConfLoadServerCertificateByKey]server cert file error :0"));
    // What OpenSSL found wrong is left to the caller.
    const Context context = serverContext();
    EXPECT_EQ(ConfLoadServerCert(context.get(), 0), kFailed);
    EXPECT_NE(ERR_peek_error(), 0U);
    ERR_clear_error();
}

TEST_F(TlsServer, UnknownTypesAndTypesThatAreNotServed) {
    EXPECT_THAT(loadErrors(1, kFailed), ElementsAre("[ConfLoadServerCertificateByKey]TarnOmCertGetCertPath, ret=602."));
    EXPECT_THAT(loadErrors(4, kFailed), ElementsAre("[ConfLoadServerCert]server cert check error"));
    service.capability[8] = 7;
    serve(1, "no certificate", "");
    EXPECT_THAT(loadErrors(1, kFailed), ElementsAre("[ConfLoadServerCertificateKeyLess]server cert file error :0"));
    EXPECT_THAT(textsAt(CONF_LOG_INFO), ElementsAre("[ConfLoadServerCert]type=1 flag=7"));
    platform.clearLogs();
    EXPECT_EQ(ConfLoadServerCert(nullptr, 0), kFailed);
    EXPECT_THAT(texts(), ElementsAre("[ConfLoadServerCert]Null ptr."));
}

TEST_F(TlsServer, KeylessTypesSignThroughTheEngine) {
    const char* const kNoKey = "[ConfLoadServerCertificateKeyLess]use privkey error";
    serveKeyless();
    const std::string id = scriptedCertificateId(chain());
    EXPECT_THAT(loadErrors(2, 0), IsEmpty());
    EXPECT_EQ(engine.modulePath, "/system/lib64/libopenssl_engine.so");
    EXPECT_EQ(platform.count("ENGINE_init"), 1U);
    EXPECT_THAT(textsAt(CONF_LOG_INFO), Contains("[ConfLoadServerCertificateKeyLess]get cert from type [" + id + "]"));
    EXPECT_THAT(loadErrors(2, 0), IsEmpty());
    EXPECT_EQ(platform.count("ENGINE_init"), 1U);
    EXPECT_THAT(textsAt(CONF_LOG_INFO), Contains("[GetOpensslEngine]ssl_engine has loaded"));

    writeFile(scratch / id, pem(pki().ec));
    EXPECT_THAT(loadErrors(2, kFailed), ElementsAre("[ConfLoadServerCertificateKeyLess]check privKey error"));
    std::filesystem::remove(scratch / id);
    EXPECT_THAT(loadErrors(2, kFailed), ElementsAre(kNoKey));
    // An id as long as its field has no NUL in it.
    service.reportedIdLength = 256;
    ConfOmCertCallback(OM_CERT_EVENT_SERVICE, kOmTypes[2]);
    EXPECT_THAT(loadErrors(2, kFailed), ElementsAre(kNoKey));
    // Behind a shorter one stands what it did not overwrite.
    service.reportedIdLength.reset();
    ConfOmCertCallback(OM_CERT_EVENT_SERVICE, kOmTypes[2]);
    EXPECT_THAT(loadErrors(2, kFailed), ElementsAre(kNoKey));
    EXPECT_THAT(textsAt(CONF_LOG_INFO), Contains("[ConfLoadServerCertificateKeyLess]get cert from type [" + id +
                                                 std::string(256 - id.size(), 'x') + "]"));
}

TEST_F(TlsServer, CaFilesThatFailLeaveTheOthersIn) {
    serve(0, chain(), pem(pki().rsa));
    const Context server = serverContext();
    ASSERT_EQ(ConfLoadServerCert(server.get(), 0), 0U);
    EXPECT_EQ(handshake(server.get(), clientContext().get()).verifyResult, X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN);

    writeFile(scratch / "ca/bad.pem", "no certificate");
    const Context trusting = deviceClient();
    EXPECT_THAT(textsAt(CONF_LOG_ERROR), ElementsAre("[ConfCertLoadOneCaCert]load ca file fail!"));
    EXPECT_TRUE(handshake(server.get(), trusting.get()).succeeded);

    platform.clearLogs();
    EXPECT_EQ(ConfCertLoadAllCaCert(trusting.get(), nullptr, 3), kFailed);
    ConfCertLoadOneCaCert(trusting.get(), nullptr, 1);
    EXPECT_THAT(texts(), ElementsAre("[ConfCertLoadAllCaCert]invalid params!", "[ConfCertLoadOneCaCert]Null ptr."));
}

} // namespace
