// The set of processes of a launcher. Ends are learned from process descriptors, so no signal handler is needed and no
// other child of the process is touched.
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <list>
#include <new>
#include <string_view>
#include <vector>

#include "base/deadline.h"
#include "base/guarded.h"
#include "base/process_name.h"
#include "launcher/forked_process.h"
#include "tarn_host/host_launcher.h"

using tarn::host::Deadline;
using tarn::host::ForkAwareDescriptor;
using tarn::host::ForkedProcess;
using tarn::host::guarded;

struct TarnHostLauncher {
    const pid_t owner = getpid();
    std::list<ForkedProcess> processes;
    std::vector<pollfd> wanted; // Has room for all of them, so that waiting needs no memory.

    // A forked child inherits the launcher, but the processes are its sisters.
    bool isInherited() const { return getpid() != owner; }

    ForkedProcess* find(std::string_view name);
    bool anyRuns() const;
    ForkedProcess* takeEnded();
    void signalAll(int number);
    int add(const TarnHostProcess& process);
    // Waits until a process ends, a signal arrives at the descriptor of `EndSignals` or the time is over, and reaps. 0,
    // ETIMEDOUT or an errno.
    int waitForEnd(int timeoutMs, int endSignals);
    // Until all have ended or the time is over, or a signal arrives.
    int waitForAll(const Deadline& deadline, int endSignals);
    int stop(uint32_t graceMs, int endSignals);
};

namespace {

constexpr uint32_t kDestroyGraceMs = 2000;
constexpr int kForever = -1;
constexpr int kNoSignals = -1;

// The two signals that end a run, readable from a descriptor meanwhile.
class EndSignals {
 public:
    EndSignals() {
        sigset_t wanted;
        sigemptyset(&wanted);
        sigaddset(&wanted, SIGINT);
        sigaddset(&wanted, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &wanted, &old_);
        descriptor_ = ForkAwareDescriptor::make([&] { return signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK); });
    }
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;
    EndSignals(EndSignals&&) = delete;
    EndSignals& operator=(EndSignals&&) = delete;
    ~EndSignals() {
        // A further signal asked for the same and must not hit once they are let through again.
        while (take() != 0) {
        }
        pthread_sigmask(SIG_SETMASK, &old_, nullptr);
    }

    int descriptor() const { return descriptor_.get(); }
    // The next signal that has arrived, or 0.
    int take() {
        signalfd_siginfo info = {};
        return read(descriptor_.get(), &info, sizeof info) == sizeof info ? static_cast<int>(info.ssi_signo) : 0;
    }

 private:
    sigset_t old_;
    ForkAwareDescriptor descriptor_;
};

bool endedWell(const TarnHostProcessState& state) {
    return state.exitCode == 0 && state.signal == 0;
}

} // namespace

ForkedProcess* TarnHostLauncher::find(std::string_view name) {
    const auto found = std::find_if(processes.begin(), processes.end(),
                                    [&](const ForkedProcess& process) { return process.name() == name; });
    return found == processes.end() ? nullptr : &*found;
}

bool TarnHostLauncher::anyRuns() const {
    return std::any_of(processes.begin(), processes.end(),
                       [](const ForkedProcess& process) { return process.running(); });
}

ForkedProcess* TarnHostLauncher::takeEnded() {
    const auto ended =
        std::find_if(processes.begin(), processes.end(), [](ForkedProcess& process) { return process.takeEnd(); });
    return ended == processes.end() ? nullptr : &*ended;
}

void TarnHostLauncher::signalAll(int number) {
    for (ForkedProcess& process : processes) {
        process.signal(number);
    }
}

int TarnHostLauncher::add(const TarnHostProcess& process) {
    wanted.reserve(processes.size() + 2);
    std::list<ForkedProcess> fresh;
    const int error = fresh.emplace_back(process).start();
    if (error == 0) {
        processes.splice(processes.end(), fresh);
    }
    return error;
}

int TarnHostLauncher::waitForEnd(int timeoutMs, int endSignals) {
    wanted.assign(1, {endSignals, POLLIN, 0});
    for (const ForkedProcess& process : processes) {
        // A negative descriptor, of a process that does not run, is passed over.
        wanted.push_back({process.descriptor(), POLLIN, 0});
    }
    const int ready = poll(wanted.data(), wanted.size(), timeoutMs);
    if (ready < 0 && errno != EINTR) {
        return errno;
    }
    for (ForkedProcess& process : processes) {
        process.reap();
    }
    return ready == 0 ? ETIMEDOUT : 0;
}

int TarnHostLauncher::waitForAll(const Deadline& deadline, int endSignals) {
    while (anyRuns()) {
        const int error = waitForEnd(deadline.milliseconds(), endSignals);
        pollfd signal = {endSignals, POLLIN, 0};
        if ((error != 0 && error != ETIMEDOUT) || (poll(&signal, 1, 0) == 1)) {
            return error;
        }
        if (deadline.passed()) {
            return 0;
        }
    }
    return 0;
}

int TarnHostLauncher::stop(uint32_t graceMs, int endSignals) {
    signalAll(SIGTERM);
    int error = waitForAll(Deadline(graceMs), endSignals);
    signalAll(SIGKILL);
    while (anyRuns() && (error == 0 || error == ETIMEDOUT)) {
        error = waitForEnd(kForever, kNoSignals);
    }
    return error == ETIMEDOUT ? 0 : error;
}

TarnHostLauncher* TarnHostLauncherCreate(void) {
    return new (std::nothrow) TarnHostLauncher;
}

void TarnHostLauncherDestroy(TarnHostLauncher* launcher) {
    TarnHostLauncherStop(launcher, kDestroyGraceMs); // Of an inherited one nothing.
    delete launcher;
}

uint32_t TarnHostLauncherStart(TarnHostLauncher* launcher, const TarnHostProcess* process) {
    if (launcher == nullptr || process == nullptr || process->entry == nullptr || process->name == nullptr ||
        !tarn::host::validProcessName(process->name)) {
        return EINVAL;
    }
    if (launcher->isInherited()) {
        return EPERM;
    }
    return guarded([&] {
        ForkedProcess* known = launcher->find(process->name);
        if (known == nullptr) {
            return launcher->add(*process);
        }
        known->reap();
        if (known->running()) {
            return EALREADY;
        }
        known->setEntry(*process);
        return known->start();
    });
}

uint32_t TarnHostLauncherRestart(TarnHostLauncher* launcher, const char* name) {
    if (launcher == nullptr || name == nullptr) {
        return EINVAL;
    }
    if (launcher->isInherited()) {
        return EPERM;
    }
    ForkedProcess* known = launcher->find(name);
    if (known == nullptr) {
        return ENOENT;
    }
    known->reap();
    return known->running() ? uint32_t{EALREADY} : guarded([known] { return known->start(); });
}

uint32_t TarnHostLauncherState(TarnHostLauncher* launcher, const char* name, TarnHostProcessState* state) {
    if (launcher == nullptr || name == nullptr || state == nullptr) {
        return EINVAL;
    }
    if (launcher->isInherited()) {
        return EPERM;
    }
    ForkedProcess* known = launcher->find(name);
    if (known == nullptr) {
        return ENOENT;
    }
    known->reap();
    *state = known->state();
    return 0;
}

uint32_t TarnHostLauncherWait(TarnHostLauncher* launcher, uint32_t timeoutMs, TarnHostProcessState* ended) {
    if (launcher == nullptr || ended == nullptr) {
        return EINVAL;
    }
    if (launcher->isInherited()) {
        return EPERM;
    }
    const Deadline deadline(timeoutMs);
    return guarded([&] {
        while (true) {
            if (const ForkedProcess* process = launcher->takeEnded(); process != nullptr) {
                *ended = process->state();
                return 0;
            }
            if (!launcher->anyRuns()) {
                return ECHILD;
            }
            const int error = launcher->waitForEnd(deadline.milliseconds(), kNoSignals);
            if (error != 0 && (error != ETIMEDOUT || deadline.passed())) {
                return error;
            }
        }
    });
}

uint32_t TarnHostLauncherStop(TarnHostLauncher* launcher, uint32_t graceMs) {
    if (launcher == nullptr) {
        return EINVAL;
    }
    if (launcher->isInherited()) {
        return EPERM;
    }
    return guarded([&] { return launcher->stop(graceMs, kNoSignals); });
}

uint32_t TarnHostLauncherRun(TarnHostLauncher* launcher, uint32_t graceMs,
                             void (*onEnd)(const TarnHostProcessState* ended, void* argument), void* argument,
                             int* signal) {
    if (launcher == nullptr) {
        return EINVAL;
    }
    if (launcher->isInherited()) {
        return EPERM;
    }
    EndSignals signals;
    int arrived = 0;
    bool well = true;
    const uint32_t error = guarded([&] {
        int waited = signals.descriptor() < 0 ? errno : 0;
        while (waited == 0) {
            for (ForkedProcess* ended = launcher->takeEnded(); ended != nullptr; ended = launcher->takeEnded()) {
                const TarnHostProcessState state = ended->state();
                well = well && endedWell(state);
                if (onEnd != nullptr) {
                    onEnd(&state, argument);
                }
            }
            if (arrived != 0) {
                // What the callback has started again meanwhile.
                return launcher->stop(0, kNoSignals);
            }
            if (!launcher->anyRuns()) {
                return 0;
            }
            arrived = signals.take();
            waited = arrived != 0 ? launcher->stop(graceMs, signals.descriptor())
                                  : launcher->waitForEnd(kForever, signals.descriptor());
        }
        return waited;
    });
    if (signal != nullptr) {
        *signal = arrived;
    }
    if (error != 0) {
        return error;
    }
    if (arrived != 0) {
        return ECANCELED;
    }
    return well ? 0 : ECHILD;
}
