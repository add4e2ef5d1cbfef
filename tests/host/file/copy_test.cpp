#include "support/host_test.h"
#include "tarn_platform/os_file.h"

namespace {

using namespace tarn::test;
using Names = std::set<std::string>;

TEST(HostCopy, CopiesContentAndModeOverAnythingThatWasThere) {
    const ScratchDirectory scratch;
    const std::string from = scratch / "from";
    const std::string to = scratch / "to";
    for (const size_t bytes : {0U, 1U, 65535U, 65536U, 65537U, 1000000U}) {
        std::string content(bytes, '\0');
        for (size_t i = 0; i < bytes; ++i) {
            content[i] = static_cast<char>(i * 7 + i / 255);
        }
        writeFile(from, content);
        ASSERT_EQ(0, chmod(from.c_str(), bytes % 2 == 0 ? 0640 : 0400));
        ASSERT_EQ(0, OsCopyFile(from.c_str(), to.c_str()));
        EXPECT_TRUE(content == readFile(to)) << bytes;
        EXPECT_EQ(std::filesystem::status(from).permissions(), std::filesystem::status(to).permissions());
        ASSERT_EQ(0, OsRemove(from.c_str()));
    }
    EXPECT_EQ(Names{"to"}, scratch.names());
    ASSERT_EQ(0, OsCopyFile(to.c_str(), to.c_str())) << "a file may be copied onto itself";
    EXPECT_EQ(1000000U, readFile(to).size());
}

TEST(HostCopy, FailuresLeaveTheTargetAndNothingElse) {
    const ScratchDirectory scratch;
    const std::string to = scratch / "to";
    writeFile(to, "old");
    writeFile(scratch / "from", "new");
    ASSERT_EQ(0, mkfifo((scratch / "pipe").c_str(), 0600));
    ASSERT_EQ(0, mkdir((scratch / "directory").c_str(), 0700));
    const Names before = scratch.names();
    const auto fails = [](const std::string& source, const std::string& target) {
        return OsCopyFile(source.c_str(), target.c_str()) != 0 ? errno : 0;
    };
    EXPECT_EQ(ENOENT, fails(scratch / "absent", to));
    EXPECT_EQ(EISDIR, fails(scratch / "directory", to));
    EXPECT_EQ(EINVAL, fails(scratch / "pipe", to)) << "not a wait for a writer";
    EXPECT_EQ(ENOENT, fails(scratch / "from", scratch / "absent/to"));
    EXPECT_EQ(ENOTDIR, fails(scratch / "from", to + "/below"));
    EXPECT_EQ(EISDIR, fails(scratch / "from", scratch / "directory"));
    EXPECT_EQ(ENOENT, fails("", to));
    EXPECT_EQ(ENAMETOOLONG, fails(scratch / "from", scratch / std::string(256, 'n')));
    EXPECT_TRUE(OsCopyFile(nullptr, to.c_str()) != 0 && OsCopyFile(to.c_str(), nullptr) != 0);
    writeFile(scratch / "from", std::string(300000, 'n'));
    {
        const FileSizeLimit fullDisk(100000);
        EXPECT_EQ(EFBIG, fails(scratch / "from", to));
    }
    EXPECT_EQ("old", readFile(to));
    EXPECT_EQ(before, scratch.names());
}

TEST(HostCopy, ReadersSeeOneWholeFileOrTheOther) {
    const ScratchDirectory scratch;
    constexpr size_t kBytes = 200000;
    const std::string to = scratch / "to";
    writeFile(scratch / "a", std::string(kBytes, 'a'));
    writeFile(scratch / "b", std::string(kBytes, 'b'));
    writeFile(to, std::string(kBytes, 'a'));
    std::atomic<bool> done = false;
    std::jthread writer([&] {
        for (int round = 0; round < 100; ++round) {
            EXPECT_EQ(0, OsCopyFile((scratch / (round % 2 == 0 ? "b" : "a")).c_str(), to.c_str()));
        }
        done = true;
    });
    while (!done) {
        const std::string seen = readFile(to);
        ASSERT_EQ(kBytes, seen.size());
        ASSERT_EQ(std::string::npos, seen.find_first_not_of(seen.front()));
    }
}

} // namespace
