#include "base/standard_error.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace tarn::host {
namespace {

// Holds SIGPIPE back in this thread, and takes the one that a write has raised meanwhile.
class PipeSignalGuard {
 public:
    PipeSignalGuard() {
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&pipeSignal_);
        sigaddset(&pipeSignal_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipeSignal_, &old_);
    }
    PipeSignalGuard(const PipeSignalGuard&) = delete;
    PipeSignalGuard(PipeSignalGuard&&) = delete;
    PipeSignalGuard& operator=(const PipeSignalGuard&) = delete;
    PipeSignalGuard& operator=(PipeSignalGuard&&) = delete;
    ~PipeSignalGuard() { pthread_sigmask(SIG_SETMASK, &old_, nullptr); }

    void takeRaised() const {
        constexpr timespec kNoWait = {};
        while (!wasPending_ && sigtimedwait(&pipeSignal_, nullptr, &kNoWait) < 0 && errno == EINTR) {
        }
    }

 private:
    sigset_t pipeSignal_;
    sigset_t old_;
    bool wasPending_;
};

} // namespace

void writeStandardError(std::string_view text) {
    const int savedErrno = errno;
    const PipeSignalGuard guard;
    ssize_t written = 0;
    do {
        written = write(STDERR_FILENO, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0 && errno == EPIPE) {
        guard.takeRaised();
    }
    errno = savedErrno;
}

} // namespace tarn::host
