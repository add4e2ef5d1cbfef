// Calls of the masking functions in blocks of their exact size, so that a sanitizer sees any step outside; what stands
// around them is checked as well.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "scripted_platform.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_platform/os_memory.h"

inline std::string maskedBy(ConfFilterFunc filter, const std::string& value) {
    constexpr uint32_t kBytes = CONF_FILTER_MIN_BUFFER;
    const auto buffer = std::make_unique<char[]>(kBytes);
    std::memset(buffer.get(), 'x', kBytes);
    EXPECT_EQ(filter(value.c_str(), buffer.get(), kBytes), 0U);
    const std::string shown = buffer.get();
    EXPECT_EQ(std::string(buffer.get() + shown.size(), kBytes - shown.size()), std::string(kBytes - shown.size(), '\0'))
        << "something is left behind the text";
    return shown;
}

inline std::string maskedText(const std::string& text, const char* keyword, const char* terminator) {
    const auto block = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(block.get(), text.c_str(), text.size() + 1);
    ConfFilterNonSecurityWordEx(block.get(), keyword, terminator);
    return {block.get(), text.size()};
}

inline void releaseText(char* text) {
    OSMemTypeFreeMon(text, 0, 0, __LINE__, "mask_test");
}

inline std::string replaced(const std::string& text) {
    char* out = nullptr;
    uint32_t length = 0;
    if (ConfReplaceIPAddrStr(text.c_str(), &out, &length) != 0) {
        return "failed";
    }
    EXPECT_EQ(std::strlen(out), length);
    const std::string result(out, length);
    releaseText(out);
    return result;
}
