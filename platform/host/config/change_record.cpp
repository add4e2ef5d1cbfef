#include "config/change_record.h"

#include "tarn_platform/om_config.h"

namespace tarn::host {
namespace {

constexpr size_t kHeadBytes = 3;
constexpr size_t kRemoved = 0xFFFF;

size_t byteAt(std::string_view bytes, size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

} // namespace

ConfigChange makeChange(std::string_view key, std::string_view value, int64_t number) {
    ConfigChange change;
    change.key = key;
    if (value.data() != nullptr) {
        change.value = value;
    }
    change.number = number;
    return change;
}

void packChange(std::string& packed, std::string_view key, std::optional<std::string_view> value) {
    const size_t valueLength = value.has_value() ? value->size() : kRemoved;
    packed += static_cast<char>(key.size());
    packed += static_cast<char>(valueLength & 0xFFU);
    packed += static_cast<char>(valueLength >> 8U);
    packed += key;
    packed += value.value_or("");
}

bool unpackChanges(std::string_view packed, int64_t number, std::vector<ConfigChange>& changes) {
    while (!packed.empty()) {
        if (packed.size() < kHeadBytes) {
            return false;
        }
        const size_t keyLength = byteAt(packed, 0);
        const size_t codedLength = byteAt(packed, 1) | byteAt(packed, 2) << 8U;
        const size_t valueLength = codedLength == kRemoved ? 0 : codedLength;
        packed.remove_prefix(kHeadBytes);
        if (keyLength >= OM_CONFIG_KEY_LEN || valueLength >= OM_CONFIG_VALUE_LEN ||
            packed.size() < keyLength + valueLength) {
            return false;
        }
        ConfigChange& change = changes.emplace_back();
        change.key = packed.substr(0, keyLength);
        if (codedLength != kRemoved) {
            change.value = packed.substr(keyLength, valueLength);
        }
        change.number = number;
        packed.remove_prefix(keyLength + valueLength);
    }
    return true;
}

} // namespace tarn::host
