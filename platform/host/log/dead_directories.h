// Directories "log/NAME.PID" whose process is gone. No process but that one would ever use such a directory again, so
// they would add up for ever.
#pragma once

#include <string>

namespace tarn::host {

// Removes the oldest directories of dead processes called `processName`, except the newest few. `logs` is the directory
// "log" itself. What cannot be removed stays without a word.
void removeDeadDirectories(const std::string& logs, const std::string& processName) noexcept;

} // namespace tarn::host
