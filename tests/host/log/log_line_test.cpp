// How a record looks in the file, and that no text can make itself look like another record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "log/log_files.h"
#include "tarn_host/host_log.h"
#include "tarn_host/host_process.h"

using namespace tarn::test;
using testing::ElementsAre;
using testing::MatchesRegex;

namespace {

std::string lastText(const char* file) {
    return textOf(linesOf(logDirectory() + file).back());
}

} // namespace

TEST(LogLine, HasTimeLevelProcessThreadAndPlace) {
    const ChildResult child = runChild("line", [] {
        setenv("TZ", "EAST-5:30", 1);
        tzset();
        const uint16_t id = createLog("a.log");
        TarnOmLogModuleLogRecord(0, id, "file.cpp and more", 8, 4000000000U, "[f]%d%%", 50);
        const std::string ids = std::to_string(getpid()) + " " + std::to_string(gettid());
        EXPECT_THAT(linesOf(logDirectory() + "a.log").back(),
                    MatchesRegex("2[0-9]{3}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}\\+05:30 "
                                 "ALWAYS line " +
                                 ids + " file.cpp:4000000000 \\[f\\]50%"));
    });
    EXPECT_EQ(child.status, 0);
    const ChildResult west = runChild("west", [] {
        setenv("TZ", "WEST+3:30", 1);
        tzset();
        writeRecord(createLog("a.log"), "x");
        EXPECT_THAT(linesOf(logDirectory() + "a.log").back(), testing::HasSubstr("-03:30 ERROR west "));
    });
    EXPECT_EQ(west.status, 0);
}

TEST(LogLine, NamesEveryLevelAndKeepsItsFieldsApart) {
    const uint16_t id = createLog("levels.log");
    std::vector<std::string> words;
    for (const unsigned level : {0U, 1U, 2U, 3U, 4U, 5U, 255U}) {
        TarnOmLogModuleLogRecord(static_cast<uint8_t>(level), id, "a b\n", 4, 1, "x");
        const std::string line = linesOf(logDirectory() + "levels.log").back();
        EXPECT_THAT(line, testing::EndsWith(" a_b_:1 x"));
        const size_t start = line.find(' ') + 1;
        words.push_back(line.substr(start, line.find(' ', start) - start));
    }
    EXPECT_THAT(words, ElementsAre("ALWAYS", "ERROR", "WARNING", "INFO", "DEBUG", "LEVEL-5", "LEVEL-255"));
}

TEST(LogLine, TextsStayReadableAndCannotForgeRecords) {
    const uint16_t id = createLog("text.log");
    const struct {
        const char* text;
        const char* written;
    } cases[] = {
        {"plain\n", "plain"},
        {"", ""},
        {"tab\tstays", "tab\tstays"},
        {"\x1b[31mred\r\x7f", "\\x1B[31mred\\x0D\\x7F"},
        {"Gr\xc3\xbc\xc3\x9f\x65 \xe4\xbc\x9a\xe8\xae\xae \xf0\x9f\x98\x80",
         "Gr\xc3\xbc\xc3\x9f\x65 \xe4\xbc\x9a\xe8\xae\xae \xf0\x9f\x98\x80"},
        {"\xc2\x9b"
         "1m \xc0\xaf \xed\xa0\x80 \xf4\x90\x80\x80 \xe4\xbc",
         "\\xC2\\x9B1m \\xC0\\xAF \\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80 \\xE4\\xBC"},
    };
    for (const auto& each : cases) {
        writeRecord(id, each.text);
        EXPECT_EQ(lastText("text.log"), each.written);
    }
    const size_t before = linesOf(logDirectory() + "text.log").size();
    writeRecord(id, "one\n2026-01-01T00:00:00.000+00:00 ERROR forged 1 1 x:1 y\n\n");
    const std::vector<std::string> lines = linesOf(logDirectory() + "text.log");
    ASSERT_EQ(lines.size(), before + 3);
    EXPECT_EQ(lines[before + 1], "    2026-01-01T00:00:00.000+00:00 ERROR forged 1 1 x:1 y");
    EXPECT_EQ(lines[before + 2], "    ");
}

TEST(LogLine, LongTextsAreCutBetweenCharacters) {
    const uint16_t id = createLog("cut.log", 9, 1U << 20U, 10);
    writeRecord(id, "0123456789");
    EXPECT_EQ(lastText("cut.log"), "0123456789");
    writeRecord(id, "0123456789a");
    EXPECT_EQ(lastText("cut.log"), "0123456789 [cut 1 bytes]");
    writeRecord(id, "01234567\xe4\xbc\x9a");
    EXPECT_EQ(lastText("cut.log"), "01234567 [cut 3 bytes]");
    const uint16_t largest = createLog("largest.log", 9, 1U << 20U, 4096);
    writeRecord(largest, std::string(1000000, '\n'));
    const std::vector<std::string> lines = linesOf(logDirectory() + "largest.log");
    EXPECT_EQ(lines.back(), "     [cut 995904 bytes]");
}

TEST(LogLine, WritingKeepsErrno) {
    const uint16_t id = createLog("errno.log");
    errno = EXDEV;
    writeRecord(id, "text");
    writeRecord(0, "nowhere");
    EXPECT_EQ(errno, EXDEV);
}

TEST(LogClient, RefusesUnusableCreationRecords) {
    const ConfLogInfo untouched = {77, "x"};
    ConfLogInfo info = untouched;
    ASSERT_EQ(TarnOmLogClientInit("C", 1), 0U);
    const OmLogCreationRecord refused[] = {
        {512, 9, 1000, ""},
        {512, 9, 1000, "a/b"},
        {512, 9, 1000, ".."},
        {512, 9, 1000, "a b"},
        {0, 9, 1000, "a"},
        {4097, 9, 1000, "a"},
        {512, 1000, 1, "a"},
        {512, 9, 0, "a"},
        {512, 9, 1000, {'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a',
                        'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a'}},
    };
    for (const OmLogCreationRecord& creation : refused) {
        EXPECT_EQ(TarnOmLogCreateLog(&creation, &info), static_cast<uint32_t>(EINVAL));
    }
    const OmLogCreationRecord usable = {512, 9, 1000, "usable"};
    EXPECT_EQ(TarnOmLogCreateLog(nullptr, &info), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmLogCreateLog(&usable, nullptr), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmLogClientInit(nullptr, 1), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmLogClientUnInit(), 0U);
    EXPECT_EQ(TarnOmLogClientUnInit(), static_cast<uint32_t>(ENOTCONN));
    EXPECT_EQ(TarnOmLogCreateLog(&usable, &info), static_cast<uint32_t>(ENOTCONN));
    EXPECT_EQ(info.fileId, untouched.fileId);
}
