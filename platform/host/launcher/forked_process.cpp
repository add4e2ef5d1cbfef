#include "launcher/forked_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "base/owned_descriptor.h"
#include "tarn_host/host_process.h"

namespace tarn::host {
namespace {

// Of a child whose launcher died before the child could tie its life to it; nobody sees it.
constexpr int kOrphaned = 125;

// The C library's own declaration lacks C linkage in some versions. The descriptor is closed on exec.
int openProcess(pid_t pid) {
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

bool kernelOpensProcesses() {
    const ForkAwareDescriptor own = ForkAwareDescriptor::make([] { return openProcess(getpid()); });
    return own || errno != ENOSYS;
}

// What tells of a process's end where the kernel has no descriptors of processes: a pipe whose other end is the
// process's alone. So that end must outlive the fork, which closes a `ForkAwareDescriptor` in the child.
struct LifePipe {
    ForkAwareDescriptor launcherEnd;
    OwnedDescriptor processEnd;

    // False with errno set.
    bool open() {
        int ends[2] = {-1, -1};
        launcherEnd = ForkAwareDescriptor::make([&] { return pipe2(ends, O_CLOEXEC) == 0 ? ends[0] : -1; });
        processEnd = OwnedDescriptor(ends[1]);
        return static_cast<bool>(launcherEnd);
    }
};

// Handlers of the launcher mean nothing in its children.
void resetSignals() {
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; number++) {
        // Fails for the two that cannot be changed and those that the C library keeps.
        sigaction(number, &standard, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

ForkedProcess::ForkedProcess(const TarnHostProcess& process) : name_(process.name) {
    name_.copy(state_.name, sizeof state_.name - 1);
    setEntry(process);
}

void ForkedProcess::setEntry(const TarnHostProcess& process) {
    process_ = process;
    process_.name = nullptr; // The caller's text may be gone by the next start.
}

int ForkedProcess::start() {
    const pid_t launcher = getpid();
    LifePipe life;
    if (!kernelOpensProcesses() && !life.open()) {
        return errno;
    }
    std::fflush(nullptr);
    sigset_t all;
    sigset_t old;
    sigfillset(&all);
    // No handler of the launcher runs in the child before its dispositions are reset.
    pthread_sigmask(SIG_SETMASK, &all, &old);
    const pid_t pid = fork();
    const int error = errno;
    if (pid == 0) {
        run(launcher);
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    if (pid < 0) {
        return error;
    }
    descriptor_ =
        life.launcherEnd ? std::move(life.launcherEnd) : ForkAwareDescriptor::make([pid] { return openProcess(pid); });
    if (!descriptor_) {
        const int noDescriptor = errno;
        kill(pid, SIGKILL);
        while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
        }
        return noDescriptor;
    }
    state_.pid = static_cast<uint32_t>(pid);
    state_.running = 1;
    state_.exitCode = 0;
    state_.signal = 0;
    untold_ = false;
    return 0;
}

void ForkedProcess::run(pid_t launcher) const noexcept {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != launcher) {
        _exit(kOrphaned);
    }
    resetSignals();
    TarnHostSetProcessName(name_.c_str());
    prctl(PR_SET_NAME, name_.c_str());
    std::exit(process_.entry(process_.argument));
}

// By its descriptor, because another part of the program may have reaped it, and its number be another's by now.
void ForkedProcess::signal(int number) {
    reap();
    if (running() && syscall(SYS_pidfd_send_signal, descriptor(), number, nullptr, 0) != 0 &&
        (errno == EBADF || errno == ENOSYS)) {
        kill(static_cast<pid_t>(state_.pid), number); // the descriptor is a pipe
    }
}

void ForkedProcess::setEnded(int exitCode, int signal) {
    state_.running = 0;
    state_.exitCode = exitCode;
    state_.signal = signal;
    descriptor_.reset();
    untold_ = true;
}

void ForkedProcess::reap() {
    siginfo_t info = {};
    if (!running()) {
        return;
    }
    if (waitid(P_PID, state_.pid, &info, WEXITED | WNOHANG) != 0) {
        // Someone else has reaped it, and with it how it ended.
        setEnded(-1, 0);
    } else if (info.si_pid != 0) {
        const bool exited = info.si_code == CLD_EXITED;
        setEnded(exited ? info.si_status : 0, exited ? 0 : info.si_status);
    }
}

bool ForkedProcess::takeEnd() {
    const bool untold = untold_;
    untold_ = false;
    return untold;
}

} // namespace tarn::host
