// Takes an input apart, from its front. What the input no longer holds reads as zero and as empty, so that every input
// means something.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::fuzz {

class Input {
 public:
    explicit Input(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    bool empty() const { return bytes_.empty(); }

    uint8_t peek() const { return bytes_.empty() ? 0 : bytes_.front(); }

    std::span<const uint8_t> take(size_t count) {
        const std::span<const uint8_t> taken = bytes_.first(std::min(count, bytes_.size()));
        bytes_ = bytes_.subspan(taken.size());
        return taken;
    }

    std::span<const uint8_t> rest() { return take(bytes_.size()); }

    template <typename Number>
    Number number() {
        Number value = 0;
        const std::span<const uint8_t> taken = take(sizeof value);
        std::copy(taken.begin(), taken.end(), reinterpret_cast<uint8_t*>(&value));
        return value;
    }

    uint8_t byte() { return number<uint8_t>(); }

    // Up to the next line feed, which is taken too.
    std::string_view line() {
        const auto end = std::find(bytes_.begin(), bytes_.end(), uint8_t{'\n'});
        const std::span<const uint8_t> taken = take(static_cast<size_t>(end - bytes_.begin()));
        take(1);
        return {reinterpret_cast<const char*>(taken.data()), taken.size()};
    }

 private:
    std::span<const uint8_t> bytes_;
};

inline std::string_view asText(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// A NUL-terminated text in memory of exactly its size, so that a step beyond it is seen. It ends at the first NUL.
class Text {
 public:
    explicit Text(std::string_view text) : bytes_(text.begin(), std::find(text.begin(), text.end(), '\0')) {
        bytes_.push_back('\0');
        bytes_.shrink_to_fit();
    }

    char* get() { return bytes_.data(); }
    const char* get() const { return bytes_.data(); }
    size_t length() const { return bytes_.size() - 1; }
    std::string string() const { return {bytes_.data(), length()}; }

 private:
    std::vector<char> bytes_;
};

} // namespace tarn::fuzz
