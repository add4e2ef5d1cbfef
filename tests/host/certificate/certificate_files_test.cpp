// What is installed, and what the calls of the contract make of it, whole or damaged.
#include <openssl/err.h>

#include "certificate/certificate_support.h"
#include "tarn_platform/tls_extension.h"

namespace {

using namespace tarn::test;

constexpr uint32_t kType = 0x103;
constexpr uint32_t kOtherType = 0x107;
constexpr char kUntouched = '#';

struct Fetched {
    uint32_t result = 0;
    std::string certificate;
    std::string key;
};

// With buffers of exactly these capacities: what stands behind them must stay, and all of it after a failure.
Fetched fetch(uint32_t certificateBytes = 10'000, uint32_t keyBytes = 10'000) {
    std::string certificate(certificateBytes + 1, kUntouched);
    std::string key(keyBytes + 1, kUntouched);
    ConfCertServiceCert service = {reinterpret_cast<uint8_t*>(certificate.data()), certificateBytes,
                                   reinterpret_cast<uint8_t*>(key.data()), keyBytes};
    const uint32_t result = TarnOmCertGetServiceCert(kType, &service);
    if (result != 0) {
        EXPECT_EQ(certificate + key, std::string(certificateBytes + keyBytes + 2, kUntouched));
        return {result, "", ""};
    }
    EXPECT_TRUE(certificate.back() == kUntouched && key.back() == kUntouched);
    return {0, certificate.substr(0, service.certLen), key.substr(0, service.keyLen)};
}

ConfCertSizeInfo sizesOf() {
    ConfCertSizeInfo sizes = {};
    EXPECT_EQ(TarnOmCertGetExpectedSrvCertSize(kType, &sizes), 0U);
    return sizes;
}

ConfCertPathInfo paths(uint32_t expected = 0, uint32_t kind = OM_CERT_PATH_SERVICE) {
    ConfCertPathInfo info = {};
    EXPECT_EQ(TarnOmCertGetCertPath({kind, 2, kind == OM_CERT_PATH_SERVICE ? kType : 0}, &info), expected);
    return info;
}

std::vector<TarnHostCertFacts> list() {
    std::vector<TarnHostCertFacts> all;
    const auto keep = [](const TarnHostCertFacts* facts, void* context) {
        static_cast<std::vector<TarnHostCertFacts>*>(context)->push_back(*facts);
    };
    EXPECT_EQ(TarnHostCertList(keep, &all), 0U);
    return all;
}

long leftDrafts() {
    const std::set<std::string> names = namesIn(below(""));
    return std::count_if(names.begin(), names.end(), [](const std::string& name) { return name.starts_with("."); });
}

class CertificateFilesTest : public testing::Test {
 protected:
    void TearDown() override {
        fs::remove_all(below(""));
        EXPECT_EQ(ERR_peek_error(), 0UL) << "the error queue belongs to the caller";
    }

    const Identity ca_ = newCa("Test CA");
    const Identity leaf_ = issue("endpoint", newEcKey(), &ca_);
    const std::string certificate_ = pem(leaf_.certificate);
};

TEST_F(CertificateFilesTest, NothingInstalledAndWrongArguments) {
    ConfCertSizeInfo sizes = {7, 7, 7};
    EXPECT_EQ(TarnOmCertGetExpectedSrvCertSize(kType, &sizes), uint32_t{ENOENT});
    EXPECT_EQ(sizes.certSize, 7U);
    EXPECT_EQ(fetch().result, uint32_t{ENOENT});
    EXPECT_STREQ(paths().certPath, "");
    EXPECT_EQ(TarnHostCertUninstall(kType), uint32_t{ENOENT});
    EXPECT_TRUE(list().empty());
    EXPECT_EQ(paths(0, OM_CERT_PATH_CA_DIRECTORY).certPath, below("ca"));
    EXPECT_EQ(paths(0, OM_CERT_PATH_CRL_DIRECTORY).certPath, below("crl"));
    EXPECT_TRUE(fs::is_directory(below("crl")));
    EXPECT_EQ(TarnHostCertRemoveCrl("none.pem"), uint32_t{ENOENT});

    ConfCertPathInfo info = {};
    expectAll(kInvalid, {TarnOmCertGetCertPath({3, 2, 0}, &info), TarnOmCertGetCertPath({0, 2, 0xFFFFFFFF}, &info),
                         TarnOmCertGetExpectedSrvCertSize(0x108, &sizes), TarnOmCertGetServiceCert(kType, nullptr),
                         TarnHostCertInstall(nullptr), TarnHostCertRemoveCa("../service/0x103/key.pem")});
}

TEST_F(CertificateFilesTest, InstalledIsReadBack) {
    const std::string chain = certificate_ + pem(ca_.certificate);
    const std::string key = pem(leaf_.key, "open sesame");
    ASSERT_EQ(install(kType, chain, key, "open sesame"), 0U);
    const ConfCertSizeInfo sizes = sizesOf();
    EXPECT_EQ(sizes.certSize, chain.size());
    EXPECT_EQ(sizes.keySize, key.size());
    const Fetched fetched = fetch(sizes.certSize, sizes.keySize);
    EXPECT_EQ(fetched.certificate, chain);
    EXPECT_EQ(fetched.key, key);
    const ConfCertPathInfo told = paths();
    EXPECT_EQ(told.certPath, folderOf(kType) + "/cert.pem");
    EXPECT_EQ(readFile(told.keyPath), key);
    EXPECT_STREQ(told.keyPassword, "open sesame");
    for (const char* file : {"/cert.pem", "/key.pem", "/key.pass"}) {
        EXPECT_EQ(fs::status(folderOf(kType) + file).permissions(), fs::perms{0600}) << file;
    }
    ASSERT_EQ(install(kType, ca_), 0U);
    EXPECT_STREQ(paths().keyPassword, "") << "nothing of the one before stays";
    EXPECT_EQ(leftDrafts(), 0);
    fs::create_directory(below(".draft-recent"));
    EXPECT_EQ(TarnHostCertUninstall(kType), 0U);
    EXPECT_EQ(leftDrafts(), 1) << "another process may be at it";
    EXPECT_FALSE(fs::exists(folderOf(kType)));
}

TEST_F(CertificateFilesTest, FilesThatGrewOrAreUnusableAreRefused) {
    ASSERT_EQ(install(kType, leaf_, "secret"), 0U);
    const ConfCertSizeInfo before = sizesOf();
    const std::string certificateFile = folderOf(kType) + "/cert.pem";
    const std::string keyFile = folderOf(kType) + "/key.pem";
    const std::string passPhraseFile = folderOf(kType) + "/key.pass";
    const auto fetchAsBefore = [&] { return fetch(before.certSize, before.keySize); };
    writeFile(certificateFile, certificate_ + "x");
    EXPECT_EQ(fetchAsBefore().result, uint32_t{EFBIG});
    writeFile(certificateFile, certificate_);
    writeOwnFile(keyFile, readFile(keyFile) + "x");
    EXPECT_EQ(fetchAsBefore().result, uint32_t{EFBIG}) << "not even the certificate alone";
    writeOwnFile(keyFile, "short");
    EXPECT_EQ(fetchAsBefore().key, "short");

    for (const std::string& file : {keyFile, passPhraseFile}) {
        ASSERT_EQ(chmod(file.c_str(), 0640), 0);
        EXPECT_STREQ(paths(EPERM).keyPath, "");
        ASSERT_EQ(chmod(file.c_str(), 0600), 0);
    }
    writeOwnFile(passPhraseFile, std::string(63, 'p') + "\r\nsecond line");
    EXPECT_STREQ(paths(EFBIG).keyPassword, "");
    writeOwnFile(passPhraseFile, std::string(63, 'p') + "\r\n");
    EXPECT_EQ(paths().keyPassword, std::string(63, 'p'));
    fs::remove(certificateFile);
    ASSERT_EQ(mkfifo(certificateFile.c_str(), 0600), 0);
    EXPECT_EQ(fetch().result, kInvalid) << "and does not wait for a writer";
}

TEST_F(CertificateFilesTest, BadInstallationsChangeNothing) {
    const std::string half = certificate_.substr(0, certificate_.size() / 2);
    const std::string key = pem(leaf_.key);
    const std::string encrypted = pem(leaf_.key, "right");
    ASSERT_EQ(install(kType, certificate_, key), 0U);
    const std::tuple<uint32_t, std::string, std::string, std::string> bad[] = {
        {EKEYREJECTED, certificate_, pem(ca_.key), ""},
        {ENOKEY, certificate_, encrypted, "wrong"},
        {EBADMSG, certificate_, "no key", ""},
        {EBADMSG, certificate_ + half, key, ""},
        {EFBIG, std::string((1U << 20U) + 1, ' '), key, ""},
        {EFBIG, certificate_, key, std::string(64, 'x')},
        {EINVAL, certificate_, key, "two\nlines"},
    };
    for (const auto& [code, badCertificate, badKey, passPhrase] : bad) {
        EXPECT_EQ(install(kType, badCertificate, badKey, passPhrase), code);
    }
    EXPECT_EQ(addCa(pem(ca_.certificate) + half), uint32_t{EBADMSG});
    {
        const FileSizeLimit fullDisk(certificate_.size() + 10);
        EXPECT_EQ(install(kType, certificate_ + pem(ca_.certificate), key), uint32_t{EFBIG});
    }
    EXPECT_EQ(fetch().certificate, certificate_);
    EXPECT_EQ(list().size(), 1U);
    EXPECT_EQ(leftDrafts(), 0);
}

TEST_F(CertificateFilesTest, ReadersNeverSeeHalfAnInstallation) {
    const Identity other = issue("other", newEcKey(), &ca_);
    ASSERT_EQ(install(kType, leaf_), 0U);
    const auto installInTurn = [&] {
        for (int i = 0; i < 20; i++) {
            EXPECT_EQ(install(kType, i % 2 == 0 ? other : leaf_), 0U);
        }
    };
    const pid_t child = startForked([&] {
        installInTurn();
        return 0;
    });
    std::atomic<bool> isOver = false;
    const std::jthread installer([&] {
        installInTurn();
        EXPECT_EQ(endOf(child), 0);
        isOver = true;
    });
    const std::map<std::string, std::string> keys = {{certificate_, pem(leaf_.key)},
                                                     {pem(other.certificate), pem(other.key)}};
    int reads = 0;
    for (bool isLast = false; !isLast; reads++) {
        isLast = isOver;
        const Fetched fetched = fetch();
        const auto pair = keys.find(fetched.certificate);
        EXPECT_TRUE(pair != keys.end() && pair->second == fetched.key) << fetched.result;
    }
    EXPECT_EQ(leftDrafts(), 0);
    EXPECT_GT(reads, 10);
}

TEST_F(CertificateFilesTest, KeylessTypesGiveNoKeyAway) {
    ASSERT_EQ(install(kType, leaf_, "secret", true), 0U);
    ASSERT_EQ(install(kOtherType, leaf_, "", true), 0U);
    EXPECT_EQ(sizesOf().keySize, 0U);
    EXPECT_EQ(fetch().key, "");
    const ConfCertPathInfo told = paths();
    EXPECT_STRNE(told.certPath, "");
    EXPECT_STREQ(told.keyPath, "");
    EXPECT_STREQ(told.keyPassword, "");
    for (const uint32_t omType : {0x109U, 0x104U}) {
        ASSERT_EQ(install(omType, leaf_), 0U);
        EXPECT_TRUE(fs::exists(folderOf(omType)));
    }
    std::vector<uint8_t> ten(10, 0xA5);
    EXPECT_EQ(TarnOmCertGetCapability(ten.data()), 0U);
    EXPECT_EQ(ten, (std::vector<uint8_t>{0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
}

TEST_F(CertificateFilesTest, IdIsTheDigestOfTheCertificateItself) {
    std::vector<unsigned char> digest(32);
    char expected[65];
    X509_digest(leaf_.certificate.get(), EVP_sha256(), digest.data(), nullptr);
    for (size_t i = 0; i < digest.size(); i++) {
        std::snprintf(expected + 2 * i, 3, "%02x", digest[i]);
    }
    const std::string binary = der(leaf_.certificate);
    for (const std::string& form : {certificate_, binary, certificate_ + pem(ca_.certificate)}) {
        EXPECT_EQ(idOf(form), expected);
    }
    EXPECT_EQ(idOf(certificate_, 0, 65), expected);
    EXPECT_EQ(idOf(certificate_, EMSGSIZE, 64), "");
    for (const std::string& bad : {std::string(), certificate_.substr(0, 200), binary + "x"}) {
        EXPECT_EQ(idOf(bad, EBADMSG), "");
    }
}

TEST_F(CertificateFilesTest, ListTellsTheFacts) {
    const Identity rsa = issue("Zürich, Raum 3", newRsaKey(), &ca_);
    const std::string later = crlPem(ca_, {leaf_.certificate});
    uint32_t count = 0;
    ASSERT_EQ(install(kOtherType, rsa, "", true), 0U);
    ASSERT_EQ(install(kType, leaf_), 0U);
    ASSERT_EQ(addCa(pem(newCa("Second CA").certificate) + pem(ca_.certificate) + pem(ca_.certificate), &count), 0U);
    EXPECT_EQ(count, 3U);
    ASSERT_EQ(addCrl(crlPem(ca_) + later, &count), 0U);
    writeOwnFile(folderOf(kType) + "/key.pem", pem(rsa.key));
    writeFile(below("ca/empty.pem"), "");
    const std::vector<TarnHostCertFacts> all = list();
    ASSERT_EQ(all.size(), 6U) << "two services, two CAs, an unreadable one, one list an issuer";
    EXPECT_EQ(all[0].omType, kOtherType);
    EXPECT_EQ(all[0].isKeyless, 1U);
    EXPECT_EQ(all[0].keyError, 0U);
    EXPECT_STREQ(all[0].subject, "CN=Zürich\\, Raum 3");
    EXPECT_STREQ(all[0].issuer, "CN=Test CA");
    EXPECT_STREQ(all[0].keyType, "RSA 2048");
    EXPECT_EQ(all[0].notAfter - all[0].notBefore, 2 * kDay);
    EXPECT_EQ(all[1].keyError, uint32_t{EKEYREJECTED});
    std::map<std::string, uint32_t> errorsOfCas;
    for (size_t i = 2; i < 5; i++) {
        EXPECT_EQ(all[i].kind, TARN_HOST_CERT_CA);
        errorsOfCas[all[i].error != 0 ? all[i].name : all[i].hashName] = all[i].error;
    }
    EXPECT_EQ(errorsOfCas["empty.pem"], uint32_t{EBADMSG});
    EXPECT_EQ(errorsOfCas.count(subjectHash(ca_.certificate) + ".0"), 1U);
    EXPECT_EQ(all[5].kind, TARN_HOST_CERT_CRL);
    EXPECT_EQ(readFile(below("crl/") + all[5].name), later) << "the later one holds";
    EXPECT_EQ(TarnHostCertRemoveCrl(all[5].name), 0U);
    EXPECT_EQ(TarnHostCertRemoveCa("empty.pem"), 0U);
    EXPECT_EQ(list().size(), 4U);
}

TEST_F(CertificateFilesTest, CaFilesAreTrustedWholeOrNotAtAll) {
    const Context context = clientContext();
    const std::string path = std::string(TarnHostDir()) + "/ca.pem";
    const auto loadContent = [&](const std::string& content, uint32_t fileType = 1) {
        writeFile(path, content);
        return SSL_CTX_load_cacertificate_file(context.get(), path.c_str(), fileType);
    };
    const auto trusted = [&] {
        return sk_X509_OBJECT_num(X509_STORE_get0_objects(SSL_CTX_get_cert_store(context.get())));
    };
    const std::string good = pem(ca_.certificate) + "comment\n" + pem(newCa("Second CA").certificate);
    for (const int refused : {loadContent(""), loadContent(good.substr(0, good.size() - 100)), loadContent(good, 3),
                              SSL_CTX_load_cacertificate_file(context.get(), "/nowhere", 1),
                              SSL_CTX_load_cacertificate_file(nullptr, "x", 1)}) {
        EXPECT_EQ(refused, 0);
    }
    EXPECT_EQ(trusted(), 0);
    EXPECT_EQ(loadContent(good), 1);
    EXPECT_EQ(loadContent(good), 1) << "again";
    EXPECT_EQ(trusted(), 2);
    EXPECT_EQ(loadContent(der(leaf_.certificate), 2), 1);
    EXPECT_EQ(trusted(), 3);
}

} // namespace
