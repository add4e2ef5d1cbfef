// Start-up, the fetch of service certificates, paths, the CA list.
#include <cstring>

#include "cert_fixture.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::StrEq;

using namespace tarn::test;

constexpr uint32_t kFailed = 0xFFFFFFFF;
constexpr uint32_t kMebibyte = 1048576;

using Inventory = CertTest;

TEST_F(Inventory, StartUpGoesOnWithoutACertificate) {
    for (uint32_t type = 0; type < 3; ++type) {
        serve(type, "certificate", "key");
    }
    int argument = 0;
    ConfCertInit(&argument);
    EXPECT_EQ(service.clientArgument, &argument);
    EXPECT_EQ(service.notify, ConfOmCertCallback);
    // The joins log their lengths.
    const auto joined = [&](const std::string& path) {
        return "[ConfCertUpdateLdapCert]conf secure func failed, err = " + std::to_string(path.size() + 1) + "!\n";
    };
    EXPECT_THAT(texts(), ElementsAre("3 [ConfCertInit]TarnOmCertClientInit enter",
                                     "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [0]",
                                     "3 [GetCertSize]cert size = [11]",
                                     "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [1]",
                                     "3 [GetCertSize]cert size = [11]",
                                     "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [2]",
                                     "3 [GetCertSize]cert size = [11]",
                                     "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [3]",
                                     "[GetCertSize]TarnOmCertGetExpectedSrvCertSize ERROR",
                                     "[ConfCertGetAllCert]Failed to load the certificate. type = [3]",
                                     joined(scratch / "storage"), joined(scratch / "ca"), joined(scratch / "crl")));
    char store[512];
    ConfCertGetAddrCaPath(store);
    EXPECT_EQ(store, scratch / "storage/");
}

TEST_F(Inventory, FetchBringsCertificateAndKeyWithinTheLimit) {
    serve(2, "certificate", "key part");
    ConfCertServiceCert fetched = {};
    for (const uint32_t size : {0U, kMebibyte + 1}) {
        service.served[kOmTypes[2]].reportedSize = size;
        EXPECT_EQ(ConfCertGetCertSizeAndInfo(2, &fetched), 1U);
    }
    service.served[kOmTypes[2]].reportedSize = kMebibyte;
    ASSERT_EQ(ConfCertGetCertSizeAndInfo(2, &fetched), 0U);
    EXPECT_EQ(fetched.certLen, 11U);
    EXPECT_STREQ(reinterpret_cast<const char*>(fetched.keyData), "key part");
    EXPECT_EQ(platform.allocations().at(0).size, kMebibyte + 1);
    EXPECT_EQ(platform.allocations().at(1).size, 9U);
    ClearAndFreeBuff(&fetched, 2);
    EXPECT_EQ(fetched.certData, nullptr);
    EXPECT_EQ(fetched.keyData, nullptr);
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
    EXPECT_EQ(ConfCertGetGmSrvCertInfo(0, nullptr), kFailed);
    EXPECT_EQ(ConfCertGetSrvCertFilePath(7, path, sizeof path), kFailed);
    ConfCertGmSrvCertInfo info = {};
    EXPECT_EQ(ConfCertGetGmSrvCertInfo(0, &info), kFailed);
    EXPECT_EQ(ConfCertGetCaPath(path, 4), 1U);
    EXPECT_THAT(texts(),
                ElementsAre("[ConfCertGetSrvCertFilePath]input null error", "[ConfCertGetCaPath]input null error",
                            "[ConfCertGetGmSrvCertInfo]input null error",
                            "[ConfCertGetSrvCertFilePath]TarnOmCertGetCertPath, ret=602, type=7.",
                            "[ConfCertGetGmSrvCertInfo]TarnOmCertGetCertPath error, ret=602, type=0.",
                            "[ConfCertGetCaPath]conf secure func failed, err = 34!\n"));
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
}

TEST_F(Inventory, CaListTellsOfAPathThatIsMissing) {
    ConfCaCertEntry list[30] = {};
    uint32_t count = 99;
    EXPECT_EQ(ConfCertGetCaCertList(nullptr, &count), kFailed);
    service.caDirectory = scratch / "absent";
    EXPECT_EQ(ConfCertGetCaCertList(list, &count), kFailed);
    EXPECT_EQ(count, 99U);
    EXPECT_THAT(replaced(texts(), scratch.path(), "SCRATCH"),
                ElementsAre("[ConfCertGetCaCertList]invalid params!",
                            "[ConfCertGetCaCertList]OsOpenDir error, [SCRATCH/absent]is not exist!"));
}

} // namespace
