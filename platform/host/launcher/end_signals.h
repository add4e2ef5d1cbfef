// The signals that end a run of a launcher.
#pragma once

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "message/fork_aware_descriptor.h"

namespace tarn::host {

// SIGINT and SIGTERM, readable from a descriptor meanwhile; those that came are not delivered at the end.
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

} // namespace tarn::host
