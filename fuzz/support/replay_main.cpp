// Runs a target over the files of a directory, or over single files: replay TARGET PATH...
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "target.h"

namespace {

using tarn::fuzz::Target;

const Target* findTarget(const std::string& name) {
    const Target* target = Target::first();
    while (target != nullptr && target->name() != name) {
        target = target->next();
    }
    return target;
}

std::vector<std::filesystem::path> filesOf(int count, char** paths) {
    std::vector<std::filesystem::path> files;
    for (int i = 0; i < count; ++i) {
        if (std::filesystem::is_directory(paths[i])) {
            std::copy(std::filesystem::directory_iterator(paths[i]), {}, std::back_inserter(files));
        } else {
            files.emplace_back(paths[i]);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool replay(const Target& target, const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
        return false;
    }
    // Said before the run, so that a crash is known by its input. Exact memory, so that a read beyond it is seen.
    std::printf("%s %s\n", target.name(), path.c_str());
    std::fflush(stdout);
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    target.run(bytes);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const Target* const target = argc < 3 ? nullptr : findTarget(argv[1]);
    if (target == nullptr) {
        std::fprintf(stderr, "usage: %s TARGET PATH...\n", argv[0]);
        return 2;
    }
    size_t done = 0;
    for (const std::filesystem::path& file : filesOf(argc - 2, argv + 2)) {
        if (!replay(*target, file)) {
            return 1;
        }
        ++done;
    }
    std::printf("%s: %zu inputs\n", target->name(), done);
    return done == 0 ? 1 : 0;
}
