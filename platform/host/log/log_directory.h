// The directory in which this process keeps its log files, and the lock that tells other processes so.
#pragma once

#include <string>

#include "base/owned_descriptor.h"

namespace tarn::host {

// Whether a directory was made as `log/NAME.PID` and no live process has it. Not for the directory of this process: its
// lock would go.
bool isAbandoned(const std::string& directory);

// `log/NAME` below the host directory, or `log/NAME.PID` when another live process has the former. The lock is a POSIX
// record lock: it goes with the process, however that ends, and a forked child does not share it.
class LogDirectory {
 public:
    // Makes and locks the directory unless this process has it already. 0 or an `errno` value.
    int claim(const std::string& processName);

    void release();

    // Empty before `claim`.
    const std::string& path() const { return path_; }

 private:
    int claimNamed(const std::string& name);

    std::string path_;
    OwnedDescriptor lock_;
};

} // namespace tarn::host
