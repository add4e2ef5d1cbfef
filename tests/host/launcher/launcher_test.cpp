// The launcher, and processes that it started calling each other.
#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "tarn_host/host_launcher.h"
#include "tarn_host/host_process.h"

namespace {

constexpr uint32_t kLongMs = 20000;

struct LauncherDestroy {
    void operator()(TarnHostLauncher* launcher) const { TarnHostLauncherDestroy(launcher); }
};
using LauncherPointer = std::unique_ptr<TarnHostLauncher, LauncherDestroy>;

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
    const LauncherPointer launcher(TarnHostLauncherCreate());
    TarnHostProcessState state = {};
    for (const char* name : {static_cast<const char*>(nullptr), "", ".x", "a b", "sixteen-letters!"}) {
        const TarnHostProcess process = {name, sleepLong, nullptr};
        EXPECT_EQ(TarnHostLauncherStart(launcher.get(), &process), uint32_t{EINVAL});
    }
    const TarnHostProcess noEntry = {"name", nullptr, nullptr};
    EXPECT_EQ(TarnHostLauncherStart(launcher.get(), &noEntry), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostLauncherStart(launcher.get(), nullptr), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostLauncherState(launcher.get(), "name", &state), uint32_t{ENOENT});
    EXPECT_EQ(TarnHostLauncherRestart(launcher.get(), "name"), uint32_t{ENOENT});
    EXPECT_EQ(TarnHostLauncherWait(launcher.get(), 10, &state), uint32_t{ECHILD});
    EXPECT_EQ(TarnHostLauncherRun(launcher.get(), 10, nullptr, nullptr, nullptr), 0U);
    TarnHostLauncherDestroy(nullptr);
}

TEST(Launcher, GivesEachProcessACleanStartAndTellsItsEndOnce) {
    signal(SIGUSR1, SIG_IGN);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR2);
    sigprocmask(SIG_BLOCK, &one, nullptr);
    const LauncherPointer launcher(TarnHostLauncherCreate());
    int code = 7;
    const TarnHostProcess checked = {"checked", checkStart, nullptr};
    const TarnHostProcess seven = {"seven", endWith, &code};
    const TarnHostProcess sleeper = {"sleeper", sleepLong, nullptr};
    ASSERT_EQ(TarnHostLauncherStart(launcher.get(), &checked), 0U);
    ASSERT_EQ(TarnHostLauncherStart(launcher.get(), &sleeper), 0U);
    EXPECT_EQ(TarnHostLauncherStart(launcher.get(), &sleeper), uint32_t{EALREADY});
    TarnHostProcessState state = {};
    ASSERT_EQ(TarnHostLauncherWait(launcher.get(), kLongMs, &state), 0U);
    EXPECT_STREQ(state.name, "checked");
    EXPECT_EQ(state.exitCode, 0);
    EXPECT_EQ(TarnHostLauncherWait(launcher.get(), 50, &state), uint32_t{ETIMEDOUT});
    ASSERT_EQ(TarnHostLauncherStart(launcher.get(), &seven), 0U);
    ASSERT_EQ(TarnHostLauncherWait(launcher.get(), kLongMs, &state), 0U);
    EXPECT_STREQ(state.name, "seven");
    EXPECT_EQ(state.exitCode, 7);
    code = 8;
    ASSERT_EQ(TarnHostLauncherRestart(launcher.get(), "seven"), 0U);
    ASSERT_EQ(TarnHostLauncherWait(launcher.get(), kLongMs, &state), 0U);
    EXPECT_EQ(state.exitCode, 8);
    ASSERT_EQ(TarnHostLauncherState(launcher.get(), "sleeper", &state), 0U);
    EXPECT_EQ(state.running, 1U);
    EXPECT_EQ(TarnHostLauncherRestart(launcher.get(), "sleeper"), uint32_t{EALREADY});
    kill(static_cast<pid_t>(state.pid), SIGKILL);
    ASSERT_EQ(TarnHostLauncherWait(launcher.get(), kLongMs, &state), 0U);
    EXPECT_EQ(state.running, 0U);
    EXPECT_EQ(state.signal, SIGKILL);
    EXPECT_EQ(TarnHostLauncherWait(launcher.get(), kLongMs, &state), uint32_t{ECHILD});
    signal(SIGUSR1, SIG_DFL);
    sigprocmask(SIG_UNBLOCK, &one, nullptr);
}

class Pipe {
 public:
    Pipe() { EXPECT_EQ(pipe(ends_), 0); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        close(ends_[0]);
        closeWriting();
    }
    int* writing() { return &ends_[1]; }
    void closeWriting() {
        if (ends_[1] >= 0) {
            close(ends_[1]);
            ends_[1] = -1;
        }
    }
    // How many bytes one read gives: 0 when all writers are gone.
    ssize_t readOne() {
        char byte = 0;
        return read(ends_[0], &byte, 1);
    }

 private:
    int ends_[2] = {-1, -1};
};

TEST(Launcher, StopsTheStubbornAfterTheGrace) {
    Pipe ready;
    const LauncherPointer launcher(TarnHostLauncherCreate());
    const TarnHostProcess obedient = {"obedient", sleepLong, nullptr};
    const TarnHostProcess stubborn = {"stubborn", ignoreTermination, ready.writing()};
    ASSERT_EQ(TarnHostLauncherStart(launcher.get(), &obedient), 0U);
    ASSERT_EQ(TarnHostLauncherStart(launcher.get(), &stubborn), 0U);
    ASSERT_EQ(ready.readOne(), 1);
    EXPECT_EQ(TarnHostLauncherStop(launcher.get(), 200), 0U);
    TarnHostProcessState state = {};
    EXPECT_EQ(TarnHostLauncherState(launcher.get(), "obedient", &state), 0U);
    EXPECT_EQ(state.signal, SIGTERM);
    EXPECT_EQ(TarnHostLauncherState(launcher.get(), "stubborn", &state), 0U);
    EXPECT_EQ(state.signal, SIGKILL);
}

void countEnd(const TarnHostProcessState* ended, void* count) {
    *static_cast<int*>(count) += ended->signal == SIGKILL ? 10 : 1;
}

TEST(Launcher, RunsUntilAllHaveEnded) {
    const LauncherPointer launcher(TarnHostLauncherCreate());
    int codes[] = {0, 3};
    int ends = 0;
    int signal = -1;
    const TarnHostProcess good = {"good", endWith, &codes[0]};
    const TarnHostProcess bad = {"bad", endWith, &codes[1]};
    ASSERT_EQ(TarnHostLauncherStart(launcher.get(), &good), 0U);
    EXPECT_EQ(TarnHostLauncherRun(launcher.get(), 100, countEnd, &ends, &signal), 0U);
    ASSERT_EQ(TarnHostLauncherRestart(launcher.get(), "good"), 0U);
    ASSERT_EQ(TarnHostLauncherStart(launcher.get(), &bad), 0U);
    EXPECT_EQ(TarnHostLauncherRun(launcher.get(), 100, countEnd, &ends, &signal), uint32_t{ECHILD});
    EXPECT_EQ(ends, 3);
    EXPECT_EQ(signal, 0);
}

void writeEnd(const TarnHostProcessState* /*ended*/, void* pipeEnd) {
    EXPECT_EQ(write(*static_cast<int*>(pipeEnd), "e", 1), 1);
}

// A launching process with a child that ignores SIGTERM, running until a signal; its exit code tells what it saw. It
// has begun to run when two bytes have come.
pid_t launchInFork(Pipe& ready) {
    const pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    const LauncherPointer launcher(TarnHostLauncherCreate());
    const TarnHostProcess stubborn = {"stubborn", ignoreTermination, ready.writing()};
    int code = 0;
    const TarnHostProcess first = {"first", endWith, &code};
    int signal = 0;
    const bool told = TarnHostLauncherStart(launcher.get(), &stubborn) == 0 &&
                      TarnHostLauncherStart(launcher.get(), &first) == 0 &&
                      TarnHostLauncherRun(launcher.get(), 60000, writeEnd, ready.writing(), &signal) == ECANCELED;
    _exit(told && signal == SIGINT ? 0 : 1);
}

TEST(Launcher, StopsAllOnASignalAndAtOnceOnTheSecond) {
    Pipe ready;
    const pid_t launcher = launchInFork(ready);
    ASSERT_EQ(ready.readOne(), 1);
    ASSERT_EQ(ready.readOne(), 1);
    kill(launcher, SIGINT);
    usleep(200000);
    EXPECT_EQ(waitpid(launcher, nullptr, WNOHANG), 0) << "the grace is a minute";
    kill(launcher, SIGTERM);
    int status = -1;
    waitpid(launcher, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(Launcher, TakesItsProcessesAlongWhenKilled) {
    Pipe ready;
    const pid_t launcher = launchInFork(ready);
    ASSERT_EQ(ready.readOne(), 1);
    ASSERT_EQ(ready.readOne(), 1);
    ready.closeWriting();
    kill(launcher, SIGKILL);
    waitpid(launcher, nullptr, 0);
    EXPECT_EQ(ready.readOne(), 0) << "the child still holds the pipe";
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
    const Outcome run = runProgram(LAUNCH_IMAGE " server client");
    EXPECT_EQ(run.exitCode, 0) << run.output;
    for (const char* line : {"tarn_launch: process server started (pid ", "tarn_launch: process client started (pid ",
                             "the client got its answer", "process client (pid ", "ended with exit code 0"}) {
        EXPECT_NE(run.output.find(line), std::string::npos) << line << " is not in\n" << run.output;
    }
    const Outcome failing = runProgram(LAUNCH_IMAGE " failing");
    EXPECT_EQ(failing.exitCode, 1);
    EXPECT_NE(failing.output.find("process failing (pid "), std::string::npos) << failing.output;
    EXPECT_NE(failing.output.find("ended with exit code 5"), std::string::npos) << failing.output;
    EXPECT_EQ(runProgram("--list " LAUNCH_IMAGE).output, "server\nclient\nfailing\nstopper\n");
    EXPECT_EQ(runProgram(LAUNCH_IMAGE " stopper").exitCode, 128 + SIGTERM);
}

TEST(LaunchProgram, SaysWhatIsWrong) {
    const struct {
        const char* arguments;
        const char* text;
    } cases[] = {
        {"", "IMAGE is required"},
        {"absent.so", "./absent.so"},
        {"libtarn_host_platform.so.1", "cannot load the image"},
        {HOST_PLATFORM, "does not export tarnHostImage"},
        {LAUNCH_IMAGE " server nobody", "has no process nobody"},
        {LAUNCH_IMAGE " failing failing", "process failing would be started twice"},
        {"--grace x " LAUNCH_IMAGE, "grace"},
    };
    for (const auto& wrong : cases) {
        const Outcome run = runProgram(wrong.arguments);
        EXPECT_EQ(run.exitCode, 2) << wrong.arguments;
        EXPECT_NE(run.output.find(wrong.text), std::string::npos) << run.output;
    }
    EXPECT_EQ(runProgram("--version").exitCode, 0);
}

} // namespace
