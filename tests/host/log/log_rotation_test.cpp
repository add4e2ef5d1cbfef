// Rotation keeps what the limits say, and neither it nor concurrency loses or tears a record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "log/log_files.h"

using namespace tarn::test;
namespace fs = std::filesystem;

TEST(LogRotation, KeepsTheNewestFilesWithinTheirSize) {
    const uint16_t id = createLog("small.log", 3, 2000);
    const std::string path = logDirectory() + "small.log";
    for (int i = 0; i < 300; ++i) {
        writeRecord(id, "record " + std::to_string(i));
    }
    for (const char* suffix : {"", ".1", ".2", ".3"}) {
        ASSERT_TRUE(fs::exists(path + suffix));
        EXPECT_LE(fs::file_size(path + suffix), 2000U);
        EXPECT_GE(fs::file_size(path + suffix), suffix[0] == '\0' ? 1U : 1800U);
    }
    EXPECT_FALSE(fs::exists(path + ".4"));
    const std::vector<std::string> texts = textsOf(allLinesOf(path));
    for (size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(texts[texts.size() - 1 - i], "record " + std::to_string(299 - i));
    }
}

TEST(LogRotation, LimitsMayBeAsSmallAsOneRecordAndNoPredecessor) {
    const uint16_t id = createLog("none.log", 0, 1);
    const std::string path = logDirectory() + "none.log";
    writeRecord(id, "first");
    writeRecord(id, "second");
    EXPECT_THAT(textsOf(linesOf(path)), testing::ElementsAre("second"));
    EXPECT_FALSE(fs::exists(path + ".1"));

    EXPECT_EQ(createLog("none.log", 2, 1), id);
    for (const char* text : {"third", "fourth", "fifth"}) {
        writeRecord(id, text);
    }
    EXPECT_THAT(textsOf(allLinesOf(path)), testing::ElementsAre("third", "fourth", "fifth"));
}

TEST(LogRotation, ThreadsLoseNothing) {
    constexpr int kThreads = 8;
    constexpr int kRecords = 1500;
    const uint16_t id = createLog("threads.log", 250, 8000);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([id, thread] {
            for (int i = 0; i < kRecords; ++i) {
                TarnOmLogModuleLogRecord(1, id, "t", 1, 1, "%d %d %.*s.", thread, i, i % 100,
                                         "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"
                                         "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string path = logDirectory() + "threads.log";
    ASSERT_TRUE(fs::exists(path + ".100")) << "the test must rotate often";
    std::array<int, kThreads> next = {};
    for (const std::string& text : textsOf(allLinesOf(path))) {
        int thread = -1;
        int record = -1;
        ASSERT_EQ(std::sscanf(text.c_str(), "%d %d", &thread, &record), 2) << text;
        ASSERT_TRUE(thread >= 0 && thread < kThreads);
        EXPECT_EQ(text, std::to_string(thread) + " " + std::to_string(record) + " " +
                            std::string(static_cast<size_t>(record % 100), 'x') + ".");
        EXPECT_EQ(record, next[static_cast<size_t>(thread)]++);
    }
    EXPECT_THAT(next, testing::Each(kRecords));
}
