// Says once on standard error that a log file cannot be kept as it should, and once that it can again.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace tarn::host {

enum class LogTrouble : uint8_t { kOpening, kWriting, kRotating };

class LogTroubles {
 public:
    // `error` is 0 or an `errno` value; `lost` counts the records that the trouble has cost so far.
    void note(LogTrouble trouble, int error, const std::string& fileName, uint64_t lost);

    void forget() { active_ = {}; }

 private:
    std::array<bool, 3> active_ = {};
};

} // namespace tarn::host
