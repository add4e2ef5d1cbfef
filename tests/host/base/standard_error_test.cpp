// A process outlives the reader of its standard error, and writes none of it into a file of its own.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "support/processes.h"
#include "tarn_host/host_message.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_certificate.h"
#include "tarn_platform/om_log.h"
#include "tarn_platform/os_file.h"

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

bool isClosed(int descriptor) {
    return fcntl(descriptor, F_GETFD) < 0;
}

void onRecord(OsMsgRecord* /*record*/) {}

TEST(StandardError, GoesIntoNoFileOfAProcessStartedWithoutIt) {
    const std::string scratch = std::string(std::getenv("TARN_HOST_DIR")) + "/scratch";
    const std::vector<std::function<bool()>> opens = {
        [] {
            OmLogCreationRecord creation = {512, 5, 300, "a.log"};
            ConfLogInfo info = {0, "a"};
            TarnOmLogClientInit("closed", 0);
            return TarnOmLogCreateLog(&creation, &info) == 0;
        },
        [] { return OsMsgReceiverStart("closed", onRecord) == 0; },
        [] { return TarnOmCertClientInit(nullptr) == 0; },
        [&] { return OsFopen(scratch.c_str(), "w") != nullptr; },
    };
    for (size_t i = 0; i < opens.size(); ++i) {
        EXPECT_EQ(runForked([&] {
                      closefrom(0);
                      return !opens[i]() ? 2 : isClosed(0) && isClosed(1) && isClosed(2) ? 0 : 3;
                  }),
                  0)
            << i;
    }
}

} // namespace
