#include <fcntl.h>

#include "support/host_test.h"
#include "tarn_platform/om_path.h"
#include "tarn_platform/os_file.h"

namespace {

using namespace tarn::test;

TEST(HostFiles, StreamsAreOpenedInTheirModeAndNotForOtherPrograms) {
    const ScratchDirectory scratch;
    const std::string path = scratch / "file";
    for (const char* const mode : {"wb", "ab", "r+"}) {
        FILE* const stream = OsFopen(path.c_str(), mode);
        ASSERT_NE(nullptr, stream);
        EXPECT_EQ(FD_CLOEXEC, fcntl(fileno(stream), F_GETFD));
        EXPECT_GE(std::fputs(mode, stream), 0);
        EXPECT_EQ(0, std::fclose(stream));
    }
    EXPECT_EQ("r+ab", readFile(path));
}

TEST(HostFiles, FailuresAreTold) {
    const ScratchDirectory scratch;
    writeFile(scratch / "file", "x");
    const std::string absent = scratch / "absent";
    EXPECT_TRUE(OsOpenDir(absent.c_str()) == nullptr && errno == ENOENT);
    EXPECT_TRUE(OsFopen(absent.c_str(), "rb") == nullptr && errno == ENOENT);
    EXPECT_TRUE(OsRemove(absent.c_str()) != 0 && errno == ENOENT);
    for (const void* const none :
         {OsOpenDir(nullptr), static_cast<void*>(OsReadDir(nullptr)), static_cast<void*>(OsFopen(nullptr, "rb")),
          static_cast<void*>(OsFopen(absent.c_str(), nullptr))}) {
        EXPECT_EQ(nullptr, none);
    }
    EXPECT_EQ(-1, OsCloseDir(nullptr));
    EXPECT_NE(0, OsRemove(nullptr));
    EXPECT_NE(0, OsRemove(scratch.path().c_str())) << "the directory is not empty";
    EXPECT_EQ(0, OsRemove((scratch / "file").c_str()));
    EXPECT_EQ(0, OsRemove(scratch.path().c_str()));
}

// First use from several threads at once: one directory, one text.
TEST(HostPaths, AreMadeAtFirstUseAndStay) {
    const auto configuration = [] { return TarnOmCustUtilGetCfgPath(0); };
    const std::string host = TarnHostDir();
    for (const auto& [path, name] :
         {std::pair(+configuration, "/config-files"), {TarnOmCustUtilGetStoragePath, "/storage"}}) {
        std::vector<const char*> seen(4);
        inThreads(seen.size(), [&, path = path](size_t thread) { seen[thread] = path(); });
        EXPECT_EQ(host + name, seen[0]);
        EXPECT_EQ(std::vector<const char*>(4, seen[0]), seen);
        EXPECT_TRUE(std::filesystem::is_directory(seen[0]));
    }
}

} // namespace
