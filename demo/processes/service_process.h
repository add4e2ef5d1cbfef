// What every process of the demonstration endpoint does: open the log, start the timers, receive calls, follow orders.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "link/process_link.h"

namespace tarn::demo {

using Arguments = std::vector<std::string>;
using Order = std::function<Reply(const Arguments&)>;
using Orders = std::map<std::string, Order>;

// Names and entry points of the endpoint's processes.
inline constexpr const char* kMeeting = "meeting";
inline constexpr const char* kMedia = "media";
inline constexpr const char* kApplication = "application";

Orders meetingOrders();
Orders mediaOrders();
Orders applicationOrders();

// Runs a process until its link closes or it is ordered to end. Returns its exit code.
int runServiceProcess(ProcessLink& link, const Orders& orders);

// argument `index` as a number.
uint32_t number(const Arguments& arguments, size_t index);

} // namespace tarn::demo
