// The log adapter: what reaches the log client, and what never does.
#include <cstring>

#include "scripted_log.h"
#include "tarn_conference/conf_log.h"
#include "told.h"

namespace {

using tarn::test::scriptedLogClient;
using testing::ElementsAre;
using testing::IsEmpty;

class LogTest : public tarn::test::ScriptedPlatformTest {
 protected:
    void TearDown() override {
        SetLogLevel(CONF_LOG_INFO);
        g_LogInfo = {0, "Conference.log"};
        ScriptedPlatformTest::TearDown();
    }

    std::vector<std::string> textsOf(const std::string& text) {
        platform.clearLogs();
        ConfLogPrintfStr(CONF_LOG_ERROR, "f", "file", 1, text.c_str());
        return platform.logTexts();
    }

    std::vector<std::string> segmentsOf(const std::string& data, uint32_t length) {
        platform.clearLogs();
        ConfLogSegmentPrint("d/f.c", 1, CONF_LOG_ERROR, data.data(), length);
        return platform.logTexts();
    }
};

MATCHER_P5(RecordIs, level, file, line, text, fileId, "") {
    return arg.level == level && arg.file == file && arg.line == static_cast<uint32_t>(line) && arg.text == text &&
           arg.fileId == fileId && arg.format == "%s";
}

TEST_F(LogTest, InitConnectsAndCreatesTheFileUnlessItsNameIsTooLong) {
    EXPECT_EQ(GetConfLogFileId(), 0);
    ConfLogPrintf(CONF_LOG_ERROR, "f", "early", 1, "before init");
    EXPECT_THAT(platform.logs(), ElementsAre(RecordIs(1, "early", 1, "[f]before init", 0)));

    ASSERT_EQ(ConfLogInit(), 0U);
    EXPECT_EQ(scriptedLogClient().name, "C");
    EXPECT_EQ(scriptedLogClient().flag, 1U);
    EXPECT_EQ(scriptedLogClient().info, &g_LogInfo);
    OmLogCreationRecord expected = {512, 9, 10485760, "Conference.log"};
    EXPECT_EQ(std::memcmp(&scriptedLogClient().creation, &expected, sizeof expected), 0);
    EXPECT_EQ(GetConfLogFileId(), 41);

    EXPECT_EQ(ConfLogUnInit(), 0U);
    EXPECT_EQ(platform.count("TarnOmLogClientUnInit"), 1U);

    g_LogInfo.fileName = nullptr;
    EXPECT_EQ(ConfLogInit(), 0xFFFFFFFFU);
    const std::string longest(31, 'n');
    g_LogInfo.fileName = longest.c_str();
    EXPECT_EQ(ConfLogInit(), 0U);
    EXPECT_EQ(scriptedLogClient().creation.name, longest);
    const std::string tooLong(32, 'n');
    g_LogInfo.fileName = tooLong.c_str();
    const size_t created = platform.count("TarnOmLogCreateLog");
    EXPECT_NE(ConfLogInit(), 0U);
    EXPECT_EQ(platform.count("TarnOmLogCreateLog"), created);
}

TEST_F(LogTest, LevelDecidesBeforeAnythingElse) {
    EXPECT_EQ(GetLogLevel(), 3);
    ConfLogPrintf(CONF_LOG_DEBUG, "f", nullptr, 1, nullptr);
    ConfLogPrintf(CONF_LOG_DEBUG, "f", "file", 1, "unseen %d", 1);
    EXPECT_THAT(platform.calls(), IsEmpty());

    EXPECT_EQ(SetLogLevel(4), 0U);
    ConfLogPrintf(CONF_LOG_DEBUG, "f", "file", 7, "seen %d of %s, %.1f%%", 1, "two", 12.5);
    EXPECT_THAT(platform.logs(), ElementsAre(RecordIs(4, "file", 7, "[f]seen 1 of two, 12.5%", 0)));

    EXPECT_EQ(SetLogLevel(5), 0xFFFFFFFFU);
    EXPECT_EQ(SetLogLevel(255), 0xFFFFFFFFU);
    EXPECT_EQ(GetLogLevel(), 4);

    EXPECT_EQ(SetLogLevel(0), 0U);
    platform.reset();
    ConfLogPrintf(CONF_LOG_ERROR, "f", "file", 1, "error");
    ConfLogPrintf(-1, "f", "file", 1, "255 as a byte");
    EXPECT_THAT(platform.calls(), IsEmpty());
    ConfLogPrintf(CONF_LOG_ALWAYS, "f", "file", 1, "always");
    ConfLogPrintf(256, "f", "file", 1, "0 as a byte");
    EXPECT_THAT(platform.logs(),
                ElementsAre(RecordIs(0, "file", 1, "[f]always", 0), RecordIs(0, "file", 1, "[f]0 as a byte", 0)));
}

TEST_F(LogTest, RecordIsWholeOrNotThere) {
    const std::string fits(508, 'x');
    ConfLogPrintf(CONF_LOG_ERROR, "f", "file", 1, "%s", fits.c_str());
    EXPECT_THAT(platform.logTexts(), ElementsAre("[f]" + fits));
    platform.clearLogs();
    ConfLogPrintf(CONF_LOG_ERROR, "f", "file", 1, "%sx", fits.c_str());
    ConfLogPrintf(CONF_LOG_ERROR, std::string(512, 'x').c_str(), "file", 1, "x");
    ConfLogPrintf(CONF_LOG_ERROR, "f", nullptr, 1, "x");
    const char* const noFormat = nullptr;
    ConfLogPrintf(CONF_LOG_ERROR, "f", "file", 1, noFormat);
    EXPECT_THAT(platform.logs(), IsEmpty());

    // The client gets the name's length as a byte.
    const std::string longFile(256 + 5, 'n');
    ConfLogPrintf(CONF_LOG_ERROR, "f", longFile.c_str(), 1, "x");
    EXPECT_EQ(platform.logs().at(0).file, "nnnnn");
}

TEST_F(LogTest, LongTextIsCutBehindNewlinesOrAt352) {
    EXPECT_THAT(textsOf(""), IsEmpty());
    const std::string plain(1000, 'x');
    EXPECT_THAT(textsOf(plain), ElementsAre("[f]" + plain.substr(0, 352), plain.substr(0, 352), plain.substr(0, 296)));
    EXPECT_THAT(textsOf(plain.substr(0, 353)), ElementsAre("[f]" + plain.substr(0, 352), "x"));

    std::string lines = plain;
    lines[50] = lines[100] = '\n';
    EXPECT_THAT(textsOf(lines), ElementsAre("[f]" + lines.substr(0, 101), lines.substr(101, 352),
                                            lines.substr(453, 352), lines.substr(805)));
    lines = plain;
    lines[351] = '\n'; // the last one that a piece can end with
    EXPECT_EQ(textsOf(lines).at(0), "[f]" + lines.substr(0, 352));
    lines[351] = 'x';
    lines[352] = '\n'; // begins the next piece and ends it
    EXPECT_EQ(textsOf(lines).at(1), "\n");
    // A text that fits is one piece, however many newlines it has.
    EXPECT_THAT(textsOf("a\nb\nc"), ElementsAre("[f]a\nb\nc"));
}

TEST_F(LogTest, ContinuationsOfALongTextAreAlwaysWritten) {
    ASSERT_EQ(ConfLogInit(), 0U);
    const std::string text(360, 'x');
    ConfLogPrintfStr(CONF_LOG_DEBUG, "f", "file", 9, text.c_str());
    EXPECT_THAT(platform.logs(), ElementsAre(RecordIs(4, "file", 9, std::string(8, 'x'), 41)));

    platform.clearLogs();
    ConfLogPrintfStr(CONF_LOG_ERROR, "f", "file", 9, nullptr);
    ConfLogPrintfStr(CONF_LOG_ERROR, "f", nullptr, 9, text.c_str());
    EXPECT_THAT(platform.logs(), IsEmpty());
    // A first piece that its function name makes too long is dropped, the rest is not.
    ConfLogPrintfStr(CONF_LOG_ERROR, std::string(200, 'f').c_str(), "file", 9, text.c_str());
    EXPECT_THAT(platform.logTexts(), ElementsAre(std::string(8, 'x')));
}

TEST_F(LogTest, BufferIsCutIntoSegments) {
    const std::string data(513, 'd');
    const std::string prefix = "[ConfLogSegmentPrint][f.c : 1] \n";
    EXPECT_THAT(segmentsOf(data, 399), ElementsAre(prefix + data.substr(0, 399)));
    EXPECT_THAT(segmentsOf(data, 400), ElementsAre(prefix + data.substr(0, 256), prefix + data.substr(0, 144)));
    EXPECT_THAT(segmentsOf(data, 512), ElementsAre(prefix + data.substr(0, 256), prefix + data.substr(0, 256)));
    // Exactly as many bytes as there are, without a NUL behind them.
    const std::vector<char> unterminated(300, 'u');
    ConfLogSegmentPrint("f.c", 2, CONF_LOG_INFO, unterminated.data(), 300);

    platform.clearLogs();
    ConfLogSegmentPrint("/a/b.c/d.c", 77, CONF_LOG_WARNING, data.data(), 513);
    ConfLogSegmentPrint("d.c", 78, CONF_LOG_WARNING, data.data(), 1);
    const std::string ofLine77 = "[ConfLogSegmentPrint][d.c : 77] \n";
    EXPECT_THAT(platform.logs(),
                ElementsAre(RecordIs(2, "conf_log_adapter", 124, ofLine77 + data.substr(0, 256), 0),
                            RecordIs(2, "conf_log_adapter", 124, ofLine77 + data.substr(0, 256), 0),
                            RecordIs(2, "conf_log_adapter", 135, ofLine77 + "d", 0),
                            RecordIs(2, "conf_log_adapter", 110, "[ConfLogSegmentPrint][d.c : 78] \nd", 0)));
    EXPECT_THAT(
        std::vector({GetFileName("a/b\\c.txt"), GetFileName("a\\b/c.txt"), GetFileName("dir/"), GetFileName("")}),
        ElementsAre("c.txt", "c.txt", "", ""));
    platform.clearLogs();
    ConfLogSegmentPrint(nullptr, 12, CONF_LOG_DEBUG, "x", 5);
    ConfLogSegmentPrint("f.c", 13, CONF_LOG_DEBUG, "x", 0);
    EXPECT_THAT(tarn::test::takeLogs("ConfLogSegmentPrint"), ElementsAre("[12] param is null", "[13] param is null"));
}

TEST_F(LogTest, SegmentThatCannotBeFilledEndsTheLoopAndTheTailStartsThere) {
    const std::string data = std::string(256, 'a') + std::string(256, 'b') + std::string(10, 'c');
    const std::string prefix = "[ConfLogSegmentPrint][f.c : 1] \n";
    const auto printFailing = [&](const char* call, size_t n, int code) {
        platform.reset();
        platform.copyFailureCode = code;
        platform.failNth(call, n);
        ConfLogSegmentPrint("f.c", 1, CONF_LOG_INFO, data.data(), static_cast<uint32_t>(data.size()));
        return platform.logTexts();
    };
    for (const char* call : {"memset_s", "memcpy_s"}) {
        EXPECT_THAT(printFailing(call, 2, -9), ElementsAre(prefix + std::string(256, 'a'),
                                                           "[ConfLogSegmentPrint] [f.c : 1] secure func fail,ret:-9",
                                                           prefix + std::string(10, 'b')))
            << call;
        EXPECT_EQ(platform.logs().at(1).level, 1);
        EXPECT_EQ(printFailing(call, 3, -9).at(2), "[ConfLogSegmentPrint][f.c : 1] secure func fail,ret:-9 ") << call;
        EXPECT_EQ(platform.logs().at(2).level, 1);
    }
    // Only a negative sum is a failure; a positive code of the copy leaves an empty segment, not the bytes before it.
    EXPECT_THAT(printFailing("memcpy_s", 2, 400),
                ElementsAre(prefix + std::string(256, 'a'), prefix, prefix + std::string(10, 'c')));
}

} // namespace
