// Children of a process with several threads find no lock held by a thread that they do not have.
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/processes.h"
#include "tarn_host/host_memory.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace tarn::test;

void takeLocks() {
    TarnHostMemoryUse use = {};
    TarnHostProcessName();
    OsMemGetMemoryUseMonitor(&use, 0, 0);
}

TEST(Fork, LeavesNoLockHeldInTheChild) {
    const std::jthread first = meanwhile(takeLocks);
    const std::jthread second = meanwhile(takeLocks);
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(runForked([] {
                      alarm(10);
                      takeLocks();
                      return 0;
                  }),
                  0);
    }
}

} // namespace
