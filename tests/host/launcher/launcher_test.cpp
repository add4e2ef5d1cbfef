// The launcher, and the processes that it starts, also when the system or the program around it is not as usual.
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <ctime>
#include <new>

#include "base/owned_descriptor.h"
#include "support/host_test.h"
#include "tarn_host/host_launcher.h"

namespace {

using namespace tarn::test;
using tarn::host::OwnedDescriptor;

constexpr uint32_t kLongMs = 20000;

// A launcher for one test, with short calls.
class Launching {
 public:
    uint32_t start(const char* name, std::function<int()> body) {
        std::function<int()>& kept = bodies_[name] = std::move(body);
        const TarnHostProcess process = {
            name, [](void* entry) { return (*static_cast<std::function<int()>*>(entry))(); }, &kept};
        return TarnHostLauncherStart(*this, &process);
    }
    uint32_t restart(const char* name) { return TarnHostLauncherRestart(*this, name); }
    TarnHostProcessState stateOf(const char* name, uint32_t expected = 0) {
        TarnHostProcessState state = {};
        EXPECT_EQ(TarnHostLauncherState(*this, name, &state), expected);
        return state;
    }
    // The next process that ends is this one, with this exit code or minus this signal.
    void expectEnd(const char* name, int end) {
        TarnHostProcessState state = {};
        EXPECT_EQ(TarnHostLauncherWait(*this, kLongMs, &state), 0U);
        EXPECT_EQ(state.running, 0U);
        EXPECT_STREQ(state.name, name);
        EXPECT_EQ(state.signal != 0 ? -static_cast<int>(state.signal) : static_cast<int>(state.exitCode), end);
    }
    operator TarnHostLauncher*() { return launcher_.get(); }

 private:
    std::map<std::string, std::function<int()>> bodies_;
    std::unique_ptr<TarnHostLauncher, void (*)(TarnHostLauncher*)> launcher_{TarnHostLauncherCreate(),
                                                                             TarnHostLauncherDestroy};
};

// What processes tell a test, a byte at a time.
struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        reading = OwnedDescriptor(ends[0]);
        writing = OwnedDescriptor(ends[1]);
    }
    void tell() const { EXPECT_EQ(write(writing.get(), "t", 1), 1); }
    // How many bytes one read gives: 0 when all writers are gone.
    ssize_t readOne() const {
        char byte = 0;
        return read(reading.get(), &byte, 1);
    }

    OwnedDescriptor reading;
    OwnedDescriptor writing;
};

int sleepLong() {
    sleep(60);
    return 0;
}

int ignoreTermination(const Pipe& ready) {
    signal(SIGTERM, SIG_IGN);
    ready.tell();
    return sleepLong();
}

// Whether the process began as the header promises.
int checkStart() {
    char threadName[16] = {};
    prctl(PR_GET_NAME, threadName);
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    struct sigaction disposition = {};
    sigaction(SIGUSR1, nullptr, &disposition);
    const bool fine = std::string(TarnHostProcessName()) == "checked" && std::string(threadName) == "checked" &&
                      sigismember(&blocked, SIGUSR2) == 0 && disposition.sa_handler == SIG_DFL;
    return fine ? 0 : 1;
}

TEST(Launcher, RefusesBadArguments) {
    Launching launcher;
    TarnHostProcessState state = {};
    const auto entry = [](void*) { return 0; };
    for (const char* name : {static_cast<const char*>(nullptr), "", ".x", "a b", "sixteen-letters!"}) {
        const TarnHostProcess process = {name, entry, nullptr};
        EXPECT_EQ(TarnHostLauncherStart(launcher, &process), kInvalid);
    }
    const TarnHostProcess noEntry = {"name", nullptr, nullptr};
    expectAll(kInvalid, {TarnHostLauncherStart(launcher, &noEntry), TarnHostLauncherStart(launcher, nullptr)});
    launcher.stateOf("name", ENOENT);
    EXPECT_EQ(launcher.restart("name"), uint32_t{ENOENT});
    EXPECT_EQ(TarnHostLauncherWait(launcher, 10, &state), uint32_t{ECHILD});
    EXPECT_EQ(TarnHostLauncherRun(launcher, 10, nullptr, nullptr, nullptr), 0U);
    TarnHostLauncherDestroy(nullptr);
}

TEST(Launcher, GivesEachProcessACleanStartAndTellsItsEndOnce) {
    signal(SIGUSR1, SIG_IGN);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR2);
    sigprocmask(SIG_BLOCK, &one, nullptr);
    Launching launcher;
    ASSERT_EQ(launcher.start("checked", checkStart), 0U);
    ASSERT_EQ(launcher.start("sleeper", sleepLong), 0U);
    EXPECT_EQ(launcher.start("sleeper", sleepLong), uint32_t{EALREADY});
    TarnHostProcessState state = {};
    launcher.expectEnd("checked", 0);
    EXPECT_EQ(TarnHostLauncherWait(launcher, 50, &state), uint32_t{ETIMEDOUT});
    int code = 7;
    ASSERT_EQ(launcher.start("coded", [&] { return code; }), 0U);
    launcher.expectEnd("coded", 7);
    code = 8;
    ASSERT_EQ(launcher.restart("coded"), 0U);
    launcher.expectEnd("coded", 8);
    ASSERT_EQ(launcher.start("throwing", []() -> int { throw std::bad_alloc(); }), 0U);
    launcher.expectEnd("throwing", -SIGABRT);
    state = launcher.stateOf("sleeper");
    EXPECT_EQ(state.running, 1U);
    EXPECT_EQ(launcher.restart("sleeper"), uint32_t{EALREADY});
    kill(static_cast<pid_t>(state.pid), SIGKILL);
    launcher.expectEnd("sleeper", -SIGKILL);
    EXPECT_EQ(TarnHostLauncherWait(launcher, kLongMs, &state), uint32_t{ECHILD});
    signal(SIGUSR1, SIG_DFL);
    sigprocmask(SIG_UNBLOCK, &one, nullptr);
}

// Takes the kernel's descriptors of processes from this process and its children; false where it takes no filter of
// system calls.
bool forgetProcessDescriptors() {
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {std::size(filter), filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(Launcher, NeedsNoProcessDescriptorsOfTheKernel) {
    if (runForked([] { return forgetProcessDescriptors() ? 0 : 1; }) != 0) {
        GTEST_SKIP() << "the kernel takes no filter of system calls";
    }
    inFork([] {
        forgetProcessDescriptors();
        Launching launcher;
        EXPECT_EQ(launcher.start("sleeper", sleepLong), 0U);
        EXPECT_EQ(launcher.start("ending", [] { return sleep(1) == 0 ? 7 : 1; }), 0U);
        const std::clock_t before = std::clock();
        launcher.expectEnd("ending", 7);
        EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10) << "processor time of one second";
        EXPECT_EQ(TarnHostLauncherStop(launcher, 200), 0U);
    });
}

TEST(Launcher, ForgetsWhatItCouldNotStart) {
    inFork([] {
        Launching launcher;
        const rlimit none = {0, 0};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        EXPECT_EQ(launcher.start("unstarted", sleepLong), uint32_t{EMFILE});
        launcher.stateOf("unstarted", ENOENT);
        EXPECT_EQ(launcher.restart("unstarted"), uint32_t{ENOENT});
    });
}

TEST(Launcher, AProcessCannotEndItsSisters) {
    Launching launcher;
    EXPECT_EQ(launcher.start("sister", sleepLong), 0U);
    EXPECT_EQ(launcher.start("process",
                             [&] {
                                 expectAll(EPERM, {TarnHostLauncherStop(launcher, 0), launcher.restart("x")});
                                 TarnHostLauncherDestroy(launcher); // As one with static storage does at the exit.
                                 return HasFailure() ? 1 : 0;
                             }),
              0U);
    launcher.expectEnd("process", 0);
    EXPECT_EQ(launcher.stateOf("sister").running, 1U);
}

TEST(Launcher, StopsTheStubbornAfterTheGrace) {
    Pipe ready;
    Launching launcher;
    ASSERT_EQ(launcher.start("obedient", sleepLong), 0U);
    ASSERT_EQ(launcher.start("stubborn", [&] { return ignoreTermination(ready); }), 0U);
    ASSERT_EQ(ready.readOne(), 1);
    EXPECT_EQ(TarnHostLauncherStop(launcher, 200), 0U);
    EXPECT_EQ(launcher.stateOf("obedient").signal, SIGTERM);
    EXPECT_EQ(launcher.stateOf("stubborn").signal, SIGKILL);
}

TEST(Launcher, RunsUntilAllHaveEnded) {
    Launching launcher;
    const auto countEnd = [](const TarnHostProcessState* ended, void* count) {
        *static_cast<int*>(count) += ended->signal == SIGKILL ? 10 : 1;
    };
    int ends = 0;
    int signal = -1;
    ASSERT_EQ(launcher.start("good", [] { return 0; }), 0U);
    EXPECT_EQ(TarnHostLauncherRun(launcher, 100, countEnd, &ends, &signal), 0U);
    ASSERT_EQ(launcher.restart("good"), 0U);
    ASSERT_EQ(launcher.start("bad", [] { return 3; }), 0U);
    EXPECT_EQ(TarnHostLauncherRun(launcher, 100, countEnd, &ends, &signal), uint32_t{ECHILD});
    EXPECT_EQ(ends, 3);
    EXPECT_EQ(signal, 0);
}

// A launching process with a child that ignores SIGTERM; it runs until it is interrupted.
class LauncherInFork : public testing::Test {
 protected:
    void SetUp() override {
        launcher_ = startForked([this] {
            Launching launcher;
            const auto tellEnd = [](const TarnHostProcessState*, void* pipe) { static_cast<Pipe*>(pipe)->tell(); };
            int signal = 0;
            EXPECT_EQ(launcher.start("stubborn", [&] { return ignoreTermination(told_); }), 0U);
            EXPECT_EQ(launcher.start("first", [] { return 0; }), 0U);
            EXPECT_EQ(TarnHostLauncherRun(launcher, 60000, tellEnd, &told_, &signal), uint32_t{ECANCELED});
            EXPECT_EQ(signal, SIGINT);
            return 0;
        });
        ASSERT_EQ(told_.readOne(), 1);
        ASSERT_EQ(told_.readOne(), 1) << "one process is ready, and the end of the other is told";
    }

    Pipe told_;
    pid_t launcher_ = -1;
};

TEST_F(LauncherInFork, StopsAllOnASignalAndAtOnceOnTheSecond) {
    kill(launcher_, SIGINT);
    usleep(200000);
    EXPECT_EQ(waitpid(launcher_, nullptr, WNOHANG), 0) << "the grace is a minute";
    kill(launcher_, SIGTERM);
    EXPECT_EQ(endOf(launcher_), 0);
}

TEST_F(LauncherInFork, TakesItsProcessesAlongWhenKilled) {
    kill(launcher_, SIGKILL);
    EXPECT_EQ(endOf(launcher_), -SIGKILL);
    told_.writing.closeNow();
    EXPECT_EQ(told_.readOne(), 0) << "the child still holds the pipe";
}

TEST(LaunchProgram, RunsTheProcessesOfAnImage) {
    using testing::ContainsRegex;
    const Outcome fine = runShell(TARN_LAUNCH " " LAUNCH_IMAGE " fine");
    EXPECT_EQ(fine.code, 0);
    EXPECT_THAT(fine.output, ContainsRegex("tarn_launch: process fine started \\(pid [0-9]+\\)\n"
                                           ".*process fine \\(pid [0-9]+\\).*ended with exit code 0"));
    const Outcome both = runShell(TARN_LAUNCH " " LAUNCH_IMAGE);
    EXPECT_EQ(both.code, 1);
    EXPECT_THAT(both.output, ContainsRegex("process fine \\(pid .*ended with exit code 0"));
    EXPECT_THAT(both.output, ContainsRegex("process failing \\(pid .*ended with exit code 5"));
    EXPECT_EQ(runShell(TARN_LAUNCH " --list " LAUNCH_IMAGE).output, "fine\nfailing\n");
    EXPECT_EQ(runShell(TARN_LAUNCH " --version").code, 0);

    const std::pair<const char*, const char*> wrong[] = {
        {"", "IMAGE is required"},
        {"absent.so", "./absent.so"},
        {"libtarn_host_platform.so.1", "cannot load the image"},
        {HOST_PLATFORM, "does not export tarnHostImage"},
        {LAUNCH_IMAGE " fine nobody", "has no process nobody"},
        {LAUNCH_IMAGE " failing failing", "process failing would be started twice"},
        {"--grace x " LAUNCH_IMAGE, "grace"},
    };
    for (const auto& [arguments, text] : wrong) {
        const Outcome run = runShell(std::string(TARN_LAUNCH " ") + arguments);
        EXPECT_EQ(run.code, 2) << arguments;
        EXPECT_THAT(run.output, testing::HasSubstr(text));
    }
}

} // namespace
