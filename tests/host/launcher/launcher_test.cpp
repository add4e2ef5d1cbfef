// The launcher, and processes that it started calling each other.
#include <sys/prctl.h>
#include <sys/wait.h>

#include "launcher/old_kernel.h"
#include "support/host_test.h"
#include "tarn_host/host_launcher.h"

namespace {

using namespace tarn::test;
using testing::ContainsRegex;
using testing::HasSubstr;

constexpr uint32_t kLongMs = 20000;

using Entry = int (*)(void* argument);

// A launcher for one test, with short calls.
class Launching {
 public:
    Launching() = default;
    Launching(const Launching&) = delete;
    Launching& operator=(const Launching&) = delete;
    ~Launching() { TarnHostLauncherDestroy(launcher_); }

    uint32_t start(const char* name, Entry entry, void* argument = nullptr) {
        const TarnHostProcess process = {name, entry, argument};
        return TarnHostLauncherStart(launcher_, &process);
    }
    uint32_t restart(const char* name) { return TarnHostLauncherRestart(launcher_, name); }
    TarnHostProcessState stateOf(const char* name) {
        TarnHostProcessState state = {};
        EXPECT_EQ(TarnHostLauncherState(launcher_, name, &state), 0U);
        return state;
    }
    // The next process that ends is this one, with this exit code or minus this signal.
    void expectEnd(const char* name, int end) {
        TarnHostProcessState state = {};
        EXPECT_EQ(TarnHostLauncherWait(launcher_, kLongMs, &state), 0U);
        EXPECT_EQ(state.running, 0U);
        EXPECT_STREQ(state.name, name);
        EXPECT_EQ(state.signal != 0 ? -static_cast<int>(state.signal) : static_cast<int>(state.exitCode), end);
    }
    operator TarnHostLauncher*() { return launcher_; }

 private:
    TarnHostLauncher* launcher_ = TarnHostLauncherCreate();
};

int endWith(void* code) {
    return *static_cast<int*>(code);
}

int sleepLong(void* /*argument*/) {
    sleep(60);
    return 0;
}

int ignoreTermination(void* pipeEnd) {
    signal(SIGTERM, SIG_IGN);
    return write(*static_cast<int*>(pipeEnd), "r", 1) == 1 ? sleepLong(nullptr) : 1;
}

// Whether the process began as the header promises.
int checkStart(void* /*argument*/) {
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
    for (const char* name : {static_cast<const char*>(nullptr), "", ".x", "a b", "sixteen-letters!"}) {
        EXPECT_EQ(launcher.start(name, sleepLong), kInvalid);
    }
    expectAll(kInvalid, {launcher.start("name", nullptr), TarnHostLauncherStart(launcher, nullptr)});
    expectAll(ENOENT, {TarnHostLauncherState(launcher, "name", &state), launcher.restart("name")});
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
    ASSERT_EQ(launcher.start("coded", endWith, &code), 0U);
    launcher.expectEnd("coded", 7);
    code = 8;
    ASSERT_EQ(launcher.restart("coded"), 0U);
    launcher.expectEnd("coded", 8);
    state = launcher.stateOf("sleeper");
    EXPECT_EQ(state.running, 1U);
    EXPECT_EQ(launcher.restart("sleeper"), uint32_t{EALREADY});
    kill(static_cast<pid_t>(state.pid), SIGKILL);
    launcher.expectEnd("sleeper", -SIGKILL);
    EXPECT_EQ(TarnHostLauncherWait(launcher, kLongMs, &state), uint32_t{ECHILD});
    signal(SIGUSR1, SIG_DFL);
    sigprocmask(SIG_UNBLOCK, &one, nullptr);
}

TEST(Launcher, NeedsNoProcessDescriptorsOfTheKernel) {
    constexpr int kNoFilter = 77;
    const int end = runForked([] {
        if (!forgetProcessDescriptors()) {
            return kNoFilter;
        }
        Launching launcher;
        int code = 7;
        EXPECT_EQ(launcher.start("sleeper", sleepLong), 0U);
        EXPECT_EQ(launcher.start("ending", endWith, &code), 0U);
        launcher.expectEnd("ending", 7);
        EXPECT_EQ(TarnHostLauncherStop(launcher, 200), 0U);
        return 0;
    });
    if (end == kNoFilter) {
        GTEST_SKIP() << "the kernel takes no filter of system calls";
    }
    EXPECT_EQ(end, 0);
}

class Pipe {
 public:
    Pipe() { EXPECT_EQ(pipe(ends_), 0); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        close(ends_[0]);
        close(ends_[1]);
    }
    int* writing() { return &ends_[1]; }
    // How many bytes one read gives: 0 when all other writers are gone, and this process gives up writing.
    ssize_t readOne(bool isLast = false) {
        if (isLast) {
            close(std::exchange(ends_[1], -1));
        }
        char byte = 0;
        return read(ends_[0], &byte, 1);
    }

 private:
    int ends_[2] = {-1, -1};
};

TEST(Launcher, StopsTheStubbornAfterTheGrace) {
    Pipe ready;
    Launching launcher;
    ASSERT_EQ(launcher.start("obedient", sleepLong), 0U);
    ASSERT_EQ(launcher.start("stubborn", ignoreTermination, ready.writing()), 0U);
    ASSERT_EQ(ready.readOne(), 1);
    EXPECT_EQ(TarnHostLauncherStop(launcher, 200), 0U);
    EXPECT_EQ(launcher.stateOf("obedient").signal, SIGTERM);
    EXPECT_EQ(launcher.stateOf("stubborn").signal, SIGKILL);
}

void countEnd(const TarnHostProcessState* ended, void* count) {
    *static_cast<int*>(count) += ended->signal == SIGKILL ? 10 : 1;
}

TEST(Launcher, RunsUntilAllHaveEnded) {
    Launching launcher;
    int codes[] = {0, 3};
    int ends = 0;
    int signal = -1;
    ASSERT_EQ(launcher.start("good", endWith, &codes[0]), 0U);
    EXPECT_EQ(TarnHostLauncherRun(launcher, 100, countEnd, &ends, &signal), 0U);
    ASSERT_EQ(launcher.restart("good"), 0U);
    ASSERT_EQ(launcher.start("bad", endWith, &codes[1]), 0U);
    EXPECT_EQ(TarnHostLauncherRun(launcher, 100, countEnd, &ends, &signal), uint32_t{ECHILD});
    EXPECT_EQ(ends, 3);
    EXPECT_EQ(signal, 0);
}

void writeEnd(const TarnHostProcessState* /*ended*/, void* pipeEnd) {
    EXPECT_EQ(write(*static_cast<int*>(pipeEnd), "e", 1), 1);
}

// A launching process with a child that ignores SIGTERM; it runs until it is interrupted.
class LauncherInFork : public testing::Test {
 protected:
    void SetUp() override {
        launcher_ = startForked([this] {
            Launching launcher;
            int code = 0;
            int signal = 0;
            EXPECT_EQ(launcher.start("stubborn", ignoreTermination, ready_.writing()), 0U);
            EXPECT_EQ(launcher.start("first", endWith, &code), 0U);
            EXPECT_EQ(TarnHostLauncherRun(launcher, 60000, writeEnd, ready_.writing(), &signal), uint32_t{ECANCELED});
            EXPECT_EQ(signal, SIGINT);
            return 0;
        });
        ASSERT_EQ(ready_.readOne(), 1);
        ASSERT_EQ(ready_.readOne(), 1) << "one process is ready, and the end of the other is told";
    }

    Pipe ready_;
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
    EXPECT_EQ(ready_.readOne(true), 0) << "the child still holds the pipe";
}

struct Outcome {
    int exitCode;
    std::string output;
};

Outcome runProgram(const std::string& arguments) {
    FILE* output = popen(("exec " TARN_LAUNCH " " + arguments + " 2>&1").c_str(), "r");
    Outcome outcome = {-1, {}};
    char part[256];
    while (fgets(part, sizeof part, output) != nullptr) {
        outcome.output += part;
    }
    const int status = pclose(output);
    outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

TEST(LaunchProgram, RunsTheProcessesOfAnImage) {
    const Outcome fine = runProgram(LAUNCH_IMAGE " fine");
    EXPECT_EQ(fine.exitCode, 0);
    EXPECT_THAT(fine.output, ContainsRegex("tarn_launch: process fine started \\(pid [0-9]+\\)\n"
                                           ".*process fine \\(pid [0-9]+\\).*ended with exit code 0"));
    const Outcome both = runProgram(LAUNCH_IMAGE);
    EXPECT_EQ(both.exitCode, 1);
    EXPECT_THAT(both.output, ContainsRegex("process fine \\(pid .*ended with exit code 0"));
    EXPECT_THAT(both.output, ContainsRegex("process failing \\(pid .*ended with exit code 5"));
    EXPECT_EQ(runProgram("--list " LAUNCH_IMAGE).output, "fine\nfailing\n");
    EXPECT_EQ(runProgram("--version").exitCode, 0);
}

TEST(LaunchProgram, SaysWhatIsWrong) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "IMAGE is required"},
        {"absent.so", "./absent.so"},
        {"libtarn_host_platform.so.1", "cannot load the image"},
        {HOST_PLATFORM, "does not export tarnHostImage"},
        {LAUNCH_IMAGE " fine nobody", "has no process nobody"},
        {LAUNCH_IMAGE " failing failing", "process failing would be started twice"},
        {"--grace x " LAUNCH_IMAGE, "grace"},
    };
    for (const auto& [arguments, text] : cases) {
        const Outcome run = runProgram(arguments);
        EXPECT_EQ(run.exitCode, 2) << arguments;
        EXPECT_THAT(run.output, HasSubstr(text));
    }
}

} // namespace
