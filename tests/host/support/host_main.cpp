// main of every host test: a fresh host directory, gone when the tests are over.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "file/scratch_directory.h"

// The thread sanitizer ends a forked child that starts a thread, unless it is asked not to.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const tarn::test::ScratchDirectory directory;
    setenv("TARN_HOST_DIR", directory.path().c_str(), 1);
    return RUN_ALL_TESTS();
}
