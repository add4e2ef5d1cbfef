// Keys whose values are not for everybody's eyes.
#pragma once

#include <string>
#include <string_view>

namespace tarnctl {

// Shown only on request. Letter case does not matter here: hiding too much does no harm.
bool isProtected(const std::string& key);

// Stored encrypted. In this very case only, as the library does it.
bool isPassword(std::string_view key);

// What is written in place of a protected value.
inline constexpr const char* kHidden = "(protected, shown with --reveal)";

} // namespace tarnctl
