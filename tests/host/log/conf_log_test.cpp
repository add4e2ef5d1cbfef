// The library's log on the host platform, end to end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log/log_files.h"
#include "tarn_conference/conf_log.h"
#include "tarn_host/host_log.h"

using namespace tarn::test;
using testing::ElementsAre;
using testing::EndsWith;

TEST(ConfLog, RecordsReachTheirFileWholeOrNotAtAll) {
    const ChildResult child = runChild("conference", [] {
        ConfLogPrintf(CONF_LOG_ERROR, "early", "file", 1, "before the init");
        EXPECT_EQ(TarnHostLogLostRecords(), 1U);
        ASSERT_EQ(ConfLogInit(), 0U);
        EXPECT_NE(GetConfLogFileId(), 0);
        ConfLogPrintf(CONF_LOG_DEBUG, "f", "file", 2, "above the level");
        ConfLogPrintf(CONF_LOG_INFO, "f", "file", 3, "value %d\n", 42);
        const std::string fits(508, 'x');
        ConfLogPrintf(CONF_LOG_ERROR, "f", "file", 4, "%s", fits.c_str());
        ConfLogPrintf(CONF_LOG_ERROR, "f", "file", 5, "%sx", fits.c_str());
        ConfLogPrintfStr(CONF_LOG_WARNING, "f", "file", 6,
                         (std::string(300, 'a') + "\n" + std::string(100, 'b')).c_str());
        const std::string path = logDirectory() + "Conference.log";
        EXPECT_THAT(linesOf(path), ElementsAre(EndsWith(" file:3 [f]value 42"), EndsWith(" file:4 [f]" + fits),
                                               EndsWith(" file:6 [f]" + std::string(300, 'a')),
                                               EndsWith(" file:6 " + std::string(100, 'b'))));
        EXPECT_EQ(ConfLogUnInit(), 0U);
        ConfLogPrintf(CONF_LOG_ERROR, "late", "file", 7, "after the end");
        ASSERT_EQ(ConfLogInit(), 0U);
        ConfLogPrintf(CONF_LOG_ERROR, "f", "file", 8, "again");
        EXPECT_THAT(linesOf(path).back(), EndsWith(" file:8 [f]again"));
        EXPECT_EQ(linesOf(path).size(), 5U);
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.standardError, "");
}
