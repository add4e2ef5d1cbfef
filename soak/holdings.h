// What this process holds of the machine.
#pragma once

#include "account.h"

namespace tarn::soak {

Holdings holdingsNow();

} // namespace tarn::soak
