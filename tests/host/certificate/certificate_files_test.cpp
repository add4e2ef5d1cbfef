// What is installed, and what the calls of the contract make of it, whole or damaged.
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <map>
#include <thread>
#include <vector>

#include "certificate/made_certificates.h"
#include "tarn_host/host_certificate.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_certificate.h"
#include "tarn_platform/tls_extension.h"

namespace {

using namespace certificate_test;

constexpr uint32_t kType = 0x103;
constexpr uint32_t kOtherType = 0x107;
constexpr uint8_t kUntouched = 0xA5;

std::string folderOf(uint32_t omType) {
    char name[16];
    std::snprintf(name, sizeof name, "0x%03x", omType);
    return std::string(TarnHostDir()) + "/cert/service/" + name;
}

uint32_t install(uint32_t omType, const std::string& certificate, const std::string& key,
                 const std::string& passPhrase = "", bool isKeyless = false) {
    TarnHostCertInstallation installation = {};
    installation.omType = omType;
    installation.isKeyless = isKeyless ? 1 : 0;
    installation.certificate = certificate.data();
    installation.certificateBytes = static_cast<uint32_t>(certificate.size());
    installation.key = key.data();
    installation.keyBytes = static_cast<uint32_t>(key.size());
    installation.passPhrase = passPhrase.c_str();
    return TarnHostCertInstall(&installation);
}

struct Fetched {
    uint32_t result = 0;
    std::string certificate;
    std::string key;
    bool isOverrun = false;
};

// With buffers of exactly these capacities between bytes that must stay.
Fetched fetch(uint32_t omType, uint32_t certificateBytes, uint32_t keyBytes) {
    std::vector<uint8_t> certificate(certificateBytes + 1, kUntouched);
    std::vector<uint8_t> key(keyBytes + 1, kUntouched);
    ConfCertServiceCert service = {certificate.data(), certificateBytes, key.data(), keyBytes};
    Fetched fetched;
    fetched.result = TarnOmCertGetServiceCert(omType, &service);
    fetched.isOverrun = certificate.back() != kUntouched || key.back() != kUntouched;
    if (fetched.result == 0) {
        fetched.certificate.assign(certificate.begin(), certificate.begin() + service.certLen);
        fetched.key.assign(key.begin(), key.begin() + service.keyLen);
    } else {
        const auto isUntouched = [](uint8_t byte) { return byte == kUntouched; };
        fetched.isOverrun |= !std::all_of(certificate.begin(), certificate.end(), isUntouched) ||
                             !std::all_of(key.begin(), key.end(), isUntouched);
    }
    return fetched;
}

ConfCertSizeInfo sizesOf(uint32_t omType) {
    ConfCertSizeInfo sizes = {};
    EXPECT_EQ(TarnOmCertGetExpectedSrvCertSize(omType, &sizes), 0U);
    return sizes;
}

ConfCertPathInfo pathsOf(uint32_t kind, uint32_t omType, uint32_t expected = 0) {
    ConfCertPathInfo info = {};
    EXPECT_EQ(TarnOmCertGetCertPath({kind, 2, omType}, &info), expected);
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
    const auto begin = std::filesystem::directory_iterator(std::string(TarnHostDir()) + "/cert");
    return std::count_if(begin, std::filesystem::directory_iterator(),
                         [](const auto& entry) { return entry.path().filename().native().starts_with("."); });
}

class CertificateFilesTest : public testing::Test {
 protected:
    void TearDown() override {
        std::filesystem::remove_all(std::string(TarnHostDir()) + "/cert");
        EXPECT_EQ(ERR_peek_error(), 0UL) << "the error queue belongs to the caller";
    }

    const Identity ca_ = makeCa("Test CA");
    const Identity leaf_ = makeLeaf("endpoint", ca_);
};

TEST_F(CertificateFilesTest, NothingInstalled) {
    ConfCertSizeInfo sizes = {7, 7, 7};
    EXPECT_EQ(TarnOmCertGetExpectedSrvCertSize(kType, &sizes), uint32_t{ENOENT});
    EXPECT_EQ(sizes.certSize, 7U);
    EXPECT_EQ(fetch(kType, 100, 100).result, uint32_t{ENOENT});
    EXPECT_STREQ(pathsOf(OM_CERT_PATH_SERVICE, kType).certPath, "");
    EXPECT_EQ(TarnHostCertUninstall(kType), uint32_t{ENOENT});
    EXPECT_TRUE(list().empty());
    const std::string root(TarnHostDir());
    EXPECT_EQ(pathsOf(OM_CERT_PATH_CA_DIRECTORY, 0).certPath, root + "/cert/ca");
    EXPECT_EQ(pathsOf(OM_CERT_PATH_CRL_DIRECTORY, 0).certPath, root + "/cert/crl");
    EXPECT_TRUE(std::filesystem::is_directory(root + "/cert/crl"));
}

TEST_F(CertificateFilesTest, WrongArgumentsAreRefused) {
    ConfCertPathInfo info = {};
    ConfCertSizeInfo sizes = {};
    ConfCertServiceCert service = {};
    EXPECT_EQ(TarnOmCertGetCertPath({3, 2, 0}, &info), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetCertPath({0, 1, kType}, &info), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetCertPath({0, 2, 0xFFFFFFFF}, &info), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetCertPath({1, 2, 0}, nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetExpectedSrvCertSize(0x108, &sizes), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetExpectedSrvCertSize(kType, nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetServiceCert(kType, nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetServiceCert(kType, &service), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetCapability(nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnOmCertGetCertId(nullptr, nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostCertInstall(nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostCertUninstall(0), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostCertList(nullptr, nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostCertAddCa(nullptr, 0, nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostCertRemoveCa("../service/0x103/key.pem"), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostCertRemoveCrl(nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostCertRemoveCrl("none.pem"), uint32_t{ENOENT});
    EXPECT_EQ(SSL_CTX_load_cacertificate_file(nullptr, "x", 1), 0);
}

TEST_F(CertificateFilesTest, InstalledIsReadBack) {
    const std::string chain = leaf_.certificatePem() + ca_.certificatePem();
    const std::string key = leaf_.keyPem("open sesame");
    ASSERT_EQ(install(kType, chain, key, "open sesame"), 0U);
    const ConfCertSizeInfo sizes = sizesOf(kType);
    EXPECT_EQ(sizes.certSize, chain.size());
    EXPECT_EQ(sizes.keySize, key.size());
    const Fetched fetched = fetch(kType, sizes.certSize, sizes.keySize);
    EXPECT_EQ(fetched.certificate, chain);
    EXPECT_EQ(fetched.key, key);
    EXPECT_FALSE(fetched.isOverrun);
    const ConfCertPathInfo paths = pathsOf(OM_CERT_PATH_SERVICE, kType);
    EXPECT_EQ(paths.certPath, folderOf(kType) + "/cert.pem");
    EXPECT_EQ(readFile(paths.keyPath), key);
    EXPECT_STREQ(paths.keyPassword, "open sesame");
    for (const char* file : {"/cert.pem", "/key.pem", "/key.pass"}) {
        struct stat status = {};
        ASSERT_EQ(stat((folderOf(kType) + file).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0600U) << file;
    }
    ASSERT_EQ(install(kType, ca_.certificatePem(), ca_.keyPem()), 0U);
    EXPECT_STREQ(pathsOf(OM_CERT_PATH_SERVICE, kType).keyPassword, "") << "nothing of the one before stays";
    EXPECT_EQ(TarnHostCertUninstall(kType), 0U);
    EXPECT_EQ(leftDrafts(), 0);
    EXPECT_FALSE(std::filesystem::exists(folderOf(kType)));
}

TEST_F(CertificateFilesTest, FilesThatGrewDoNotOverrun) {
    ASSERT_EQ(install(kType, leaf_.certificatePem(), leaf_.keyPem()), 0U);
    const ConfCertSizeInfo before = sizesOf(kType);
    writeFile(folderOf(kType) + "/cert.pem", leaf_.certificatePem() + "x");
    Fetched fetched = fetch(kType, before.certSize, before.keySize);
    EXPECT_EQ(fetched.result, uint32_t{EFBIG});
    EXPECT_FALSE(fetched.isOverrun);
    writeFile(folderOf(kType) + "/cert.pem", leaf_.certificatePem());
    writeFile(folderOf(kType) + "/key.pem", leaf_.keyPem() + "x");
    fetched = fetch(kType, before.certSize, before.keySize);
    EXPECT_EQ(fetched.result, uint32_t{EFBIG});
    EXPECT_FALSE(fetched.isOverrun) << "not even the certificate alone";
    writeFile(folderOf(kType) + "/key.pem", "short");
    EXPECT_EQ(fetch(kType, before.certSize, before.keySize).key, "short");
    for (const off_t size : {off_t{0}, off_t{1'048'577}, off_t{10} << 20U}) {
        ASSERT_EQ(truncate((folderOf(kType) + "/cert.pem").c_str(), size), 0);
        EXPECT_EQ(sizesOf(kType).certSize, size);
    }
}

TEST_F(CertificateFilesTest, UnusableFilesAreRefused) {
    ASSERT_EQ(install(kType, leaf_.certificatePem(), leaf_.keyPem("secret"), "secret"), 0U);
    const std::string folder = folderOf(kType);
    for (const char* file : {"/key.pem", "/key.pass"}) {
        ASSERT_EQ(chmod((folder + file).c_str(), 0640), 0);
        EXPECT_STREQ(pathsOf(OM_CERT_PATH_SERVICE, kType, EPERM).keyPath, "");
        ASSERT_EQ(chmod((folder + file).c_str(), 0600), 0);
    }
    writeFile(folder + "/key.pass", std::string(63, 'p') + "\r\nsecond line");
    EXPECT_STREQ(pathsOf(OM_CERT_PATH_SERVICE, kType, EFBIG).keyPassword, "");
    writeFile(folder + "/key.pass", std::string(63, 'p') + "\r\n");
    EXPECT_EQ(pathsOf(OM_CERT_PATH_SERVICE, kType).keyPassword, std::string(63, 'p'));
    std::filesystem::remove(folder + "/key.pem");
    EXPECT_STREQ(pathsOf(OM_CERT_PATH_SERVICE, kType).keyPath, "");
    EXPECT_EQ(sizesOf(kType).keySize, 0U);
    EXPECT_EQ(fetch(kType, 10'000, 10).key, "");
    std::filesystem::remove(folder + "/cert.pem");
    std::filesystem::create_directory(folder + "/cert.pem");
    pathsOf(OM_CERT_PATH_SERVICE, kType, EISDIR);
    EXPECT_EQ(fetch(kType, 10'000, 10).result, uint32_t{EISDIR});
    std::filesystem::remove(folder + "/cert.pem");
    ASSERT_EQ(mkfifo((folder + "/cert.pem").c_str(), 0600), 0);
    EXPECT_EQ(fetch(kType, 10'000, 10).result, uint32_t{EINVAL}) << "and does not wait for a writer";
}

TEST_F(CertificateFilesTest, BadInstallationsChangeNothing) {
    const std::string certificate = leaf_.certificatePem();
    ASSERT_EQ(install(kType, certificate, leaf_.keyPem()), 0U);
    EXPECT_EQ(install(kType, certificate, ca_.keyPem()), uint32_t{EKEYREJECTED});
    EXPECT_EQ(install(kType, certificate, leaf_.keyPem("right"), "wrong"), uint32_t{EACCES});
    EXPECT_EQ(install(kType, certificate, leaf_.keyPem("right")), uint32_t{EACCES});
    EXPECT_EQ(install(kType, certificate, "no key"), uint32_t{EBADMSG});
    EXPECT_EQ(install(kType, "", leaf_.keyPem()), uint32_t{EBADMSG});
    EXPECT_EQ(install(kType, certificate.substr(0, certificate.size() / 2), leaf_.keyPem()), uint32_t{EBADMSG});
    EXPECT_EQ(install(kType, certificate + certificate.substr(0, certificate.size() / 2), leaf_.keyPem()),
              uint32_t{EBADMSG});
    EXPECT_EQ(install(kType, std::string((1U << 20U) + 1, ' '), leaf_.keyPem()), uint32_t{EFBIG});
    EXPECT_EQ(install(kType, certificate, leaf_.keyPem(), std::string(64, 'x')), uint32_t{EFBIG});
    EXPECT_EQ(install(kType, certificate, leaf_.keyPem(), "two\nlines"), uint32_t{EINVAL});
    EXPECT_EQ(install(0x108, certificate, leaf_.keyPem()), uint32_t{EINVAL});
    EXPECT_EQ(fetch(kType, 10'000, 10'000).certificate, certificate);
    const std::string cas = ca_.certificatePem() + "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
    EXPECT_EQ(TarnHostCertAddCa(cas.data(), static_cast<uint32_t>(cas.size()), nullptr), uint32_t{EBADMSG});
    EXPECT_EQ(list().size(), 1U);
}

TEST_F(CertificateFilesTest, FailedWritesLeaveNothing) {
    const std::string certificate = leaf_.certificatePem();
    ASSERT_EQ(install(kType, certificate, leaf_.keyPem()), 0U);
    struct rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const struct rlimit tight = {certificate.size() + 10, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    const uint32_t result = install(kType, certificate + ca_.certificatePem(), leaf_.keyPem());
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(result, uint32_t{EFBIG});
    EXPECT_EQ(fetch(kType, 10'000, 10'000).certificate, certificate);
    EXPECT_EQ(leftDrafts(), 0);
}

TEST_F(CertificateFilesTest, DraftsOfOthersStay) {
    ASSERT_EQ(install(kType, leaf_.certificatePem(), leaf_.keyPem()), 0U);
    std::filesystem::create_directory(std::string(TarnHostDir()) + "/cert/.draft-recent");
    ASSERT_EQ(TarnHostCertUninstall(kType), 0U);
    EXPECT_EQ(leftDrafts(), 1) << "another process may be at it";
}

// Installs the two identities in turn.
bool installInTurn(const Identity& first, const Identity& second, int rounds) {
    bool isGood = true;
    for (int i = 0; i < rounds; i++) {
        const Identity& next = i % 2 == 0 ? first : second;
        isGood = isGood && install(kType, next.certificatePem(), next.keyPem()) == 0;
    }
    return isGood;
}

TEST_F(CertificateFilesTest, ReadersNeverSeeHalfAnInstallation) {
    const Identity other = makeLeaf("other", ca_);
    ASSERT_TRUE(installInTurn(leaf_, other, 1));
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(installInTurn(leaf_, other, 40) ? 0 : 1);
    }
    std::atomic<bool> isOver = false;
    std::thread installer([&] {
        EXPECT_TRUE(installInTurn(other, leaf_, 40));
        isOver = true;
    });
    const std::map<std::string, std::string> pairs = {{leaf_.certificatePem(), leaf_.keyPem()},
                                                      {other.certificatePem(), other.keyPem()}};
    int reads = 0;
    for (bool isLast = false; !isLast; reads++) {
        isLast = isOver;
        const Fetched fetched = fetch(kType, 10'000, 10'000);
        const auto pair = pairs.find(fetched.certificate);
        EXPECT_TRUE(pair != pairs.end() && pair->second == fetched.key) << fetched.result;
    }
    installer.join();
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(leftDrafts(), 0);
    EXPECT_GT(reads, 10);
}

TEST_F(CertificateFilesTest, KeylessTypesGiveNoKeyAway) {
    std::vector<uint8_t> capability(10, kUntouched);
    ASSERT_EQ(TarnOmCertGetCapability(capability.data()), 0U);
    EXPECT_EQ(capability, std::vector<uint8_t>(10, 0));
    ASSERT_EQ(install(kType, leaf_.certificatePem(), leaf_.keyPem("secret"), "secret", true), 0U);
    ASSERT_EQ(install(kOtherType, leaf_.certificatePem(), leaf_.keyPem(), "", true), 0U);
    EXPECT_EQ(sizesOf(kType).keySize, 0U);
    EXPECT_EQ(fetch(kType, 10'000, 10'000).key, "");
    const ConfCertPathInfo paths = pathsOf(OM_CERT_PATH_SERVICE, kType);
    EXPECT_STRNE(paths.certPath, "");
    EXPECT_STREQ(paths.keyPath, "");
    EXPECT_STREQ(paths.keyPassword, "");
    for (const uint32_t omType : {0x109U, 0x104U}) {
        ASSERT_EQ(install(omType, leaf_.certificatePem(), leaf_.keyPem()), 0U);
    }
    ASSERT_EQ(TarnOmCertGetCapability(capability.data()), 0U);
    EXPECT_EQ(capability, (std::vector<uint8_t>{0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
}

uint32_t idOf(std::string certificate, std::string& id, uint32_t capacity = OM_CERT_ID_LEN) {
    std::vector<uint8_t> buffer(capacity);
    const ConfCertBlob in = {reinterpret_cast<uint8_t*>(certificate.data()), static_cast<uint32_t>(certificate.size())};
    ConfCertBlob out = {buffer.data(), capacity};
    const uint32_t result = TarnOmCertGetCertId(&in, &out);
    id = result == 0 ? std::string(reinterpret_cast<char*>(buffer.data())) : "";
    EXPECT_EQ(out.length, result == 0 ? id.size() : capacity);
    return result;
}

TEST_F(CertificateFilesTest, IdIsTheDigestOfTheCertificateItself) {
    std::vector<unsigned char> digest(32);
    X509_digest(leaf_.certificate.get(), EVP_sha256(), digest.data(), nullptr);
    std::string expected;
    for (const unsigned char byte : digest) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        expected += digits;
    }
    std::string id;
    const std::string pem = leaf_.certificatePem();
    for (const std::string& form :
         {pem, leaf_.certificateDer(), "garbage\n" + pem + "more", pem + ca_.certificatePem()}) {
        EXPECT_EQ(idOf(form, id), 0U);
        EXPECT_EQ(id, expected);
    }
    EXPECT_EQ(idOf(pem, id, 65), 0U);
    EXPECT_EQ(idOf(pem, id, 64), uint32_t{EMSGSIZE});
    for (const std::string& bad : {std::string(), std::string(100, '\0'), pem.substr(0, 200),
                                   leaf_.certificateDer().substr(0, 100), leaf_.certificateDer() + "x"}) {
        EXPECT_EQ(idOf(bad, id), uint32_t{EBADMSG});
    }
}

TEST_F(CertificateFilesTest, ListTellsTheFacts) {
    const Identity rsa = makeLeaf("Zürich, Raum 3", ca_, makeRsaKey());
    const std::string cas = makeCa("Second CA").certificatePem() + ca_.certificatePem() + ca_.certificatePem();
    const std::string later = crlPem(ca_, {leaf_.certificate.get()});
    const std::string crls = crlPem(ca_, {}) + later;
    uint32_t count = 0;
    ASSERT_EQ(install(kOtherType, rsa.certificatePem(), rsa.keyPem(), "", true), 0U);
    ASSERT_EQ(install(kType, leaf_.certificatePem(), leaf_.keyPem()), 0U);
    ASSERT_EQ(TarnHostCertAddCa(cas.data(), static_cast<uint32_t>(cas.size()), &count), 0U);
    EXPECT_EQ(count, 3U);
    ASSERT_EQ(TarnHostCertAddCrl(crls.data(), static_cast<uint32_t>(crls.size()), &count), 0U);
    writeFile(folderOf(kType) + "/key.pem", rsa.keyPem());
    writeFile(std::string(TarnHostDir()) + "/cert/ca/empty.pem", "");
    const std::vector<TarnHostCertFacts> all = list();
    ASSERT_EQ(all.size(), 6U) << "two services, two CAs, an unreadable one, one list an issuer";
    EXPECT_EQ(all[0].omType, kOtherType);
    EXPECT_EQ(all[0].isKeyless, 1U);
    EXPECT_EQ(all[0].keyError, 0U);
    EXPECT_STREQ(all[0].subject, "CN=Zürich\\, Raum 3");
    EXPECT_STREQ(all[0].issuer, "CN=Test CA");
    EXPECT_STREQ(all[0].keyType, "RSA 2048");
    EXPECT_EQ(all[0].notAfter - all[0].notBefore, 10 * 24 * 3600 + 3600);
    EXPECT_EQ(all[1].keyError, uint32_t{EKEYREJECTED});
    EXPECT_STREQ(all[1].keyType, "EC prime256v1");
    char hashName[16];
    std::snprintf(hashName, sizeof hashName, "%08lx.0", X509_subject_name_hash(ca_.certificate.get()));
    std::map<std::string, uint32_t> errorsOfCas;
    for (size_t i = 2; i < 5; i++) {
        EXPECT_EQ(all[i].kind, TARN_HOST_CERT_CA);
        errorsOfCas[all[i].error != 0 ? all[i].name : all[i].hashName] = all[i].error;
    }
    EXPECT_EQ(errorsOfCas["empty.pem"], uint32_t{EBADMSG});
    EXPECT_EQ(errorsOfCas.count(hashName), 1U);
    EXPECT_EQ(all[5].kind, TARN_HOST_CERT_CRL);
    EXPECT_EQ(all[5].notAfter - all[5].notBefore, 24 * 3600);
    EXPECT_EQ(readFile(std::string(TarnHostDir()) + "/cert/crl/" + all[5].name), later) << "the later one holds";
    EXPECT_EQ(TarnHostCertRemoveCrl(all[5].name), 0U);
    EXPECT_EQ(TarnHostCertRemoveCa("empty.pem"), 0U);
    EXPECT_EQ(list().size(), 4U);
}

TEST_F(CertificateFilesTest, CaFilesAreTrustedWholeOrNotAtAll) {
    const Context context(SSL_CTX_new(TLS_method()));
    const std::string path = std::string(TarnHostDir()) + "/ca.pem";
    const auto trusted = [&] {
        return sk_X509_OBJECT_num(X509_STORE_get0_objects(SSL_CTX_get_cert_store(context.get())));
    };
    const std::string good = ca_.certificatePem() + "comment\n" + makeCa("Second CA").certificatePem();
    for (const std::string& bad : {std::string(), std::string("binary\0\1\2", 9), good.substr(0, good.size() - 100)}) {
        writeFile(path, bad);
        EXPECT_EQ(SSL_CTX_load_cacertificate_file(context.get(), path.c_str(), 1), 0);
    }
    EXPECT_EQ(SSL_CTX_load_cacertificate_file(context.get(), TarnHostDir(), 1), 0);
    EXPECT_EQ(SSL_CTX_load_cacertificate_file(context.get(), "/nowhere", 1), 0);
    EXPECT_EQ(SSL_CTX_load_cacertificate_file(context.get(), nullptr, 1), 0);
    writeFile(path, good);
    EXPECT_EQ(SSL_CTX_load_cacertificate_file(context.get(), path.c_str(), 3), 0);
    EXPECT_EQ(trusted(), 0);
    EXPECT_EQ(SSL_CTX_load_cacertificate_file(context.get(), path.c_str(), 1), 1);
    EXPECT_EQ(SSL_CTX_load_cacertificate_file(context.get(), path.c_str(), 1), 1) << "again";
    EXPECT_EQ(trusted(), 2);
    writeFile(path, leaf_.certificateDer());
    EXPECT_EQ(SSL_CTX_load_cacertificate_file(context.get(), path.c_str(), 2), 1);
    EXPECT_EQ(trusted(), 3);
}

} // namespace
