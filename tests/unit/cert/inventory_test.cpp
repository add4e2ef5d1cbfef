// Start-up, the fetch of service certificates, paths, the CA list.
#include "cert_fixture.h"

namespace {

using namespace testing;
using namespace tarn::test;

using Inventory = CertTest;

TEST_F(Inventory, StartUpGoesOnWithoutACertificate) {
    for (uint32_t type = 0; type < 3; ++type) {
        serve(type, "certificate", "key");
    }
    int argument = 0;
    ConfCertInit(&argument);
    EXPECT_EQ(service.clientArgument, &argument);
    EXPECT_EQ(service.notify, ConfOmCertCallback);
    const std::vector<std::string> calls = platform.calls();
    EXPECT_LT(std::ranges::find(calls, "TarnOmCertNotifyCallback"), std::ranges::find(calls, "TarnOmCertGetCertId"));
    const std::string enter = "3 [ConfCertUpdateCertInfo]ConfCertUpdateCertInfo enter, type = [";
    const std::string size = "3 [GetCertSize]cert size = [11]";
    const auto joined = [&](const std::string& path) { // the joins log their lengths
        return "1 [ConfCertUpdateLdapCert]conf secure func failed, err = " + std::to_string(path.size()) + "!\n";
    };
    EXPECT_THAT(told(),
                ElementsAre("3 [ConfCertInit]TarnOmCertClientInit enter", enter + "0]", size, enter + "1]", size,
                            enter + "2]", size, enter + "3]", "1 [GetCertSize]TarnOmCertGetExpectedSrvCertSize ERROR",
                            "1 [ConfCertGetAllCert]Failed to load the certificate. type = [3]",
                            joined(scratch / "storage/"), joined(scratch / "ca/"), joined(scratch / "crl/")));
    EXPECT_EQ(storePath(), scratch / "storage/");
}

TEST_F(Inventory, FetchBringsCertificateAndKeyWithinTheLimits) {
    serve(2, "certificate", "key part");
    std::optional<uint32_t>& size = service.served[kOmTypes[2]].reportedSize;
    ConfCertServiceCert fetched = {};
    constexpr uint32_t kMebibyte = 1048576;
    for (const uint32_t refused : {0U, kMebibyte + 1}) {
        size = refused;
        EXPECT_EQ(ConfCertGetCertSizeAndInfo(2, &fetched), 1U);
    }
    size = kMebibyte;
    ASSERT_EQ(ConfCertGetCertSizeAndInfo(2, &fetched), 0U);
    EXPECT_EQ(fetched.certLen, 11U);
    EXPECT_STREQ(reinterpret_cast<const char*>(fetched.keyData), "key part");
    EXPECT_EQ(platform.allocations().at(0).size, kMebibyte + 1);
    EXPECT_EQ(platform.allocations().at(1).size, 9U);
    ClearAndFreeBuff(&fetched, 2);
    EXPECT_TRUE(fetched.certData == nullptr && fetched.keyData == nullptr);

    // One byte more than the largest size is no size.
    service.served[kOmTypes[2]].reportedKeySize = UINT32_MAX;
    size.reset();
    told();
    EXPECT_THAT(Codes({ConfCertGetCertSizeAndInfo(2, &fetched), ConfCertGetCertSizeAndInfo(4, &fetched),
                       ConfCertGetCertSizeAndInfo(0, nullptr)}),
                Each(1));
    ClearAndFreeBuff(nullptr, 2);
    EXPECT_THAT(told(), ElementsAre("3 [GetCertSize]cert size = [11]", "3 [ConfCertGetCertSizeAndInfo]malloc err!",
                                    "1 [ConfCertGetCertSizeAndInfo]conf secure func failed, err = -1!\n",
                                    "1 [ConfCertGetCertSizeAndInfo]Null ptr.", "1 [ClearAndFreeBuff]Null ptr."));
    EXPECT_NE(fetched.certData, nullptr) << "of a block that is gone";
}

TEST_F(Inventory, PathsAreAskedForAndCopied) {
    serve(1, "certificate", "key", std::string(64, 's'));
    service.served[kOmTypes[1]].certPath = std::string(511, 'p');
    char path[512];
    EXPECT_EQ(ConfCertGetSrvCertFilePath(1, path, sizeof path), 0U);
    EXPECT_EQ(path, std::string(511, 'p'));
    EXPECT_EQ(ConfCertGetCaPath(path, sizeof path), 0U);
    EXPECT_EQ(path, scratch / "ca");
    EXPECT_EQ(ConfCertGetCrlPath(path, sizeof path), 0U);
    EXPECT_EQ(path, scratch / "crl");
    // A field without room for its NUL is cut, and does not run on into the next.
    service.served[kOmTypes[1]].certPath = std::string(512, 'q');
    ConfCertGmSrvCertInfo info = {};
    EXPECT_EQ(ConfCertGetGmSrvCertInfo(1, &info), 0U);
    EXPECT_EQ(info.certPath, std::string(511, 'q'));
    EXPECT_THAT(info.keyPath, StrEq(scratch / "key1"));
    EXPECT_EQ(info.keyPassword, std::string(63, 's'));
    using Query = std::array<uint32_t, 3>;
    EXPECT_THAT(service.pathQueries,
                ElementsAre(Query{0, 2, 0x109}, Query{1, 2, 0}, Query{2, 2, 0}, Query{0, 2, 0x109}));
    EXPECT_THAT(told(), IsEmpty());

    EXPECT_THAT(Codes({ConfCertGetSrvCertFilePath(0, nullptr, 512), ConfCertGetCaPath(nullptr, 512),
                       ConfCertGetGmSrvCertInfo(0, nullptr), ConfCertGetSrvCertFilePath(7, path, sizeof path),
                       ConfCertGetGmSrvCertInfo(0, &info), ConfCertGetCaPath(path, 4)}),
                ElementsAre(kFailed, kFailed, kFailed, kFailed, kFailed, 1));
    EXPECT_THAT(told(),
                ElementsAre("1 [ConfCertGetSrvCertFilePath]input null error", "1 [ConfCertGetCaPath]input null error",
                            "1 [ConfCertGetGmSrvCertInfo]input null error",
                            "1 [ConfCertGetSrvCertFilePath]TarnOmCertGetCertPath, ret=602, type=7.",
                            "1 [ConfCertGetGmSrvCertInfo]TarnOmCertGetCertPath error, ret=602, type=0.",
                            "1 [ConfCertGetCaPath]conf secure func failed, err = 34!\n"));
}

TEST_F(Inventory, CaListTakesPemFilesUpToThirty) {
    for (const char* const name : {"a.PEM", "xpem", "x.pem.bak", "pem", "x.crt", ".pem"}) {
        writeFile(scratch / (std::string("ca/") += name), "not looked at");
    }
    std::vector<ConfCaCertEntry> list(30);
    uint32_t count = 99;
    ASSERT_EQ(ConfCertGetCaCertList(list.data(), &count), 0U);
    EXPECT_EQ(count, 3U);
    EXPECT_THAT(std::set<std::string>({list[0].path, list[1].path, list[2].path}),
                UnorderedElementsAre(scratch / "ca/a.PEM", scratch / "ca/xpem", scratch / "ca/.pem"));
    for (int i = 0; i < 40; ++i) {
        writeFile(scratch / ("ca/" + std::to_string(i) + ".pem"), "");
    }
    list.assign(31, {});
    EXPECT_EQ(ConfCertGetCaCertList(list.data(), &count), 0U);
    EXPECT_EQ(count, 30U);
    EXPECT_EQ(list[29].fileType, 1U);
    EXPECT_EQ(list[30].fileType, 0U);

    service.caDirectory = scratch / "absent";
    EXPECT_EQ(ConfCertGetCaCertList(nullptr, &count), kFailed);
    EXPECT_EQ(ConfCertGetCaCertList(list.data(), &count), kFailed);
    EXPECT_EQ(count, 30U);
    EXPECT_THAT(told(),
                ElementsAre("3 [ConfCertGetCaCertList]CA file number:3", "3 [ConfCertGetCaCertList]CA file number:30",
                            "1 [ConfCertGetCaCertList]invalid params!",
                            "1 [ConfCertGetCaCertList]OsOpenDir error, [/absent]is not exist!"));
}

} // namespace
