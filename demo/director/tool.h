// Runs tarnctl, the command-line tool of the host platform, as a process of its own.
#pragma once

#include <string>
#include <vector>

namespace tarn::demo {

struct ToolResult {
    int exitCode;       // -1 when it could not be run
    std::string output; // standard output and standard error, without the last newline
};

ToolResult runTarnctl(const std::vector<std::string>& arguments);

} // namespace tarn::demo
