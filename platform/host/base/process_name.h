// The rule for process names, for services that take one without using it yet.
#pragma once

#include <string_view>

namespace tarn::host {

// As `TarnHostSetProcessName` takes it.
bool validProcessName(std::string_view name);

} // namespace tarn::host
