// Revocation lists in a client's context, and what its verification tolerates.
#include "cert_fixture.h"
#include "handshake.h"
#include "tarn_conference/conf_tls.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using namespace tarn::test;

class TlsCrl : public CertTest {
 protected:
    void SetUp() override {
        CertTest::SetUp();
        writeFile(scratch / "root.pem", pem(pki().root.certificate));
        writeFile(scratch / "crl/other-crl.pem", crlPem(issue("Unrelated", pki().ec, nullptr, true)));
    }

    // A client that trusts the root and has the lists of the device.
    Context checkingClient() const {
        Context context = clientContext();
        ConfCertLoadOneCaCert(context.get(), (scratch / "root.pem").c_str(), 1);
        EXPECT_EQ(ConfAddCancelCrlToSslctx(context.get()), 0U);
        EXPECT_EQ(ERR_peek_error(), 0U);
        return context;
    }

    // The client's finding about a server with this certificate, issued by the intermediate.
    long findingAbout(const Identity& server, bool succeeds) const {
        const Context context = serverContext();
        EXPECT_EQ(SSL_CTX_use_certificate(context.get(), server.certificate.get()), 1);
        EXPECT_EQ(SSL_CTX_add1_chain_cert(context.get(), pki().intermediate.certificate.get()), 1);
        EXPECT_EQ(SSL_CTX_use_PrivateKey(context.get(), server.key.get()), 1);
        const HandshakeResult result = handshake(context.get(), checkingClient().get());
        EXPECT_EQ(result.succeeded, succeeds);
        return result.verifyResult;
    }
};

TEST_F(TlsCrl, MissingListsAndSelfSignedPeersPass) {
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
    const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> verification(X509_STORE_CTX_new(),
                                                                                       X509_STORE_CTX_free);
    X509_STORE_CTX_init(verification.get(), SSL_CTX_get_cert_store(context.get()), selfSigned.certificate.get(),
                        nullptr);
    told();
    EXPECT_EQ(X509_verify_cert(verification.get()), 1);
    EXPECT_EQ(X509_STORE_CTX_get_error(verification.get()), X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT);
    EXPECT_THAT(told(), Contains("2 [X509Vericycallback]X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT"));
}

TEST_F(TlsCrl, EverythingElseIsRefused) {
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

TEST_F(TlsCrl, FilesAreChosenByNameAndBadOnesPassedOver) {
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
