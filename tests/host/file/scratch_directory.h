// A directory for one test, gone with it, and what tests do with files.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>

namespace tarn::test {

inline std::set<std::string> namesIn(const std::string& directory) {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        found.insert(entry.path().filename());
    }
    return found;
}

class ScratchDirectory {
 public:
    ScratchDirectory() : path_(std::filesystem::temp_directory_path() / "tarn-files-XXXXXX") {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("cannot make a scratch directory");
        }
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

    std::set<std::string> names() const { return namesIn(path_); }

    const std::string& path() const { return path_; }

 private:
    std::string path_;
};

inline void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace tarn::test
