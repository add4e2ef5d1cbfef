// One named process of a launcher: how to start it, and how the last one of it is or ended.
#pragma once

#include <string>

#include "message/fork_aware_descriptor.h"
#include "tarn_host/host_launcher.h"

namespace tarn::host {

class ForkedProcess {
 public:
    explicit ForkedProcess(const TarnHostProcess& process);

    const std::string& name() const { return name_; }
    const TarnHostProcessState& state() const { return state_; }
    bool running() const { return state_.running == 1; }
    // Readable when the process has ended.
    int descriptor() const { return descriptor_.get(); }

    void setEntry(const TarnHostProcess& process);
    // 0 or an errno. Does not return in the child.
    int start();
    void signal(int number);
    // Takes the process's end, if it has ended.
    void reap();
    // Whether there is an end that was not told yet; now it is.
    bool takeEnd();

 private:
    // An exception of the entry must not get into what the launcher does after the fork.
    [[noreturn]] void run(pid_t launcher) const noexcept;
    void setEnded(int exitCode, int signal);

    std::string name_;
    TarnHostProcess process_ = {};
    TarnHostProcessState state_ = {};
    ForkAwareDescriptor descriptor_;
    bool untold_ = false;
};

} // namespace tarn::host
