// What the launcher does when the system or the program around it is not as usual.
#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <ctime>
#include <new>

#include "launcher/old_kernel.h"
#include "support/processes.h"
#include "tarn_host/host_launcher.h"

namespace {

using namespace tarn::test;

constexpr uint32_t kPatienceMs = 20000;

int sleepASecond(void* /*argument*/) {
    sleep(1);
    return 0;
}

TEST(LauncherTrouble, SleepsWhileItWaitsWithoutProcessDescriptors) {
    EXPECT_EQ(runForked([] {
                  if (!forgetProcessDescriptors()) {
                      return 0; // The kernel takes no filter of system calls.
                  }
                  TarnHostLauncher* const launcher = TarnHostLauncherCreate();
                  const TarnHostProcess process = {"sleeper", sleepASecond, nullptr};
                  EXPECT_EQ(TarnHostLauncherStart(launcher, &process), 0U);
                  const std::clock_t before = std::clock();
                  TarnHostProcessState state = {};
                  EXPECT_EQ(TarnHostLauncherWait(launcher, kPatienceMs, &state), 0U);
                  EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10) << "processor time of one second";
                  TarnHostLauncherDestroy(launcher);
                  return 0;
              }),
              0);
}

TEST(LauncherTrouble, ForgetsWhatItCouldNotStart) {
    EXPECT_EQ(runForked([] {
                  TarnHostLauncher* const launcher = TarnHostLauncherCreate();
                  const TarnHostProcess process = {"unstarted", sleepASecond, nullptr};
                  const rlimit none = {0, 0};
                  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
                  EXPECT_EQ(TarnHostLauncherStart(launcher, &process), uint32_t{EMFILE});
                  TarnHostProcessState state = {};
                  EXPECT_EQ(TarnHostLauncherState(launcher, "unstarted", &state), uint32_t{ENOENT});
                  EXPECT_EQ(TarnHostLauncherRestart(launcher, "unstarted"), uint32_t{ENOENT});
                  TarnHostLauncherDestroy(launcher);
                  return 0;
              }),
              0);
}

int runOutOfMemory(void* /*argument*/) {
    throw std::bad_alloc();
}

TEST(LauncherTrouble, AnExceptionEndsItsProcessOnly) {
    TarnHostLauncher* const launcher = TarnHostLauncherCreate();
    const TarnHostProcess process = {"throwing", runOutOfMemory, nullptr};
    EXPECT_EQ(TarnHostLauncherStart(launcher, &process), 0U);
    TarnHostProcessState state = {};
    EXPECT_EQ(TarnHostLauncherWait(launcher, kPatienceMs, &state), 0U);
    EXPECT_EQ(state.signal, SIGABRT);
    TarnHostLauncherDestroy(launcher);
}

int destroyInherited(void* launcher) {
    auto* const inherited = static_cast<TarnHostLauncher*>(launcher);
    const bool refused =
        TarnHostLauncherStop(inherited, 0) == EPERM && TarnHostLauncherRestart(inherited, "x") == EPERM;
    TarnHostLauncherDestroy(inherited); // As a launcher with static storage does when the process exits.
    return refused ? 0 : 1;
}

TEST(LauncherTrouble, AProcessCannotEndItsSisters) {
    TarnHostLauncher* const launcher = TarnHostLauncherCreate();
    const TarnHostProcess sister = {"sister", sleepASecond, nullptr};
    const TarnHostProcess process = {"process", destroyInherited, launcher};
    EXPECT_EQ(TarnHostLauncherStart(launcher, &sister), 0U);
    EXPECT_EQ(TarnHostLauncherStart(launcher, &process), 0U);
    TarnHostProcessState state = {};
    EXPECT_EQ(TarnHostLauncherWait(launcher, kPatienceMs, &state), 0U);
    EXPECT_STREQ(state.name, "process");
    EXPECT_EQ(state.exitCode, 0);
    EXPECT_EQ(TarnHostLauncherState(launcher, "sister", &state), 0U);
    EXPECT_EQ(state.running, 1U);
    TarnHostLauncherDestroy(launcher);
}

} // namespace
