// A process outlives the reader of its standard error, and writes none of it into a file of its own.
#include <fcntl.h>

#include "support/host_test.h"
#include "tarn_host/host_message.h"
#include "tarn_platform/om_certificate.h"
#include "tarn_platform/om_log.h"
#include "tarn_platform/os_file.h"

namespace {

using namespace tarn::test;

TEST(StandardError, MayLoseItsReader) {
    EXPECT_EQ(runForked([] {
                  int ends[2];
                  EXPECT_EQ(pipe(ends), 0);
                  close(ends[0]);
                  dup2(ends[1], STDERR_FILENO);
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

TEST(StandardError, GoesIntoNoFileOfAProcessStartedWithoutIt) {
    const std::string scratch = std::string(std::getenv("TARN_HOST_DIR")) + "/scratch";
    const std::vector<std::function<bool()>> opens = {
        [] {
            OmLogCreationRecord creation = {512, 5, 300, "a.log"};
            ConfLogInfo info = {0, "a"};
            TarnOmLogClientInit("closed", 0);
            return TarnOmLogCreateLog(&creation, &info) == 0;
        },
        [] { return OsMsgReceiverStart("closed", [](OsMsgRecord*) {}) == 0; },
        [] { return TarnOmCertClientInit(nullptr) == 0; },
        [&] { return OsFopen(scratch.c_str(), "w") != nullptr; },
    };
    const auto isClosed = [](int descriptor) { return fcntl(descriptor, F_GETFD) < 0; };
    for (const auto& open : opens) {
        EXPECT_EQ(runForked([&] {
                      closefrom(0);
                      return !open() ? 2 : isClosed(0) && isClosed(1) && isClosed(2) ? 0 : 3;
                  }),
                  0)
            << &open - opens.data();
    }
}

} // namespace
