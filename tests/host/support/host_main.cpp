// main of every host test: a fresh host directory, gone when the tests are over.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

// The thread sanitizer ends a forked child that starts a thread, unless it is asked not to.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string directory = (std::filesystem::temp_directory_path() / "tarn-test-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr || setenv("TARN_HOST_DIR", directory.c_str(), 1) != 0) {
        std::perror("cannot make a host directory");
        return 1;
    }
    const int result = RUN_ALL_TESTS();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    return result;
}
