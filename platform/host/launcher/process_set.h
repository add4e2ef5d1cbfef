// The processes of one launcher. Ends are learned from process descriptors, so no signal handler is needed and no other
// child of the process is touched. Results are 0 or an errno.
#pragma once

#include <poll.h>

#include <cstdint>
#include <list>
#include <string_view>
#include <vector>

#include "base/deadline.h"
#include "launcher/forked_process.h"

namespace tarn::host {

class ProcessSet {
 public:
    // In place of the descriptor of `EndSignals`.
    static constexpr int kNoSignals = -1;

    // Null for a name that was never started.
    ForkedProcess* find(std::string_view name);
    bool anyRuns() const;
    // A process whose end was not told yet; now it is. Null when there is none.
    ForkedProcess* takeEnded();
    // Starts a process of a new name.
    int add(const TarnHostProcess& process);
    // Waits until a process ends, a signal arrives at the descriptor or the time is over, and reaps. ETIMEDOUT then.
    int waitForEnd(int timeoutMs, int endSignals);
    // SIGTERM to all, and SIGKILL to those that still run after the grace, or when a signal arrives meanwhile.
    int stop(uint32_t graceMs, int endSignals);

 private:
    void signalAll(int number);
    int waitForAll(const Deadline& deadline, int endSignals);

    std::list<ForkedProcess> processes_;
    std::vector<pollfd> wanted_; // Has room for all of them, so that waiting needs no memory.
};

} // namespace tarn::host
