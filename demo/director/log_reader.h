// Reads what the processes of the endpoint wrote to their logs.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tarn::demo {

class LogReader {
 public:
    explicit LogReader(const std::filesystem::path& hostDirectory) : logs_(hostDirectory / "log") {}

    // The lines of a process's log that hold a text, in order.
    std::vector<std::string> linesWith(const std::string& process, const std::string& text) const;
    // All log files of all processes.
    std::vector<std::filesystem::path> files() const;
    // Log files, of any process, that hold a text anywhere.
    std::vector<std::filesystem::path> filesWith(const std::string& text) const;

 private:
    std::filesystem::path logs_;
};

} // namespace tarn::demo
