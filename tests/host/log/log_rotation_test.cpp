// Rotation keeps what the limits say, and neither it nor concurrency loses or tears a record.
#include "log/log_files.h"

using namespace tarn::test;

TEST(LogRotation, KeepsTheNewestFilesWithinTheirSize) {
    const LogFile log = createLog("small.log", 3, 2000);
    log.writeMany("record", 300);
    for (const char* suffix : {"", ".1", ".2", ".3"}) {
        ASSERT_TRUE(fs::exists(log.path() + suffix));
        EXPECT_LE(fs::file_size(log.path() + suffix), 2000U);
        EXPECT_GE(fs::file_size(log.path() + suffix), suffix[0] == '\0' ? 1U : 1800U);
    }
    EXPECT_FALSE(fs::exists(log.path() + ".4"));
    const std::vector<std::string> texts = allTextsOf(log.path());
    for (size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(texts[i], "record " + std::to_string(300 - texts.size() + i));
    }
}

TEST(LogRotation, LimitsHoldToTheByte) {
    const LogFile log = createLog("exact.log");
    log.write("a");
    const auto lineBytes = static_cast<uint32_t>(fs::file_size(log.path()));
    createLog("exact.log", 1, 2 * lineBytes).write("b");
    EXPECT_THAT(textsOf(log.path()), ElementsAre("a", "b"));
    createLog("exact.log", 1, 3 * lineBytes - 1).write("c");
    EXPECT_THAT(textsOf(log.path()), ElementsAre("c"));

    // As small as one record and no predecessor.
    const LogFile one = createLog("none.log", 0, 1);
    one.writeMany("lost", 1);
    one.write("kept");
    EXPECT_THAT(allTextsOf(one.path()), ElementsAre("kept"));
    EXPECT_EQ(createLog("none.log", 2, 1).id, one.id);
    one.writeMany("new", 3);
    EXPECT_THAT(allTextsOf(one.path()), ElementsAre("new 0", "new 1", "new 2"));
}

TEST(LogRotation, ThreadsLoseNothing) {
    constexpr int records = 1500;
    const LogFile log = createLog("threads.log", 250, 8000);
    const auto textOf = [](size_t thread, int record) {
        return std::to_string(thread) + std::string(static_cast<size_t>(record % 100), 'x') + std::to_string(record);
    };
    std::array<int, 8> next = {};
    inThreads(next.size(), [&](size_t thread) {
        for (int i = 0; i < records; ++i) {
            log.write(textOf(thread, i));
        }
    });
    ASSERT_TRUE(fs::exists(log.path() + ".100")) << "the test must rotate often";
    for (const std::string& text : allTextsOf(log.path())) {
        const auto thread = static_cast<size_t>(text[0] - '0');
        ASSERT_LT(thread, next.size()) << text;
        EXPECT_EQ(text, textOf(thread, next[thread]++));
    }
    EXPECT_THAT(next, Each(records));
}
