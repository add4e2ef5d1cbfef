// Children of a process with several threads find no lock held by a thread that they do not have.
#include "support/host_test.h"
#include "tarn_host/host_memory.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace tarn::test;

std::atomic<uint32_t> line = 0;

// New places all the time, so that every lock of the account is held now and then.
void takeLocks() {
    TarnHostMemoryUse use = {};
    TarnHostProcessName();
    OsMemGetMemoryUseMonitor(&use, 0, 0);
    OSMemTypeFreeMon(OsMemMallocSetCharMon(16, 0, 0, 0, ++line, "fork"), 0, 0, 1, "fork");
}

TEST(Fork, LeavesNoLockHeldInTheChild) {
    const std::jthread first = meanwhileForking(takeLocks);
    const std::jthread second = meanwhileForking(takeLocks);
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(runForked([] {
                      alarm(10);
                      for (int round = 0; round < 100; ++round) {
                          takeLocks();
                      }
                      return 0;
                  }),
                  0);
    }
}

} // namespace
