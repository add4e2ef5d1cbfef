// Several processes, their ends and beginnings.
#include "log/log_files.h"

using namespace tarn::test;

TEST(LogProcess, OfOneNameKeepApart) {
    const std::string plain = logDirectory("twin");
    const auto numbered = [](pid_t pid) { return logDirectory(("twin." + std::to_string(pid)).c_str()); };
    const auto writeOne = [](const char* text) { createLog("a.log").write(text); };
    runChild("twin", [&] {
        writeOne("first");
        EXPECT_EQ(logDirectory(), plain);
        // The second's end must not take the lock away from the first.
        for (const char* text : {"second", "third"}) {
            const Ended twin = runChild("twin", [&] {
                writeOne(text);
                EXPECT_EQ(logDirectory(), numbered(getpid()));
            });
            EXPECT_THAT(textsOf(numbered(twin.pid) + "a.log"), ElementsAre(text));
        }
    });
    runChild("twin", [&] { writeOne("fourth"); });
    EXPECT_THAT(textsOf(plain + "a.log"), ElementsAre("first", "fourth"));
}

TEST(LogProcess, ForkedChildOfAThreadedProcessWritesToItsOwnFile) {
    runChild("parent", [] {
        const LogFile log = createLog("a.log");
        const std::string parentsPath = log.path();
        const std::string text = "child of " + std::to_string(getpid());
        {
            const std::jthread other = meanwhileForking([&] { log.write("parent"); });
            for (int i = 0; i < 20; ++i) {
                runChild("child", [&] { log.write(text); });
            }
        }
        EXPECT_THAT(textsOf(parentsPath), Each("parent"));
        const std::string path = logDirectory("child") + "a.log";
        EXPECT_THAT(textsOf(path), testing::AllOf(SizeIs(20), Each(text)));
        EXPECT_THAT(linesOf(path), Each(HasSubstr(" ERROR child ")));
    });
}

TEST(LogProcess, UnInitEndsAndInitGoesOnWithTheSameFile) {
    const Ended child = runChild("again", [] {
        const LogFile log = createLog("a.log");
        const std::string path = log.path();
        log.write("one");
        LogFile{"", static_cast<uint16_t>(log.id + 1)}.write("unknown id");
        EXPECT_EQ(TarnOmLogClientUnInit(), 0U);
        log.write("too late");
        std::array<char, 256> none = {};
        EXPECT_EQ(TarnHostLogDirectory(nullptr, none.data(), none.size()), uint32_t{ENOENT});
        EXPECT_EQ(createLog("a.log").id, log.id);
        log.write("two");
        EXPECT_THAT(textsOf(path), ElementsAre("one", "two"));
        EXPECT_EQ(TarnHostLogLostRecords(), 2U);
    });
    EXPECT_EQ(child.errors, "");
}

TEST(LogProcess, CopiesToStandardErrorOnRequest) {
    const Ended child = runChild("copying", [] {
        setenv("TARN_LOG_STDERR", "1", 1);
        const LogFile log = createLog("a.log");
        log.write("in both");
        LogFile{"", 0}.write("nowhere else");
        EXPECT_THAT(textsOf(log.path()), ElementsAre("in both"));
    });
    EXPECT_EQ(child.mentions(" log_test:7 in both"), 1);
    EXPECT_EQ(child.mentions(" log_test:7 nowhere else"), 1);
}

TEST(LogDirectory, IsNamedForTools) {
    std::array<char, 256> path = {};
    const std::string expected = std::string(TarnHostDir()) + "/log/media";
    EXPECT_EQ(TarnHostLogDirectory("media", path.data(), expected.size()), uint32_t{ERANGE});
    EXPECT_EQ(TarnHostLogDirectory("media", path.data(), expected.size() + 1), 0U);
    EXPECT_EQ(path.data(), expected);
    EXPECT_EQ(TarnHostLogDirectory("../x", path.data(), path.size()), kInvalid);
}

TEST(LogProcess, RemovesTheOldestDirectoriesOfTheDead) {
    const fs::path logs = std::string(TarnHostDir()) + "/log";
    const auto writeOne = [] { createLog("a.log").write("one"); };
    runChild("crowd", [&] {
        writeOne();
        std::vector<std::string> dead;
        for (int i = 0; i < 12; ++i) {
            dead.push_back(logs / ("crowd." + std::to_string(runChild("crowd", writeOne).pid)));
            // In the order of their ends, whatever the clock of the file system.
            const auto ended = fs::file_time_type::clock::now() - std::chrono::hours(24 - i);
            fs::last_write_time(dead.back(), ended);
        }
        // Of a process that is called like that, not a second one's.
        runChild("crowd.9999999", writeOne);
        last_write_time(logs / "crowd.9999999", fs::file_time_type::min());
        runChild("crowd", writeOne);
        for (size_t i = 0; i < dead.size(); ++i) {
            EXPECT_EQ(fs::exists(dead[i]), i >= 4) << i;
        }
        EXPECT_TRUE(exists(logs / "crowd.9999999"));
        EXPECT_TRUE(exists(logs / "crowd"));
    });
}
