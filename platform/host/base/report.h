// What the host platform has to tell the person at the terminal.
#pragma once

#include "tarn_platform/platform_base.h"

namespace tarn::host {

// Writes "tarn-host[process]: text" and a newline to standard error in one piece. Keeps `errno`.
void report(const char* format, ...) TARN_PRINTF_LIKE(1, 2);

} // namespace tarn::host
