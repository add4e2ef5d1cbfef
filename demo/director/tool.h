// Runs command-line tools as processes of their own: tarnctl, that of the host platform, and openssl.
#pragma once

#include <string>
#include <vector>

namespace tarn::demo {

struct ToolResult {
    int exitCode;       // -1 when it could not be run
    std::string output; // standard output and standard error, without the last newline
};

ToolResult runTarnctl(const std::vector<std::string>& arguments);
ToolResult runOpenssl(const std::vector<std::string>& arguments);

} // namespace tarn::demo
