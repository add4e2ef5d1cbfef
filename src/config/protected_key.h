// The keys whose values no log may show.
#pragma once

namespace tarn::detail {

// Both compare exactly, unlike the index.
bool isProtectedKey(const char* key);
// The protected keys whose values are stored encrypted.
bool isEncryptedKey(const char* key);

} // namespace tarn::detail
