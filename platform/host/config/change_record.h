// The changes of one write, packed for the change log: a run of {key length (1 byte), value length (2 bytes, little
// endian), key, value}. The value length 0xFFFF stands for a removed key.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

struct ConfigChange {
    std::string key;
    std::optional<std::string> value; // Without one the key was removed.
    int64_t number = 0;               // Lies behind the position where the write began, not behind its end.
};

// A value without data stands for a removed key.
ConfigChange makeChange(std::string_view key, std::string_view value, int64_t number);

// Appends a change; key and value must fit their record fields.
void packChange(std::string& packed, std::string_view key, std::optional<std::string_view> value);

// False, with `changes` unspecified, for bytes that are no such run.
bool unpackChanges(std::string_view packed, int64_t number, std::vector<ConfigChange>& changes);

} // namespace tarn::host
