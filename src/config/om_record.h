// What the users of the service and of its records share.
#pragma once

#include <cstring>

#include "tarn_platform/om_config.h"

namespace tarn::detail {

// The name under which the library owns values, at the service and at the key management.
inline constexpr const char* kServiceOwner = "TarnUIConf";

// Whether a field holds a whole text.
inline bool isTerminated(const char* field, size_t bytes) {
    return std::memchr(field, '\0', bytes) != nullptr;
}

// A value that came from the service is read as text: its end is not taken on trust.
inline void terminateValue(ConfConfigOmRecord& record) {
    record.value.text[sizeof record.value.text - 1] = '\0';
}

// What the log says of a key and of a value that cannot be stored.
inline constexpr const char* kKeyNotStoredText = "TarnOmConfigcopyStr2Key fail";
inline constexpr const char* kValueNotStoredText = "TarnOmConfigcopyStr2Val fail";

// Each is false for a text that the service's client refuses; `function` logs that.
bool storeKey(const char* function, ConfConfigOmRecord& record, const char* key);
bool storeValue(const char* function, ConfConfigOmRecord& record, const char* text);

} // namespace tarn::detail
