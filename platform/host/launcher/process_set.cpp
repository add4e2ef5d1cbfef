#include "launcher/process_set.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>

namespace tarn::host {
namespace {

constexpr int kForever = -1;

} // namespace

ForkedProcess* ProcessSet::find(std::string_view name) {
    const auto found = std::find_if(processes_.begin(), processes_.end(),
                                    [&](const ForkedProcess& process) { return process.name() == name; });
    return found == processes_.end() ? nullptr : &*found;
}

bool ProcessSet::anyRuns() const {
    return std::any_of(processes_.begin(), processes_.end(),
                       [](const ForkedProcess& process) { return process.running(); });
}

ForkedProcess* ProcessSet::takeEnded() {
    const auto ended =
        std::find_if(processes_.begin(), processes_.end(), [](ForkedProcess& process) { return process.takeEnd(); });
    return ended == processes_.end() ? nullptr : &*ended;
}

void ProcessSet::signalAll(int number) {
    for (ForkedProcess& process : processes_) {
        process.signal(number);
    }
}

int ProcessSet::add(const TarnHostProcess& process) {
    wanted_.reserve(processes_.size() + 2);
    std::list<ForkedProcess> fresh;
    const int error = fresh.emplace_back(process).start();
    if (error == 0) {
        processes_.splice(processes_.end(), fresh);
    }
    return error;
}

int ProcessSet::waitForEnd(int timeoutMs, int endSignals) {
    wanted_.assign(1, {endSignals, POLLIN, 0});
    for (const ForkedProcess& process : processes_) {
        // A negative descriptor, of a process that does not run, is passed over.
        wanted_.push_back({process.descriptor(), POLLIN, 0});
    }
    const int ready = poll(wanted_.data(), wanted_.size(), timeoutMs);
    if (ready < 0 && errno != EINTR) {
        return errno;
    }
    for (ForkedProcess& process : processes_) {
        process.reap();
    }
    return ready == 0 ? ETIMEDOUT : 0;
}

int ProcessSet::waitForAll(const Deadline& deadline, int endSignals) {
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

int ProcessSet::stop(uint32_t graceMs, int endSignals) {
    signalAll(SIGTERM);
    int error = waitForAll(Deadline(graceMs), endSignals);
    signalAll(SIGKILL);
    while (anyRuns() && (error == 0 || error == ETIMEDOUT)) {
        error = waitForEnd(kForever, kNoSignals);
    }
    return error == ETIMEDOUT ? 0 : error;
}

} // namespace tarn::host
