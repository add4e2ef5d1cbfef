// What nearly every host test includes.
#pragma once

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <utility>

#include "file/scratch_directory.h"
#include "support/processes.h"
#include "tarn_host/host_process.h"

namespace tarn::test {

constexpr uint32_t kInvalid = EINVAL;

inline void expectAll(uint32_t code, std::initializer_list<uint32_t> results) {
    for (const uint32_t& result : results) {
        EXPECT_EQ(result, code) << "the result at " << &result - results.begin();
    }
}

} // namespace tarn::test
