// The trust store, rebuilt by events, on both kinds of devices.
#include <fcntl.h>
#include <unistd.h>

#include "cert_fixture.h"
#include "tarn_conference/conf_settings.h"

// In place of the library's own: that one reads its settings only once in the life of a process.
std::atomic<uint8_t> tarn::test::fixedPathsSwitch{0};
uint8_t CallServiceIsForbiddenKitCap(void) {
    return tarn::test::fixedPathsSwitch;
}

namespace {

using namespace testing;
using namespace tarn::test;

// Another root directory for the time of a test, where the rights to it are.
struct OtherRoot {
    explicit OtherRoot(const std::string& path) : isEntered(chroot(path.c_str()) == 0) {}
    ~OtherRoot() {
        EXPECT_TRUE(!isEntered || (fchdir(former) == 0 && chroot(".") == 0 && chdir(workingDirectory.c_str()) == 0));
        close(former);
    }
    OtherRoot(const OtherRoot&) = delete;
    OtherRoot& operator=(const OtherRoot&) = delete;

    const std::filesystem::path workingDirectory = std::filesystem::current_path();
    const int former = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    const bool isEntered;
};

class TrustStore : public CertTest {
 protected:
    static void rebuild() { ConfOmCertCallback(OM_CERT_EVENT_CRL, 0); }

    std::set<std::string> stored() const { return namesIn(scratch / "storage"); }

    // Errors of the rebuild but the lengths of its joined paths.
    std::vector<std::string> errors() const {
        std::vector<std::string> texts = told('1');
        std::erase_if(texts, [](const std::string& text) { return text.find("conf secure func failed") != text.npos; });
        return texts;
    }

    const Identity twin = issue("Test Root", pki().rsa, nullptr, true); // of the root
    const std::string hashName = subjectHash(twin.certificate) + ".0";
};

TEST_F(TrustStore, CertificatesGetHashNamesAndListsKeepTheirs) {
    writeFile(scratch / "ca/1.pem", "text in front\n" + pem(pki().root.certificate) + "text behind\n");
    writeFile(scratch / "ca/2.pem", pem(twin.certificate)); // of two with one subject one stays
    Identity low = pki().root;                              // its hash begins with a zero
    for (int i = 0; subjectHash(low.certificate)[0] != '0'; ++i) {
        low = issue(std::to_string(i), pki().ec);
    }
    writeFile(scratch / "ca/low.pem", pem(low.certificate));
    writeFile(scratch / "ca/other.crt", pem(pki().intermediate.certificate));
    writeFile(scratch / "crl/crl.pem", crlPem(pki().root));
    writeFile(scratch / "crl/CRL.PEM", "no list");
    writeFile(scratch / "crl/a.crl", "not looked at");
    rebuild();
    EXPECT_THAT(stored(), UnorderedElementsAre(hashName, subjectHash(low.certificate) + ".0", "other.crt", "crl.pem",
                                               "CRL.PEM", "a.crl"));
    EXPECT_THAT(namesIn(scratch / "ca"), UnorderedElementsAre("1.pem", "2.pem", "low.pem", "other.crt"));
    EXPECT_THAT(errors(), ElementsAre("1 [ConfCertCreateCrlSoftLink]d2i_X509 failed"));
    EXPECT_EQ(ERR_peek_error(), 0U);

    // What is gone at its source stays in the store.
    std::filesystem::remove(scratch / "ca/other.crt");
    rebuild();
    EXPECT_THAT(stored(), Contains("other.crt"));
}

TEST_F(TrustStore, BadFilesAreToldAndPassedOver) {
    const std::string good = pem(pki().root.certificate);
    std::string encrypted = good; // nobody is asked for a pass phrase
    encrypted.insert(encrypted.find('\n') + 1,
                     "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,"
                     "00112233445566778899AABBCCDDEEFF\n\n");
    writeFile(scratch / "ca/1-truncated.pem", good.substr(0, good.size() / 2));
    writeFile(scratch / "ca/2-encrypted.pem", encrypted);
    writeFile(scratch / "ca/3-good.pem", good);
    std::filesystem::create_directory(scratch / "ca/4-directory.pem");
    std::filesystem::create_symlink("nowhere", scratch / "storage/5-dangling.pem");
    rebuild();
    EXPECT_THAT(stored(), UnorderedElementsAre(hashName, "1-truncated.pem", "2-encrypted.pem", "5-dangling.pem"));
    EXPECT_THAT(errors(), UnorderedElementsAre(HasSubstr("[ConfCertCopyDirFile]copy error["),
                                               "1 [ConfCertCreateCertSoftLink]PEM_read_bio_X509 err.",
                                               "1 [ConfCertCreateCertSoftLink]PEM_read_bio_X509 err.",
                                               "1 [ConfCertCreateCertSoftLink]BIO_new_file err."));

    // The hash name is taken by a directory.
    std::filesystem::remove(scratch / ("storage/" + hashName));
    std::filesystem::create_directories(scratch / ("storage/" + hashName + "/full"));
    rebuild();
    EXPECT_THAT(errors(),
                Contains("1 [ConfCertCreateCertSoftLink]rename fail! ret:-1 errno:" + std::to_string(EISDIR)));
}

TEST_F(TrustStore, PathsThatAreMissingOrTooLong) {
    service.crlDirectory = scratch / "absent";
    rebuild();
    EXPECT_THAT(errors(), ElementsAre("1 [ConfCertCopyDirFile]/absent/ is empty."));

    // Without a storage path the store stays where it was.
    scriptedPaths().storage = "";
    rebuild();
    EXPECT_EQ(storePath(), scratch / "storage/");

    // One that leaves no room for its slash leaves no store, and neither source is known.
    scriptedPaths().storage = std::string(511, 's');
    service.caDirectory = service.crlDirectory = std::string(511, 'c');
    told();
    rebuild();
    const std::string failed = "1 [ConfCertUpdateLdapCert]conf secure func failed, err = -1!\n";
    EXPECT_THAT(told('1'), ElementsAre(failed, failed, failed, "1 [ConfCertCopyDirFile]path is null!",
                                       "1 [ConfCertCopyDirFile]path is null!"));
    EXPECT_EQ(storePath(), "");
}

// The fixed paths stand at the root, so that the test needs a root of its own.
TEST_F(TrustStore, FixedPathsAreEmptiedAndLinked) {
    const std::string store = "/data/tarn_conference/CA/";
    for (const std::string& path : {store, std::string("/data/certfile/CA"), std::string("/data/certfile/CRL")}) {
        std::filesystem::create_directories(scratch.path() + path);
    }
    writeFile(scratch.path() + store + "old.pem", "gone before the copies come");
    writeFile(scratch / "data/certfile/CA/1.pem", pem(pki().root.certificate));
    writeFile(scratch / "data/certfile/CA/2.pem", pem(twin.certificate));
    writeFile(scratch / "data/certfile/CRL/crl.pem", crlPem(pki().root));
    const OtherRoot root(scratch.path());
    if (!root.isEntered) {
        GTEST_SKIP() << "needs the right to change the root directory";
    }
    fixedPathsSwitch = 1;
    static bool caUpdated;
    caUpdated = false;
    ConfCertUpdateNotifyCallback([] { caUpdated = true; });
    ConfOmCertCallback(OM_CERT_EVENT_CA, 0);
    EXPECT_FALSE(caUpdated);
    EXPECT_THAT(told('1'),
                ElementsAre("1 [ConfCertCreateCertSoftLink]rename fail! ret:-1 errno:" + std::to_string(EEXIST)));
    EXPECT_THAT(namesIn(store), UnorderedElementsAre("1.pem", "2.pem", "crl.pem", hashName));
    EXPECT_EQ(std::filesystem::read_symlink(store + hashName).parent_path().string() + "/", store);
    EXPECT_EQ(storePath(), store);
    // A store that is gone is told with its path masked.
    std::filesystem::remove_all("/data/tarn_conference");
    rebuild();
    EXPECT_THAT(told(), Contains("1 [ConfCertRemoveDirFile]/da******A/ is empty."));
}

} // namespace
