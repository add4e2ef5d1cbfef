#include "director/log_reader.h"

#include <fstream>
#include <iterator>

namespace tarn::demo {

std::vector<std::string> LogReader::linesWith(const std::string& process, const std::string& text) const {
    std::ifstream log(logs_ / process / "Conference.log");
    std::vector<std::string> found;
    for (std::string line; std::getline(log, line);) {
        if (line.find(text) != std::string::npos) {
            found.push_back(line);
        }
    }
    return found;
}

std::vector<std::filesystem::path> LogReader::files() const {
    std::vector<std::filesystem::path> found;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(logs_, ignored)) {
        if (entry.is_regular_file()) {
            found.push_back(entry.path());
        }
    }
    return found;
}

std::vector<std::filesystem::path> LogReader::filesWith(const std::string& text) const {
    std::vector<std::filesystem::path> found;
    for (const auto& path : files()) {
        std::ifstream file(path, std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        if (content.find(text) != std::string::npos) {
            found.push_back(path);
        }
    }
    return found;
}

} // namespace tarn::demo
