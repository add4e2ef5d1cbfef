// Certificates and lists as files hold them. Inputs are mostly the bytes inside the PEM armour, where a change gets
// further than one in its base64 text.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tarn::fuzz {

// The bytes as a PEM block of this label, or as they are when `raw`.
std::string armoured(const char* label, std::span<const uint8_t> bytes, bool raw);

} // namespace tarn::fuzz
