// The process goes on whatever happens to its log; it says so once, and once when it is over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "log/log_files.h"
#include "tarn_host/host_log.h"
#include "tarn_host/host_process.h"

using namespace tarn::test;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
namespace fs = std::filesystem;

namespace {

std::string directoryNamed(const char* process) {
    return std::string(TarnHostDir()) + "/log/" + process + "/";
}

void writeRecords(uint16_t id, const std::string& word, int count) {
    for (int i = 0; i < count; ++i) {
        writeRecord(id, word + " " + std::to_string(i));
    }
}

// Records written while there was room stand whole, those after it follow a note of the gap, and nothing is torn.
void expectGapBetween(const std::string& path, const std::string& lastBefore) {
    const std::vector<std::string> texts = textsOf(linesOf(path));
    const auto gap = std::find_if(texts.begin(), texts.end(), [](const std::string& text) {
        return text == std::to_string(TarnHostLogLostRecords()) + " records before this one were lost";
    });
    ASSERT_NE(gap, texts.end());
    EXPECT_THAT(std::vector<std::string>(texts.begin(), gap), Each(HasSubstr(lastBefore)));
    EXPECT_THAT(std::vector<std::string>(gap + 1, texts.end()), ElementsAre("after 0", "after 1", "after 2"));
}

} // namespace

TEST(LogTrouble, FileSizeLimitTearsNothing) {
    const ChildResult child = runChild("limited", [] {
        ASSERT_NE(signal(SIGXFSZ, SIG_IGN), SIG_ERR);
        const uint16_t id = createLog("a.log");
        rlimit limit = {};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlimit small = {3000, limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        writeRecords(id, "before", 100);
        EXPECT_GT(TarnHostLogLostRecords(), 20U);
        EXPECT_LE(fs::file_size(logDirectory() + "a.log"), 3000U);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        writeRecords(id, "after", 3);
        expectGapBetween(logDirectory() + "a.log", "before");
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.mentions("a.log cannot be written: "), 1);
    EXPECT_EQ(child.mentions("a.log can be written again; "), 1);
    EXPECT_EQ(child.mentions(""), 2) << child.standardError;
}

TEST(LogTrouble, FullDisk) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "mounting a small file system needs root";
    }
    const ChildResult child = runChild("full", [] {
        const std::string directory = directoryNamed("full");
        fs::create_directories(directory);
        fs::permissions(directory, fs::perms::owner_all);
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=64k,mode=0700") != 0) {
            _exit(77);
        }
        const uint16_t id = createLog("a.log");
        writeRecords(id, "before", 30);
        std::ofstream(directory + "filler") << std::string(100000, 'f');
        writeRecords(id, "before", 300);
        EXPECT_GT(TarnHostLogLostRecords(), 200U);
        fs::remove(directory + "filler");
        writeRecords(id, "after", 3);
        expectGapBetween(directory + "a.log", "before");
    });
    if (WIFEXITED(child.status) && WEXITSTATUS(child.status) == 77) {
        GTEST_SKIP() << "mounting is not allowed here";
    }
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.mentions("a.log cannot be written: No space left on device"), 1);
    EXPECT_EQ(child.mentions("a.log can be written again; "), 1);
    EXPECT_EQ(child.mentions(""), 2) << child.standardError;
}

TEST(LogTrouble, DirectoryThatCannotBeMade) {
    const ChildResult child = runChild("blocked", [] {
        fs::create_directories(directoryNamed("."));
        const std::string inTheWay = std::string(TarnHostDir()) + "/log/blocked";
        std::ofstream(inTheWay) << "in the way";
        const uint16_t id = createLog("a.log");
        EXPECT_NE(id, 0U);
        writeRecords(id, "before", 5);
        EXPECT_EQ(TarnHostLogLostRecords(), 5U);
        fs::remove(inTheWay);
        writeRecords(id, "after", 2);
        EXPECT_THAT(textsOf(linesOf(logDirectory() + "a.log")),
                    ElementsAre("5 records before this one were lost", "after 0", "after 1"));
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.mentions("a.log cannot be opened: Not a directory"), 1);
    EXPECT_EQ(child.mentions("a.log can be opened again; 5 records were lost"), 1);
    EXPECT_EQ(child.mentions(""), 2) << child.standardError;
}

TEST(LogTrouble, SomethingElseInPlaceOfTheFile) {
    const ChildResult child = runChild("fifo", [] {
        const uint16_t other = createLog("other.log");
        const std::string path = logDirectory() + "a.log";
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        const uint16_t id = createLog("a.log"); // must not wait for a reader
        writeRecords(id, "before", 2);
        writeRecords(other, "other", 1);
        fs::remove(path);
        fs::create_symlink(logDirectory() + "other.log", path);
        writeRecords(id, "before", 2);
        EXPECT_THAT(textsOf(linesOf(logDirectory() + "other.log")), ElementsAre("other 0"));
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.mentions("a.log cannot be opened: "), 1);
}

TEST(LogTrouble, RotationThatFailsLosesNothing) {
    const ChildResult child = runChild("stuck", [] {
        const uint16_t id = createLog("a.log", 2, 500);
        const std::string path = logDirectory() + "a.log";
        fs::create_directories(path + ".2/inside");
        writeRecords(id, "first", 30);
        EXPECT_GT(fs::file_size(path), 1500U) << "grows beyond its limit";
        fs::remove_all(path + ".2");
        writeRecord(id, "last");
        EXPECT_THAT(textsOf(linesOf(path)), ElementsAre("last"));
        EXPECT_EQ(allLinesOf(path).size(), 31U);
        EXPECT_EQ(TarnHostLogLostRecords(), 0U);
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.mentions("a.log cannot be rotated: "), 1);
    EXPECT_EQ(child.mentions("a.log can be rotated again"), 1);
}

TEST(LogTrouble, RemovedFilesAndDirectoriesComeBack) {
    const ChildResult child = runChild("removed", [] {
        const uint16_t id = createLog("a.log");
        const std::string path = logDirectory() + "a.log";
        writeRecord(id, "gone");
        fs::remove(path);
        writeRecord(id, "again");
        EXPECT_THAT(textsOf(linesOf(path)), ElementsAre("again"));
        fs::remove_all(logDirectory());
        writeRecord(id, "with its directory");
        EXPECT_THAT(textsOf(linesOf(path)), ElementsAre("with its directory"));
        EXPECT_TRUE(fs::exists(logDirectory() + ".lock"));
        fs::rename(path, path + ".moved");
        for (int i = 0; i < 200 && !fs::exists(path); ++i) {
            usleep(20000);
            writeRecord(id, "moved");
        }
        EXPECT_TRUE(fs::exists(path)) << "a file that was moved away is noticed";
        fs::resize_file(path, 0);
        writeRecord(id, "emptied");
        EXPECT_THAT(textsOf(linesOf(path)), ElementsAre("emptied"));
        EXPECT_EQ(TarnHostLogLostRecords(), 0U);
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.standardError, "");
}
