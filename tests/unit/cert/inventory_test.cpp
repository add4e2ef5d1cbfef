// Start-up, the fetch of service certificates, paths, the CA list.
#include <cstring>

#include "cert_fixture.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::StrEq;

using namespace tarn::test;

constexpr uint32_t kFailed = 0xFFFFFFFF;
constexpr uint32_t kMebibyte = 1048576;

class Inventory : public CertTest {
 protected:
    // Sizes of the blocks that were asked for.
    std::vector<uint32_t> blockSizes() const {
        std::vector<uint32_t> sizes;
        for (const Allocation& allocation : platform.allocations()) {
            EXPECT_EQ(allocation.file, "conf_cert");
            sizes.push_back(allocation.size);
        }
        return sizes;
    }
};

TEST_F(Inventory, StartUpGoesOnWhateverFails) {
    for (uint32_t type = 0; type < 3; ++type) {
        serve(type, "certificate", "key");
    }
    int argument = 0;
    platform.failNth("TarnOmCertClientInit", 1);
    ConfCertInit(&argument);
    EXPECT_EQ(service.clientArgument, &argument);
    EXPECT_EQ(service.notify, ConfOmCertCallback);
    const std::string storeLength = std::to_string(scratch.path().size() + sizeof "/storage");
    const std::string caLength = std::to_string(scratch.path().size() + sizeof "/ca");
    const std::string crlLength = std::to_string(scratch.path().size() + sizeof "/crl");
    EXPECT_THAT(
        texts(),
        ElementsAre(
            "3 [ConfCertInit]TarnOmCertClientInit enter", "[ConfCertInit]TarnOmCertClientInit ERROR",
            "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [0]", "3 [GetCertSize]cert size = [11]",
            "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [1]", "3 [GetCertSize]cert size = [11]",
            "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [2]", "3 [GetCertSize]cert size = [11]",
            "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [3]",
            "[GetCertSize]TarnOmCertGetExpectedSrvCertSize ERROR",
            "[ConfCertGetAllCert]Failed to load the certificate. type = [3]",
            // The joins log their lengths.
            "[ConfCertUpdateLdapCert]conf secure func failed, err = " + storeLength + "!\n",
            "[ConfCertUpdateLdapCert]conf secure func failed, err = " + caLength + "!\n",
            "[ConfCertUpdateLdapCert]conf secure func failed, err = " + crlLength + "!\n"));
    EXPECT_THAT(blockSizes(), ElementsAre(kMebibyte + 1, kMebibyte + 1, kMebibyte + 1, 4));
    char store[512];
    ConfCertGetAddrCaPath(store);
    EXPECT_EQ(store, scratch / "storage/");
    EXPECT_THAT(std::vector<char>(store + std::strlen(store), store + sizeof store), Each('\0'));
}

TEST_F(Inventory, FetchTakesSizesWithinTheLimitOnly) {
    struct Case {
        uint32_t size;
        uint32_t result;
    };
    serve(0, "c", "");
    for (const Case& expected :
         {Case{0, 1}, Case{1, 0}, Case{kMebibyte, 0}, Case{kMebibyte + 1, 1}, Case{kFailed, 1}}) {
        SCOPED_TRACE(expected.size);
        platform.reset();
        service.served[kOmTypes[0]].reportedSize = expected.size;
        ConfCertServiceCert fetched = {};
        EXPECT_EQ(ConfCertGetCertSizeAndInfo(0, &fetched), expected.result);
        EXPECT_THAT(texts(), ElementsAre("3 [GetCertSize]cert size = [" + std::to_string(expected.size) + "]"));
        EXPECT_EQ(platform.count("TarnOmCertGetServiceCert"), 1 - expected.result);
        if (expected.result == 0) {
            EXPECT_THAT(blockSizes(), ElementsAre(kMebibyte + 1));
            EXPECT_EQ(fetched.keyData, nullptr);
            ClearAndFreeBuff(&fetched, 0);
            EXPECT_EQ(fetched.certData, nullptr);
        }
    }
}

TEST_F(Inventory, FetchRefusesWhatItCannotServe) {
    ConfCertServiceCert fetched = {};
    EXPECT_EQ(ConfCertGetCertSizeAndInfo(4, &fetched), 1U);
    EXPECT_EQ(ConfCertGetCertSizeAndInfo(0, nullptr), 1U);
    ClearAndFreeBuff(nullptr, 2);
    // One byte more than the largest size is no size.
    serve(3, "certificate", "key");
    service.served[kOmTypes[3]].reportedKeySize = kFailed;
    EXPECT_EQ(ConfCertGetCertSizeAndInfo(3, &fetched), 1U);
    EXPECT_THAT(texts(), ElementsAre("[ConfCertGetCertSizeAndInfo]conf secure func failed, err = -1!\n",
                                     "[ConfCertGetCertSizeAndInfo]Null ptr.", "[ClearAndFreeBuff]Null ptr.",
                                     "3 [GetCertSize]cert size = [11]", "3 [ConfCertGetCertSizeAndInfo]malloc err!"));
    EXPECT_NE(fetched.certData, nullptr) << "of a block that is gone";
    EXPECT_EQ(fetched.certLen, 11U);
    service.served[kOmTypes[3]].reportedKeySize = 3;
    platform.failNth("TarnOmCertGetServiceCert", 1);
    EXPECT_EQ(ConfCertGetCertSizeAndInfo(3, &fetched), 1U);
    EXPECT_EQ(texts().back(), "[ConfCertGetCertSizeAndInfo]TarnOmCertGetServiceCert ERROR");
}

TEST_F(Inventory, FetchBringsCertificateAndKey) {
    serve(2, "certificate", "key part");
    ConfCertServiceCert fetched = {};
    ASSERT_EQ(ConfCertGetCertSizeAndInfo(2, &fetched), 0U);
    EXPECT_EQ(fetched.certLen, 11U);
    EXPECT_STREQ(reinterpret_cast<const char*>(fetched.keyData), "key part");
    EXPECT_THAT(blockSizes(), ElementsAre(kMebibyte + 1, 9));
    ClearAndFreeBuff(&fetched, 2);
    EXPECT_EQ(fetched.keyData, nullptr);
}

TEST_F(Inventory, PathsAreAskedForAndCopied) {
    serve(1, "certificate", "key", "secret");
    service.served[kOmTypes[1]].certPath = std::string(511, 'p');
    char path[512];
    EXPECT_EQ(ConfCertGetSrvCertFilePath(1, path, sizeof path), 0U);
    EXPECT_EQ(path, std::string(511, 'p'));
    EXPECT_EQ(ConfCertGetCaPath(path, sizeof path), 0U);
    EXPECT_EQ(path, scratch / "ca");
    EXPECT_EQ(ConfCertGetCrlPath(path, sizeof path), 0U);
    EXPECT_EQ(path, scratch / "crl");
    ConfCertGmSrvCertInfo info = {};
    EXPECT_EQ(ConfCertGetGmSrvCertInfo(1, &info), 0U);
    EXPECT_THAT(info.keyPath, StrEq(scratch / "key1"));
    EXPECT_STREQ(info.keyPassword, "secret");
    EXPECT_THAT(service.pathQueries,
                ElementsAre(std::array<uint32_t, 3>{0, 2, 0x109}, std::array<uint32_t, 3>{1, 2, 0},
                            std::array<uint32_t, 3>{2, 2, 0}, std::array<uint32_t, 3>{0, 2, 0x109}));
    EXPECT_THAT(texts(), IsEmpty());

    // A field without room for its NUL is cut, and does not run on into the next.
    service.served[kOmTypes[1]].certPath = std::string(512, 'p');
    service.served[kOmTypes[1]].keyPassword = std::string(64, 's');
    EXPECT_EQ(ConfCertGetGmSrvCertInfo(1, &info), 0U);
    EXPECT_EQ(info.certPath, std::string(511, 'p'));
    EXPECT_EQ(info.keyPassword, std::string(63, 's'));
}

TEST_F(Inventory, PathFailuresAreTold) {
    char path[512];
    EXPECT_EQ(ConfCertGetSrvCertFilePath(0, nullptr, 512), kFailed);
    EXPECT_EQ(ConfCertGetCaPath(nullptr, 512), kFailed);
    EXPECT_EQ(ConfCertGetCrlPath(nullptr, 512), kFailed);
    EXPECT_EQ(ConfCertGetGmSrvCertInfo(0, nullptr), kFailed);
    EXPECT_EQ(ConfCertGetSrvCertFilePath(7, path, sizeof path), kFailed);
    ConfCertGmSrvCertInfo info = {};
    EXPECT_EQ(ConfCertGetGmSrvCertInfo(0, &info), kFailed);
    platform.failNth("TarnOmCertGetCertPath", 1);
    EXPECT_EQ(ConfCertGetCrlPath(path, sizeof path), kFailed);
    EXPECT_EQ(ConfCertGetCaPath(path, 4), 1U);
    platform.failNth("memcpy_s", 1);
    ConfCertGetAddrCaPath(path);
    EXPECT_THAT(texts(),
                ElementsAre("[ConfCertGetSrvCertFilePath]input null error", "[ConfCertGetCaPath]input null error",
                            "[ConfCertGetCrlPath]input null error", "[ConfCertGetGmSrvCertInfo]input null error",
                            "[ConfCertGetSrvCertFilePath]TarnOmCertGetCertPath, ret=602, type=7.",
                            "[ConfCertGetGmSrvCertInfo]TarnOmCertGetCertPath error, ret=602, type=0.",
                            "[ConfCertGetCrlPath]TarnOmCertGetCertPath error, 601",
                            "[ConfCertGetCaPath]conf secure func failed, err = 34!\n",
                            "[ConfCertGetAddrCaPath]conf secure func failed, err = 400!\n"));
    serve(0, "certificate", "key", "secret");
    for (size_t n = 1; n <= 3; ++n) {
        info = {};
        platform.failNth("strcpy_s", n);
        EXPECT_EQ(ConfCertGetGmSrvCertInfo(0, &info), 1U);
        EXPECT_EQ(info.certPath[0] != '\0', n > 1);
        EXPECT_EQ(info.keyPath[0] != '\0', n > 2);
        EXPECT_EQ(info.keyPassword[0], '\0');
    }
}

TEST_F(Inventory, CaListTakesPemFilesUpToThirty) {
    const auto isEntry = [&](const std::string& name) {
        return AllOf(Field(&ConfCaCertEntry::path, StrEq(scratch / ("ca/" + name))),
                     Field(&ConfCaCertEntry::fileType, 1U));
    };
    for (const char* const name : {"a.PEM", "xpem", "x.pem.bak", "pem", "x.crt", ".pem"}) {
        writeFile(scratch / (std::string("ca/") += name), "not looked at");
    }
    std::vector<ConfCaCertEntry> list(30);
    uint32_t count = 99;
    ASSERT_EQ(ConfCertGetCaCertList(list.data(), &count), 0U);
    list.resize(count);
    EXPECT_THAT(list, testing::UnorderedElementsAre(isEntry("a.PEM"), isEntry("xpem"), isEntry(".pem")));
    EXPECT_THAT(textsAt(CONF_LOG_INFO), ElementsAre("[ConfCertGetCaCertList]CA file number:3"));

    for (int i = 0; i < 40; ++i) {
        writeFile(scratch / ("ca/" + std::to_string(i) + ".pem"), "");
    }
    list.assign(31, {});
    EXPECT_EQ(ConfCertGetCaCertList(list.data(), &count), 0U);
    EXPECT_EQ(count, 30U);
    EXPECT_EQ(list[29].fileType, 1U);
    EXPECT_EQ(list[30].fileType, 0U);
    EXPECT_EQ(platform.count("OsCloseDir"), 2U);
}

TEST_F(Inventory, CaListToldOfWhatFails) {
    ConfCaCertEntry list[30] = {};
    uint32_t count = 99;
    EXPECT_EQ(ConfCertGetCaCertList(nullptr, &count), kFailed);
    platform.failNth("TarnOmCertGetCertPath", 1);
    EXPECT_EQ(ConfCertGetCaCertList(list, &count), kFailed);
    service.caDirectory = scratch / "absent";
    EXPECT_EQ(ConfCertGetCaCertList(list, &count), kFailed);
    EXPECT_EQ(count, 99U);
    EXPECT_THAT(
        replaced(texts(), scratch.path(), "SCRATCH"),
        ElementsAre("[ConfCertGetCaCertList]invalid params!", "[ConfCertGetCaPath]TarnOmCertGetCertPath error, 601",
                    "[ConfCertGetCaCertList]ConfCertGetCaPath error.",
                    "[ConfCertGetCaCertList]OsOpenDir error, [SCRATCH/absent]is not exist!"));

    // A path of 511 characters is the longest; a longer one is listed empty.
    service.caDirectory = directoryOfLength(500);
    service.caDirectory.pop_back();
    writeFile(service.caDirectory + "/1234567.pem", "");
    platform.clearLogs();
    EXPECT_EQ(ConfCertGetCaCertList(list, &count), 0U);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(std::strlen(list[0].path), 511U);
    std::filesystem::rename(service.caDirectory + "/1234567.pem", service.caDirectory + "/12345678.pem");
    EXPECT_EQ(ConfCertGetCaCertList(list, &count), 0U);
    EXPECT_EQ(count, 1U);
    EXPECT_STREQ(list[0].path, "");
    EXPECT_THAT(textsAt(CONF_LOG_ERROR), ElementsAre("[ConfCertGetCaCertList]sprintf fail!"));
}

} // namespace
