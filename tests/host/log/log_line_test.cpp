// How a record looks in the file, and that no text can make itself look like another record.
#include <ctime>

#include "log/log_files.h"

using namespace tarn::test;

TEST(LogLine, HasTimeLevelProcessThreadAndPlace) {
    const std::pair<const char*, const char*> zones[] = {{"EAST-5:30", "\\+05:30"}, {"WEST+3:30", "-03:30"}};
    for (const auto& [zone, offset] : zones) {
        runChild("line", [zone = zone, offset = offset] {
            setenv("TZ", zone, 1);
            tzset();
            const LogFile log = createLog("a.log");
            TarnOmLogModuleLogRecord(0, log.id, "file.cpp and more", 8, 4000000000U, "[f]%d%%", 50);
            EXPECT_THAT(
                linesOf(log.path()).back(),
                testing::MatchesRegex("2[0-9]{3}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}" +
                                      std::string(offset) + " ALWAYS line " + std::to_string(getpid()) + " " +
                                      std::to_string(gettid()) + " file.cpp:4000000000 \\[f\\]50%"));
        });
    }
}

TEST(LogLine, NamesEveryLevelAndKeepsItsFieldsApart) {
    const LogFile log = createLog("levels.log");
    const std::pair<uint8_t, const char*> levels[] = {
        {1, "ERROR"}, {2, "WARNING"}, {3, "INFO"}, {4, "DEBUG"}, {5, "LEVEL-5"}};
    for (const auto& [level, word] : levels) {
        TarnOmLogModuleLogRecord(level, log.id, "a b\n", 4, 1, "x");
        const std::string line = linesOf(log.path()).back();
        EXPECT_THAT(line, testing::EndsWith(" a_b_:1 x"));
        EXPECT_THAT(line, HasSubstr(std::string(" ") + word + " "));
    }
}

TEST(LogLine, TextsStayReadableAndCannotForgeRecords) {
    const LogFile log = createLog("text.log");
    const std::pair<const char*, const char*> cases[] = {
        {"plain\n", "plain"},
        {"tab\tstays", "tab\tstays"},
        {"\x1b[31mred\r\x7f", "\\x1B[31mred\\x0D\\x7F"},
        {"Gr\xc3\xbc\xc3\x9f\x65 \xe4\xbc\x9a\xe8\xae\xae \xf0\x9f\x98\x80",
         "Gr\xc3\xbc\xc3\x9f\x65 \xe4\xbc\x9a\xe8\xae\xae \xf0\x9f\x98\x80"},
        {"\xc2\x9b"
         "1m \xc0\xaf \xe0\x80\xaf \xed\xa0\x80 \xf4\x90\x80\x80 \xe4\xbc",
         "\\xC2\\x9B1m \\xC0\\xAF \\xE0\\x80\\xAF \\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80 \\xE4\\xBC"},
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
                                        {"0123456\xe4\xbc\x9a!", "0123456\xe4\xbc\x9a [cut 1 bytes]"},
                                        {"01234567\xe4\xbc\x9a", "01234567 [cut 3 bytes]"}}) {
        log.write(text);
        EXPECT_EQ(log.last(), written);
    }
}

TEST(LogClient, RefusesUnusableCreationRecords) {
    ConfLogInfo info = {77, "x"};
    const auto create = [&info](uint32_t recordBytes, uint32_t fileCount, uint32_t maxFileBytes,
                                const std::string& name) {
        OmLogCreationRecord creation = {recordBytes, fileCount, maxFileBytes, {}};
        name.copy(creation.name, sizeof creation.name);
        return TarnOmLogCreateLog(&creation, &info);
    };
    ASSERT_EQ(TarnOmLogClientInit("C", 1), 0U);
    const std::string noEnd(sizeof OmLogCreationRecord::name, 'a');
    expectAll(kInvalid, {create(512, 9, 1000, ""), create(512, 9, 1000, "a/b"), create(512, 9, 1000, noEnd),
                         create(0, 9, 1000, "a"), create(4097, 9, 1000, "a"), create(512, 1000, 1, "a"),
                         create(512, 9, 0, "a"), TarnOmLogCreateLog(nullptr, &info), TarnOmLogClientInit(nullptr, 1)});
    const OmLogCreationRecord usable = {512, 9, 1000, "usable"};
    EXPECT_EQ(TarnOmLogClientUnInit(), 0U);
    expectAll(ENOTCONN, {TarnOmLogClientUnInit(), TarnOmLogCreateLog(&usable, &info)});
    EXPECT_EQ(info.fileId, 77U);
}
