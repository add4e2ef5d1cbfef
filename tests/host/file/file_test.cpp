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

// 0 or the errno that the copy leaves.
int copy(const std::string& source, const std::string& target) {
    return OsCopyFile(source.c_str(), target.c_str()) != 0 ? errno : 0;
}

TEST(HostCopy, CopiesContentAndModeOverAnythingThatWasThere) {
    const ScratchDirectory scratch;
    const std::string from = scratch / "from";
    const std::string to = scratch / "to";
    for (const auto& [bytes, mode] : {std::pair(0, 0640U), {65536, 0400U}, {65537, 0600U}, {1000000, 0644U}}) {
        std::string content;
        while (std::ssize(content) < bytes) {
            content += std::to_string(content.size());
        }
        writeFile(from, content);
        ASSERT_EQ(0, chmod(from.c_str(), mode));
        ASSERT_EQ(0, copy(from, to));
        EXPECT_TRUE(content == readFile(to)) << bytes;
        EXPECT_EQ(std::filesystem::perms{mode}, std::filesystem::status(to).permissions());
        ASSERT_EQ(0, OsRemove(from.c_str()));
    }
    EXPECT_THAT(scratch.names(), testing::ElementsAre("to"));
    ASSERT_EQ(0, copy(to, to)) << "a file may be copied onto itself";
    EXPECT_LE(1000000U, readFile(to).size());
}

TEST(HostCopy, FailuresLeaveTheTargetAndNothingElse) {
    const ScratchDirectory scratch;
    const std::string from = scratch / "from";
    const std::string to = scratch / "to";
    writeFile(to, "old");
    writeFile(from, std::string(300000, 'n'));
    ASSERT_EQ(0, mkfifo((scratch / "pipe").c_str(), 0600));
    ASSERT_EQ(0, mkdir((scratch / "directory").c_str(), 0700));
    const auto before = scratch.names();
    EXPECT_EQ(ENOENT, copy(scratch / "absent", to));
    EXPECT_EQ(EISDIR, copy(scratch / "directory", to));
    EXPECT_EQ(EINVAL, copy(scratch / "pipe", to)) << "not a wait for a writer";
    EXPECT_EQ(ENOENT, copy(from, scratch / "absent/to"));
    EXPECT_EQ(EISDIR, copy(from, scratch / "directory"));
    EXPECT_EQ(ENAMETOOLONG, copy(from, scratch / std::string(256, 'n')));
    EXPECT_TRUE(OsCopyFile(nullptr, to.c_str()) != 0 && OsCopyFile(to.c_str(), nullptr) != 0);
    {
        const FileSizeLimit fullDisk(100000);
        EXPECT_EQ(EFBIG, copy(from, to));
    }
    EXPECT_EQ("old", readFile(to));
    EXPECT_EQ(before, scratch.names());
}

TEST(HostCopy, ReadersSeeOneWholeFileOrTheOther) {
    const ScratchDirectory scratch;
    const std::string to = scratch / "to";
    const std::string contents[] = {std::string(200000, 'a'), std::string(200000, 'b')};
    writeFile(scratch / "0", contents[0]);
    writeFile(scratch / "1", contents[1]);
    writeFile(to, contents[0]);
    const std::jthread reader = meanwhile([&] {
        const std::string seen = readFile(to);
        EXPECT_TRUE(seen == contents[0] || seen == contents[1]) << seen.size();
    });
    for (int round = 1; round <= 100; ++round) {
        EXPECT_EQ(0, copy(scratch / std::to_string(round % 2), to));
    }
}

} // namespace
