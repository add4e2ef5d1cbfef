#include "support/host_test.h"
#include "tarn_platform/om_path.h"
#include "tarn_platform/os_file.h"

namespace {

using namespace tarn::test;

TEST(HostFiles, DirectoriesAreReadToTheirEnd) {
    const ScratchDirectory scratch;
    for (const char* name : {"a.pem", "b.crl", ".hidden"}) {
        writeFile(scratch / name, "x");
    }
    void* directory = OsOpenDir(scratch.path().c_str());
    ASSERT_NE(nullptr, directory);
    std::set<std::string> names;
    while (const dirent* entry = OsReadDir(directory)) {
        names.insert(entry->d_name);
    }
    EXPECT_EQ((std::set<std::string>{".", "..", ".hidden", "a.pem", "b.crl"}), names);
    EXPECT_EQ(0, OsCloseDir(directory));
}

TEST(HostFiles, WhatIsWrittenIsReadBackByteForByte) {
    const ScratchDirectory scratch;
    const std::string path = scratch / "file";
    std::string content(100000, '\0');
    for (size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * 7 + i / 255);
    }
    for (const char* mode : {"wb", "ab"}) {
        FILE* const out = OsFopen(path.c_str(), mode);
        ASSERT_NE(nullptr, out);
        EXPECT_EQ(content.size(), std::fwrite(content.data(), 1, content.size(), out));
        EXPECT_EQ(0, std::fclose(out));
    }
    EXPECT_TRUE(readFile(path) == content + content);
    FILE* const in = OsFopen(path.c_str(), "rb");
    ASSERT_NE(nullptr, in);
    std::string read(2 * content.size() + 1, '#');
    EXPECT_EQ(2 * content.size(), std::fread(read.data(), 1, read.size(), in));
    EXPECT_TRUE(read == content + content + "#");
    EXPECT_EQ(0, std::fclose(in));
}

TEST(HostFiles, FailuresAreTold) {
    const ScratchDirectory scratch;
    writeFile(scratch / "file", "x");
    EXPECT_EQ(nullptr, OsOpenDir((scratch / "absent").c_str()));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(nullptr, OsOpenDir(nullptr));
    EXPECT_EQ(nullptr, OsReadDir(nullptr));
    EXPECT_EQ(-1, OsCloseDir(nullptr));

    EXPECT_EQ(nullptr, OsFopen((scratch / "absent").c_str(), "rb"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(nullptr, OsFopen(nullptr, "rb"));
    EXPECT_EQ(nullptr, OsFopen(scratch.path().c_str(), nullptr));

    EXPECT_NE(0, OsRemove((scratch / "absent").c_str()));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_NE(0, OsRemove(nullptr));
    EXPECT_NE(0, OsRemove(scratch.path().c_str())) << "the directory is not empty";
    EXPECT_EQ(0, OsRemove((scratch / "file").c_str()));
    EXPECT_EQ(0, OsRemove(scratch.path().c_str()));
}

// First use from several threads at once: one directory, one text.
TEST(HostPaths, AreMadeAtFirstUseAndStay) {
    for (const auto path :
         {+[] { return TarnOmCustUtilGetCfgPath(0); }, +[] { return TarnOmCustUtilGetStoragePath(); }}) {
        std::vector<const char*> seen(4);
        inThreads(seen.size(), [&](size_t thread) { seen[thread] = path(); });
        ASSERT_NE(nullptr, seen[0]);
        EXPECT_EQ(std::vector<const char*>(4, seen[0]), seen);
        EXPECT_TRUE(std::filesystem::is_directory(seen[0]));
        EXPECT_NE('/', std::string(seen[0]).back());
    }
    const std::string host = TarnHostDir();
    EXPECT_EQ(host + "/config-files", TarnOmCustUtilGetCfgPath(0));
    EXPECT_EQ(host + "/storage", TarnOmCustUtilGetStoragePath());
}

} // namespace
