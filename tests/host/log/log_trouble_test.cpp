// The process goes on whatever happens to its log; it says so once, and once when it is over.
#include "log/log_files.h"

using namespace tarn::test;

namespace {

// What was written while there was room stands whole, what came after it follows a note of the gap, nothing is torn.
void expectGap(const LogFile& log) {
    log.writeMany("after", 3);
    const std::vector<std::string> texts = textsOf(log.path());
    const auto gap = std::find(texts.begin(), texts.end(),
                               std::to_string(TarnHostLogLostRecords()) + " records before this one were lost");
    ASSERT_NE(gap, texts.end());
    EXPECT_THAT(std::vector<std::string>(texts.begin(), gap), Each(HasSubstr("before")));
    EXPECT_THAT(std::vector<std::string>(gap + 1, texts.end()), ElementsAre("after 0", "after 1", "after 2"));
}

// A line each time that the trouble begins and one when it is over, no other.
void expectTold(const Ended& child, const std::string& begin, const std::string& end, int times = 1) {
    EXPECT_EQ(child.mentions("a.log " + begin), times) << child.errors;
    EXPECT_EQ(child.mentions("a.log " + end), times) << child.errors;
    EXPECT_EQ(child.mentions(""), 2 * times) << child.errors;
}

} // namespace

TEST(LogTrouble, FileSizeLimitTearsNothing) {
    const Ended child = runChild("limited", [] {
        const LogFile log = createLog("a.log");
        {
            const FileSizeLimit small(3000);
            log.writeMany("before", 100);
        }
        EXPECT_GT(TarnHostLogLostRecords(), 20U);
        EXPECT_LE(fs::file_size(log.path()), 3000U);
        runChild("heir", [&] {
            log.write("mine");
            EXPECT_THAT(textsOf(log.path()), ElementsAre("mine")) << "what was lost is its parent's";
        });
        expectGap(log);
    });
    expectTold(child, "cannot be written: ", "can be written again; ");
}

TEST(LogTrouble, DirectoryThatCannotBeMade) {
    const Ended child = runChild("blocked", [] {
        const std::string inTheWay = std::string(TarnHostDir()) + "/log/blocked";
        fs::create_directories(logDirectory("."));
        writeFile(inTheWay, "in the way");
        const LogFile log = createLog("a.log");
        EXPECT_NE(log.id, 0U);
        log.writeMany("before", 5);
        EXPECT_EQ(TarnHostLogLostRecords(), 5U);
        fs::remove(inTheWay);
        expectGap(log);
    });
    expectTold(child, "cannot be opened: Not a directory", "can be opened again; 5 records were lost");
}

TEST(LogTrouble, SomethingElseInPlaceOfTheFile) {
    const Ended child = runChild("fifo", [] {
        const LogFile other = createLog("other.log");
        const std::string path = logDirectory() + "a.log";
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        const LogFile log = createLog("a.log"); // must not wait for a reader
        errno = EXDEV;
        log.write("before");
        EXPECT_EQ(errno, EXDEV) << "callers log from within their error handling";
        other.write("other");
        fs::remove(path);
        fs::create_symlink(other.path(), path);
        log.write("before");
        EXPECT_THAT(textsOf(other.path()), ElementsAre("other"));
    });
    EXPECT_EQ(child.mentions("a.log cannot be opened: "), 1);
}

TEST(LogTrouble, RotationThatFailsLosesNothing) {
    const Ended child = runChild("stuck", [] {
        const LogFile log = createLog("a.log", 2, 500);
        fs::create_directories(log.path() + ".2/inside");
        log.writeMany("first", 30);
        EXPECT_GT(fs::file_size(log.path()), 1500U) << "grows beyond its limit";
        fs::remove_all(log.path() + ".2");
        log.write("second");
        EXPECT_THAT(textsOf(log.path()), ElementsAre("second"));
        EXPECT_THAT(allTextsOf(log.path()), SizeIs(31));

        rlimit limit = {};
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit none = {0, limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        log.writeMany("third", 10);
        setrlimit(RLIMIT_NOFILE, &limit);
        EXPECT_THAT(allTextsOf(log.path()), SizeIs(41)) << "no older file goes for want of a descriptor";
        log.write("last");
        EXPECT_THAT(textsOf(log.path()), ElementsAre("last"));
        EXPECT_EQ(TarnHostLogLostRecords(), 0U);
    });
    expectTold(child, "cannot be rotated: ", "can be rotated again", 2);
}

TEST(LogTrouble, RemovedFilesAndDirectoriesComeBack) {
    const Ended child = runChild("removed", [] {
        const LogFile log = createLog("a.log");
        const std::string path = log.path();
        log.write("gone");
        fs::remove(path);
        log.write("again");
        EXPECT_THAT(textsOf(path), ElementsAre("again"));
        fs::remove_all(logDirectory());
        log.write("with its directory");
        EXPECT_THAT(textsOf(path), ElementsAre("with its directory"));
        EXPECT_TRUE(fs::exists(logDirectory() + ".lock"));
        fs::rename(path, path + ".moved");
        EXPECT_TRUE(comesTrue([&] {
            log.write("moved");
            return fs::exists(path);
        })) << "a file that was moved away is noticed";
        fs::resize_file(path, 0);
        log.write("emptied");
        EXPECT_THAT(textsOf(path), ElementsAre("emptied"));
        EXPECT_EQ(TarnHostLogLostRecords(), 0U);
    });
    EXPECT_EQ(child.errors, "");
}
