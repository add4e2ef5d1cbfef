// A process outlives the reader of its standard error.
#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>

#include "support/processes.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_log.h"

namespace {

using namespace tarn::test;

// Standard error is a pipe that nobody reads.
void loseReaderOfErrors() {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    dup2(ends[1], STDERR_FILENO);
}

TEST(StandardError, MayLoseItsReader) {
    EXPECT_EQ(runForked([] {
                  loseReaderOfErrors();
                  setenv("TARN_HOST_DIR", "/proc/nowhere", 1);
                  EXPECT_EQ(TarnHostDir(), nullptr); // A report.
                  setenv("TARN_LOG_STDERR", "1", 1);
                  EXPECT_EQ(TarnOmLogClientInit("lost", 0), 0U);
                  errno = ERANGE;
                  TarnOmLogModuleLogRecord(1, 0, "file", 4, 1, "a record");
                  EXPECT_EQ(errno, ERANGE);
                  sigset_t blocked;
                  sigset_t pending;
                  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
                  sigpending(&pending);
                  EXPECT_EQ(sigismember(&blocked, SIGPIPE) + sigismember(&pending, SIGPIPE), 0);
                  return 0;
              }),
              0);
}

} // namespace
