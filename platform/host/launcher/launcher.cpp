// The launcher's calls.
#include <unistd.h>

#include <cerrno>
#include <new>

#include "base/deadline.h"
#include "base/guarded.h"
#include "base/process_name.h"
#include "launcher/end_signals.h"
#include "launcher/process_set.h"
#include "tarn_host/host_launcher.h"

using tarn::host::Deadline;
using tarn::host::EndSignals;
using tarn::host::ForkedProcess;
using tarn::host::ProcessSet;

struct TarnHostLauncher {
    const pid_t owner = getpid();
    ProcessSet processes;
};

namespace {

constexpr uint32_t kDestroyGraceMs = 2000;
constexpr int kForever = -1;

// A forked child inherits the launcher, but the processes are its sisters.
template <typename Operation>
uint32_t onOwn(TarnHostLauncher* launcher, bool isUsable, Operation operation) {
    if (launcher == nullptr || !isUsable) {
        return EINVAL;
    }
    if (getpid() != launcher->owner) {
        return EPERM;
    }
    return tarn::host::guarded([&] { return operation(launcher->processes); });
}

// Of a process that was started before, and is up to date.
template <typename Operation>
uint32_t onKnown(TarnHostLauncher* launcher, const char* name, bool isUsable, Operation operation) {
    return onOwn(launcher, name != nullptr && isUsable, [&](ProcessSet& processes) {
        ForkedProcess* const known = processes.find(name);
        if (known == nullptr) {
            return ENOENT;
        }
        known->reap();
        return operation(*known);
    });
}

bool isUsable(const TarnHostProcess* process) {
    return process != nullptr && process->entry != nullptr && process->name != nullptr &&
           tarn::host::validProcessName(process->name);
}

// A run of all processes, which may end by a signal.
class Run {
 public:
    Run(ProcessSet& processes, void (*onEnd)(const TarnHostProcessState*, void*), void* argument)
        : processes_(processes), onEnd_(onEnd), argument_(argument) {}

    // 0 when nothing runs any more, or the errno of waiting.
    int untilEnd(uint32_t graceMs) {
        EndSignals signals;
        int waited = signals.descriptor() < 0 ? errno : 0;
        while (waited == 0) {
            tellEnds();
            if (signal_ != 0) {
                return processes_.stop(0, ProcessSet::kNoSignals); // what the callback has started again meanwhile
            }
            if (!processes_.anyRuns()) {
                return 0;
            }
            signal_ = signals.take();
            waited = signal_ != 0 ? processes_.stop(graceMs, signals.descriptor())
                                  : processes_.waitForEnd(kForever, signals.descriptor());
        }
        return waited;
    }

    // That has ended it, or 0.
    int signal() const { return signal_; }
    bool allEndedWell() const { return allEndedWell_; }

 private:
    void tellEnds() {
        for (ForkedProcess* ended = processes_.takeEnded(); ended != nullptr; ended = processes_.takeEnded()) {
            const TarnHostProcessState state = ended->state();
            allEndedWell_ = allEndedWell_ && state.exitCode == 0 && state.signal == 0;
            if (onEnd_ != nullptr) {
                onEnd_(&state, argument_);
            }
        }
    }

    ProcessSet& processes_;
    void (*onEnd_)(const TarnHostProcessState*, void*);
    void* argument_;
    int signal_ = 0;
    bool allEndedWell_ = true;
};

} // namespace

TarnHostLauncher* TarnHostLauncherCreate(void) {
    return new (std::nothrow) TarnHostLauncher;
}

void TarnHostLauncherDestroy(TarnHostLauncher* launcher) {
    TarnHostLauncherStop(launcher, kDestroyGraceMs); // Of an inherited one nothing.
    delete launcher;
}

uint32_t TarnHostLauncherStart(TarnHostLauncher* launcher, const TarnHostProcess* process) {
    return onOwn(launcher, isUsable(process), [process](ProcessSet& processes) {
        ForkedProcess* const known = processes.find(process->name);
        if (known == nullptr) {
            return processes.add(*process);
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
    return onKnown(launcher, name, true,
                   [](ForkedProcess& process) { return process.running() ? EALREADY : process.start(); });
}

uint32_t TarnHostLauncherState(TarnHostLauncher* launcher, const char* name, TarnHostProcessState* state) {
    return onKnown(launcher, name, state != nullptr, [state](const ForkedProcess& process) {
        *state = process.state();
        return 0;
    });
}

uint32_t TarnHostLauncherWait(TarnHostLauncher* launcher, uint32_t timeoutMs, TarnHostProcessState* ended) {
    const Deadline deadline(timeoutMs);
    return onOwn(launcher, ended != nullptr, [&](ProcessSet& processes) {
        while (true) {
            if (const ForkedProcess* process = processes.takeEnded(); process != nullptr) {
                *ended = process->state();
                return 0;
            }
            if (!processes.anyRuns()) {
                return ECHILD;
            }
            const int error = processes.waitForEnd(deadline.milliseconds(), ProcessSet::kNoSignals);
            if (error != 0 && (error != ETIMEDOUT || deadline.passed())) {
                return error;
            }
        }
    });
}

uint32_t TarnHostLauncherStop(TarnHostLauncher* launcher, uint32_t graceMs) {
    return onOwn(launcher, true,
                 [=](ProcessSet& processes) { return processes.stop(graceMs, ProcessSet::kNoSignals); });
}

uint32_t TarnHostLauncherRun(TarnHostLauncher* launcher, uint32_t graceMs,
                             void (*onEnd)(const TarnHostProcessState* ended, void* argument), void* argument,
                             int* signal) {
    return onOwn(launcher, true, [&](ProcessSet& processes) {
        Run run(processes, onEnd, argument);
        const uint32_t error = tarn::host::guarded([&] { return run.untilEnd(graceMs); });
        if (signal != nullptr) {
            *signal = run.signal();
        }
        if (error != 0) {
            return static_cast<int>(error);
        }
        if (run.signal() != 0) {
            return ECANCELED;
        }
        return run.allEndedWell() ? 0 : ECHILD;
    });
}
