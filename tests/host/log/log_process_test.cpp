// Several processes, their ends and beginnings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "log/log_files.h"
#include "tarn_host/host_log.h"
#include "tarn_host/host_process.h"

using namespace tarn::test;
using testing::ElementsAre;

TEST(LogProcess, KillLosesNothing) {
    const ChildResult child = runChild("killed", [] {
        const uint16_t id = createLog("a.log", 9, 3000);
        for (int i = 0; i < 100; ++i) {
            writeRecord(id, "record " + std::to_string(i));
        }
        kill(getpid(), SIGKILL);
    });
    ASSERT_TRUE(WIFSIGNALED(child.status));
    const std::vector<std::string> texts = textsOf(allLinesOf(std::string(TarnHostDir()) + "/log/killed/a.log"));
    ASSERT_EQ(texts.size(), 100U);
    EXPECT_EQ(texts.front(), "record 0");
    EXPECT_EQ(texts.back(), "record 99");
}

TEST(LogProcess, OfOneNameKeepApart) {
    const std::string plain = std::string(TarnHostDir()) + "/log/twin/";
    const auto writeOne = [](const char* text) { writeRecord(createLog("a.log"), text); };
    const ChildResult first = runChild("twin", [&] {
        writeOne("first");
        EXPECT_EQ(logDirectory(), plain);
        const ChildResult second = runChild("twin", [&] {
            writeOne("second");
            EXPECT_EQ(logDirectory(), std::string(TarnHostDir()) + "/log/twin." + std::to_string(getpid()) + "/");
        });
        EXPECT_EQ(second.status, 0);
        EXPECT_THAT(textsOf(linesOf(std::string(TarnHostDir()) + "/log/twin." + std::to_string(second.pid) + "/a.log")),
                    ElementsAre("second"));
        // The second's end must not have taken the lock away.
        EXPECT_EQ(runChild("twin", [&] { EXPECT_NE((writeOne("third"), logDirectory()), plain); }).status, 0);
    });
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(runChild("twin", [&] { writeOne("fourth"); }).status, 0);
    EXPECT_THAT(textsOf(linesOf(plain + "a.log")), ElementsAre("first", "fourth"));
}

TEST(LogProcess, ForkedChildOfAThreadedProcessWritesToItsOwnFile) {
    const ChildResult parent = runChild("parent", [] {
        const uint16_t id = createLog("a.log");
        std::atomic<bool> stop{false};
        std::thread other([&stop, id] {
            while (!stop.load(std::memory_order_relaxed)) {
                writeRecord(id, "parent");
            }
        });
        for (int i = 0; i < 20; ++i) {
            const ChildResult child =
                runChild("child", [id] { writeRecord(id, "child of " + std::to_string(getppid())); });
            EXPECT_EQ(child.status, 0);
        }
        stop.store(true, std::memory_order_relaxed);
        other.join();
        EXPECT_THAT(textsOf(linesOf(logDirectory() + "a.log")), testing::Each("parent"));
        const std::vector<std::string> lines = linesOf(std::string(TarnHostDir()) + "/log/child/a.log");
        EXPECT_THAT(textsOf(lines),
                    testing::AllOf(testing::SizeIs(20), testing::Each("child of " + std::to_string(getpid()))));
        EXPECT_THAT(lines.front(), testing::HasSubstr(" ERROR child "));
    });
    EXPECT_EQ(parent.status, 0);
}

TEST(LogProcess, UnInitEndsAndInitGoesOnWithTheSameFile) {
    const ChildResult child = runChild("again", [] {
        writeRecord(0, "too early");
        const uint16_t id = createLog("a.log");
        const std::string path = logDirectory() + "a.log";
        writeRecord(id, "one");
        writeRecord(static_cast<uint16_t>(id + 1), "unknown id");
        EXPECT_EQ(TarnOmLogClientUnInit(), 0U);
        writeRecord(id, "too late");
        std::array<char, 256> none = {"kept"};
        EXPECT_EQ(TarnHostLogDirectory(nullptr, none.data(), none.size()), static_cast<uint32_t>(ENOENT));
        EXPECT_STREQ(none.data(), "kept");
        EXPECT_EQ(createLog("a.log"), id);
        writeRecord(id, "two");
        EXPECT_THAT(textsOf(linesOf(path)), ElementsAre("one", "two"));
        EXPECT_EQ(TarnHostLogLostRecords(), 3U);
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.standardError, "");
}

TEST(LogProcess, CopiesToStandardErrorOnRequest) {
    const ChildResult child = runChild("copying", [] {
        setenv("TARN_LOG_STDERR", "1", 1);
        const uint16_t id = createLog("a.log");
        writeRecord(id, "in both");
        writeRecord(0, "nowhere else");
        EXPECT_THAT(textsOf(linesOf(logDirectory() + "a.log")), ElementsAre("in both"));
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.mentions(" log_test:7 in both"), 1);
    EXPECT_EQ(child.mentions(" log_test:7 nowhere else"), 1);
}

TEST(LogDirectory, IsNamedForTools) {
    std::array<char, 256> path = {};
    ASSERT_EQ(TarnHostLogDirectory("media", path.data(), path.size()), 0U);
    const std::string expected = std::string(TarnHostDir()) + "/log/media";
    EXPECT_EQ(path.data(), expected);
    EXPECT_EQ(TarnHostLogDirectory("media", path.data(), expected.size()), static_cast<uint32_t>(ERANGE));
    EXPECT_EQ(TarnHostLogDirectory("media", path.data(), expected.size() + 1), 0U);
    EXPECT_EQ(TarnHostLogDirectory("../x", path.data(), path.size()), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnHostLogDirectory("media", nullptr, 10), static_cast<uint32_t>(EINVAL));
}

TEST(LogProcess, RemovesTheOldestDirectoriesOfTheDead) {
    const std::filesystem::path logs = std::string(TarnHostDir()) + "/log";
    const auto secondOf = [](const char* name) {
        return runChild(name, [] { writeRecord(createLog("a.log"), "second"); }).pid;
    };
    const ChildResult first = runChild("crowd", [&] {
        writeRecord(createLog("a.log"), "first");
        std::vector<pid_t> dead;
        for (int i = 0; i < 12; ++i) {
            dead.push_back(secondOf("crowd"));
            // In the order of their ends, whatever the clock of the file system.
            const auto ended = std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 - i);
            last_write_time(logs / ("crowd." + std::to_string(dead.back())), ended);
        }
        // Of a process that is called like that, not a second one's.
        EXPECT_EQ(runChild("crowd.9999999", [] { writeRecord(createLog("a.log"), "other"); }).status, 0);
        last_write_time(logs / "crowd.9999999", std::filesystem::file_time_type::min());
        secondOf("crowd");
        for (size_t i = 0; i < dead.size(); ++i) {
            EXPECT_EQ(exists(logs / ("crowd." + std::to_string(dead[i]))), i >= 4) << i;
        }
        EXPECT_TRUE(exists(logs / "crowd.9999999"));
        EXPECT_TRUE(exists(logs / "crowd"));
    });
    EXPECT_EQ(first.status, 0);
}
