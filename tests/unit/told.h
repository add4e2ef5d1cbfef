// What a row of like calls answered, and what was told of it.
#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "scripted_platform.h"

namespace tarn::test {

using Codes = std::vector<uint32_t>;
using Pointers = std::vector<const void*>;

// The records since the last call of this: an error of `function` as its message, any other as
// "level [function]message".
inline std::vector<std::string> takeLogs(const std::string& function = "") {
    const std::string own = std::string("1 [").append(function).append("]");
    std::vector<std::string> texts;
    for (const LogRecord& record : ScriptedPlatform::get().logs()) {
        const std::string text = std::to_string(record.level) + " " + record.text;
        texts.push_back(text.starts_with(own) ? text.substr(own.size()) : text);
    }
    ScriptedPlatform::get().clearLogs();
    return texts;
}

} // namespace tarn::test
