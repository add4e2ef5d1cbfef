// Orders that every process follows.
#pragma once

#include "processes/service_process.h"

namespace tarn::demo {

Orders commonOrders();

// The table of timers, whose expiries this process receives itself. Results as the timer calls give them.
uint32_t startTimerTable();
void stopTimerTable();

// What the accounted memory of this process still holds.
Reply liveMemory();

} // namespace tarn::demo
