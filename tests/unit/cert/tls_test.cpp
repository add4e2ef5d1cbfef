// TLS contexts, through the handshake: key by file and keyless, CA files, revocation lists and what verification
// tolerates.
#include "cert_fixture.h"
#include "handshake.h"
#include "scripted_openssl.h"
#include "tarn_conference/conf_tls.h"

namespace {

using namespace testing;
using namespace tarn::test;

class Tls : public CertTest {
 protected:
    void SetUp() override {
        CertTest::SetUp();
        writeFile(scratch / "ca/root.pem", pem(pki().root.certificate));
        writeFile(scratch / "crl/other-crl.pem", crlPem(newCa("Unrelated")));
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

    // A client that trusts the device's CA files and has its revocation lists.
    static Context checkingClient() {
        Context context = deviceClient();
        EXPECT_EQ(ConfAddCancelCrlToSslctx(context.get()), 0U);
        EXPECT_EQ(ERR_peek_error(), 0U);
        return context;
    }

    // The client's finding about a server with this certificate, issued by the intermediate.
    static long findingAbout(const Identity& server, bool succeeds) {
        const Context context = serverContext();
        EXPECT_EQ(SSL_CTX_use_certificate(context.get(), server.certificate.get()), 1);
        EXPECT_EQ(SSL_CTX_add1_chain_cert(context.get(), pki().intermediate.certificate.get()), 1);
        EXPECT_EQ(SSL_CTX_use_PrivateKey(context.get(), server.key.get()), 1);
        const HandshakeResult result = handshake(context.get(), checkingClient().get());
        EXPECT_EQ(result.succeeded, succeeds);
        return result.verifyResult;
    }

    ScriptedEngine& engine = ScriptedEngine::get();
};

TEST_F(Tls, KeysFromFilesServeHandshakes) {
    serve(0, chain(), pem(pki().rsa));
    serve(1, chain(), pem(pki().rsa, "pass phrase"), "pass phrase");
    // The chain breaks off behind the first certificate, which is then loaded alone.
    const std::string broken = pem(pki().intermediate.certificate).substr(0, 200);
    serve(3, pem(issue("alone", pki().rsa, &pki().root).certificate) + broken, pem(pki().rsa));
    for (const uint32_t type : {0U, 1U, 3U}) {
        EXPECT_THAT(load(type, 0), ElementsAre("3 [ConfLoadServerCert]type=" + std::to_string(type) + " flag=0"));
    }
}

TEST_F(Tls, FilesThatDoNotFitAreRefused) {
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

TEST_F(Tls, KeylessTypesSignThroughTheEngine) {
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

TEST_F(Tls, CaFilesThatFailLeaveTheOthersIn) {
    serve(0, chain(), pem(pki().rsa));
    const Context server = serverContext();
    ASSERT_EQ(ConfLoadServerCert(server.get(), 0), 0U);
    EXPECT_EQ(handshake(server.get(), clientContext().get()).verifyResult, X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN);

    writeFile(scratch / "ca/bad.pem", "no certificate");
    const Context trusting = deviceClient();
    EXPECT_EQ(ERR_peek_error(), 0U) << "the caller's next failure would seem to be this one";
    EXPECT_TRUE(handshake(server.get(), trusting.get()).succeeded);
    EXPECT_EQ(ConfCertLoadAllCaCert(trusting.get(), nullptr, 3), kFailed);
    ConfCertLoadOneCaCert(trusting.get(), nullptr, 1);
    EXPECT_THAT(told('1'),
                ElementsAre("1 [ConfCertLoadOneCaCert]load ca file fail!", "1 [ConfCertLoadAllCaCert]invalid params!",
                            "1 [ConfCertLoadOneCaCert]Null ptr."));
}

TEST_F(Tls, MissingListsAndSelfSignedPeersPass) {
    EXPECT_EQ(findingAbout(pki().leaf, true), X509_V_OK);
    const std::string noList = "2 [X509Vericycallback]X509_V_ERR_UNABLE_TO_GET_CRL, ignore, clear error";
    EXPECT_THAT(told('2'), ElementsAre(noList, noList, noList)); // the root's own is missing too
    writeFile(scratch / "crl/1.crl", crlPem(pki().root));
    writeFile(scratch / "crl/2.crl", crlPem(pki().intermediate));
    EXPECT_EQ(findingAbout(pki().leaf, true), X509_V_OK);
    EXPECT_THAT(told('2'), IsEmpty());

    // As long as no missing list clears it, the finding stays for whoever asks.
    EXPECT_EQ(findingAbout(issue("self-signed", pki().rsa), true), X509_V_OK);
    const Identity selfSigned = issue("self-signed", pki().ec, nullptr, true);
    writeFile(scratch / "crl/3.crl", crlPem(selfSigned));
    const Context context = checkingClient();
    const std::shared_ptr<X509_STORE_CTX> verification(X509_STORE_CTX_new(), X509_STORE_CTX_free);
    X509_STORE_CTX_init(verification.get(), SSL_CTX_get_cert_store(context.get()), selfSigned.certificate.get(),
                        nullptr);
    told();
    EXPECT_EQ(X509_verify_cert(verification.get()), 1);
    EXPECT_EQ(X509_STORE_CTX_get_error(verification.get()), X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT);
    EXPECT_THAT(told(), Contains("2 [X509Vericycallback]X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT"));
}

TEST_F(Tls, EveryOtherFindingIsRefused) {
    const Identity& issuer = pki().intermediate;
    EXPECT_EQ(findingAbout(issue("expired", pki().rsa, &issuer, false, {-2 * kDay, -kDay}), false),
              X509_V_ERR_CERT_HAS_EXPIRED);
    EXPECT_EQ(findingAbout(issue("forged", pki().rsa, &pki().leaf), false),
              X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
    const std::pair<std::string, long> lists[] = {
        {crlPem(issuer, {pki().leaf.certificate}), X509_V_ERR_CERT_REVOKED},
        {crlPem(pki().root, {issuer.certificate}), X509_V_ERR_CERT_REVOKED}, // the whole chain is checked
        {crlPem(issuer, {}, {-2 * kDay, -kDay}), X509_V_ERR_CRL_HAS_EXPIRED},
        {crlPem({issuer.certificate, pki().ec}), X509_V_ERR_CRL_SIGNATURE_FAILURE}};
    for (const auto& [list, finding] : lists) {
        writeFile(scratch / "crl/a.crl", list);
        EXPECT_EQ(findingAbout(pki().leaf, false), finding);
    }
}

TEST_F(Tls, ListsAreChosenByNameAndBadOnesPassedOver) {
    std::filesystem::remove(scratch / "crl/other-crl.pem");
    for (const char* const name : {"ca.pem", "crl", "Xcrl1.PEM"}) {
        writeFile(scratch / (std::string("crl/") += name), crlPem(pki().root));
    }
    const Context context = clientContext();
    const std::string path = "1 [ConfAddCancelCrlToSslctx]crlPath ";
    const std::string file = "1 [ConfAddCancelCrlToSslctx]crl acFileName /crl/Xcrl1.PEM";
    EXPECT_EQ(ConfAddCancelCrlToSslctx(context.get()), 0U);
    EXPECT_THAT(told(), ElementsAre(path + "/crl", file));
    writeFile(scratch / "crl/Xcrl1.PEM", pem(pki().root.certificate));
    EXPECT_EQ(ConfAddCancelCrlToSslctx(context.get()), 0U);
    EXPECT_THAT(told(), ElementsAre(path + "/crl", file, "1 [AddCancelCrlToSslctxByFile]d2i_X509 failed",
                                    "1 [ConfAddCancelCrlToSslctx]add file cert failed"));

    EXPECT_EQ(ConfAddCancelCrlToSslctx(nullptr), 1U);
    service.crlDirectory = "absent";
    EXPECT_EQ(ConfAddCancelCrlToSslctx(context.get()), 1U);
    fixedPathsSwitch = 1;
    platform.failNth("OsOpenDir", 1);
    EXPECT_EQ(ConfAddCancelCrlToSslctx(context.get()), 1U);
    EXPECT_THAT(told(), ElementsAre("1 [ConfAddCancelCrlToSslctx]para err", path + "absent",
                                    "1 [ConfAddCancelCrlToSslctx]OpenDir error", path + "/data/tarn_conference/CA/",
                                    "1 [ConfAddCancelCrlToSslctx]OpenDir error"));
}

} // namespace
