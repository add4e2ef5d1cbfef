// How a record looks in the file, and that no text can make itself look like another record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "log/log_files.h"
#include "tarn_host/host_log.h"

using namespace tarn::test;
using testing::EndsWith;
using testing::HasSubstr;

TEST(LogLine, HasTimeLevelProcessThreadAndPlace) {
    runChild("line", [] {
        setenv("TZ", "EAST-5:30", 1);
        tzset();
        const LogFile log = createLog("a.log");
        TarnOmLogModuleLogRecord(0, log.id, "file.cpp and more", 8, 4000000000U, "[f]%d%%", 50);
        const std::string ids = std::to_string(getpid()) + " " + std::to_string(gettid());
        EXPECT_THAT(
            linesOf(log.path()).back(),
            testing::MatchesRegex("2[0-9]{3}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}\\+05:30 "
                                  "ALWAYS line " +
                                  ids + " file.cpp:4000000000 \\[f\\]50%"));
    });
    runChild("west", [] {
        setenv("TZ", "WEST+3:30", 1);
        tzset();
        const LogFile log = createLog("a.log");
        log.write("x");
        EXPECT_THAT(linesOf(log.path()).back(), HasSubstr("-03:30 ERROR west "));
    });
}

TEST(LogLine, NamesEveryLevelAndKeepsItsFieldsApart) {
    const LogFile log = createLog("levels.log");
    const std::pair<uint8_t, const char*> levels[] = {{0, "ALWAYS"}, {1, "ERROR"},   {2, "WARNING"},    {3, "INFO"},
                                                      {4, "DEBUG"},  {5, "LEVEL-5"}, {255, "LEVEL-255"}};
    for (const auto& [level, word] : levels) {
        TarnOmLogModuleLogRecord(level, log.id, "a b\n", 4, 1, "x");
        const std::string line = linesOf(log.path()).back();
        EXPECT_THAT(line, EndsWith(" a_b_:1 x"));
        EXPECT_THAT(line, HasSubstr(std::string(" ") + word + " "));
    }
}

TEST(LogLine, TextsStayReadableAndCannotForgeRecords) {
    const LogFile log = createLog("text.log");
    const std::pair<const char*, const char*> cases[] = {
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
    for (const auto& [text, written] : cases) {
        log.write(text);
        EXPECT_EQ(log.last(), written);
    }
    log.write("one\n2026-01-01T00:00:00.000+00:00 ERROR forged 1 1 x:1 y\n\n");
    const std::vector<std::string> lines = linesOf(log.path());
    ASSERT_EQ(lines.size(), std::size(cases) + 3);
    EXPECT_EQ(lines[lines.size() - 2], "    2026-01-01T00:00:00.000+00:00 ERROR forged 1 1 x:1 y");
    EXPECT_EQ(lines.back(), "    ");
}

TEST(LogLine, LongTextsAreCutBetweenCharacters) {
    const LogFile log = createLog("cut.log", 9, 1U << 20U, 10);
    for (const auto& [text, written] : {std::pair("0123456789", "0123456789"),
                                        {"0123456789a", "0123456789 [cut 1 bytes]"},
                                        {"01234567\xe4\xbc\x9a", "01234567 [cut 3 bytes]"}}) {
        log.write(text);
        EXPECT_EQ(log.last(), written);
    }
    const LogFile largest = createLog("largest.log", 9, 1U << 20U, 4096);
    largest.write(std::string(1000000, '\n'));
    EXPECT_EQ(linesOf(largest.path()).back(), "     [cut 995904 bytes]");
}

TEST(LogLine, WritingKeepsErrno) {
    const LogFile log = createLog("errno.log");
    errno = EXDEV;
    log.write("text");
    LogFile{"", 0}.write("nowhere");
    EXPECT_EQ(errno, EXDEV);
}

TEST(LogClient, RefusesUnusableCreationRecords) {
    ConfLogInfo info = {77, "x"};
    const auto create = [&info](uint32_t recordBytes, uint32_t fileCount, uint32_t maxFileBytes,
                                const std::string& name) {
        OmLogCreationRecord creation = {recordBytes, fileCount, maxFileBytes, {}};
        name.copy(creation.name, sizeof creation.name);
        return TarnOmLogCreateLog(&creation, &info);
    };
    constexpr uint32_t kInvalid = EINVAL;
    ASSERT_EQ(TarnOmLogClientInit("C", 1), 0U);
    for (const std::string& name : {std::string(), std::string("a/b"), std::string(".."), std::string("a b"),
                                    std::string(sizeof OmLogCreationRecord::name, 'a')}) {
        EXPECT_EQ(create(512, 9, 1000, name), kInvalid) << name;
    }
    EXPECT_EQ(create(0, 9, 1000, "a"), kInvalid);
    EXPECT_EQ(create(4097, 9, 1000, "a"), kInvalid);
    EXPECT_EQ(create(512, 1000, 1, "a"), kInvalid);
    EXPECT_EQ(create(512, 9, 0, "a"), kInvalid);
    const OmLogCreationRecord usable = {512, 9, 1000, "usable"};
    EXPECT_EQ(TarnOmLogCreateLog(nullptr, &info), kInvalid);
    EXPECT_EQ(TarnOmLogCreateLog(&usable, nullptr), kInvalid);
    EXPECT_EQ(TarnOmLogClientInit(nullptr, 1), kInvalid);
    EXPECT_EQ(TarnOmLogClientUnInit(), 0U);
    EXPECT_EQ(TarnOmLogClientUnInit(), uint32_t{ENOTCONN});
    EXPECT_EQ(TarnOmLogCreateLog(&usable, &info), uint32_t{ENOTCONN});
    EXPECT_EQ(info.fileId, 77U);
}
