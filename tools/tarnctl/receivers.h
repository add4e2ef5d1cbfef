// The processes that receive messages.
#pragma once

#include <cstdint>
#include <vector>

#include "tarn_host/host_message.h"

namespace tarnctl {

// Sorted by name; an exit code.
int readReceivers(std::vector<TarnHostReceiver>& receivers);

} // namespace tarnctl
