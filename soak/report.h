// The account at the end of a soak run.
#pragma once

#include <array>
#include <string>

#include "account.h"

namespace tarn::soak {

using HoldingsOfAll = std::array<Holdings, kProcesses>;

HoldingsOfAll holdingsOf(const Account& account);

// What happened to the events, over all processes.
struct EventAccount {
    uint64_t sent = 0;
    uint64_t received = 0;
    uint64_t cutOff = 0; // on their way when their receiver or their sender was killed
    uint64_t lost = 0;   // without such a reason, or received more often than sent
};

EventAccount accountEvents(const Account& account);

struct Expected {
    uint32_t caFiles = 0;
    uint32_t kills = 0;
    uint32_t certificateChanges = 0;
    uint64_t workSeconds = 0;
};

// Prints the account. True when nothing was lost, nothing grew, and all processes ended up with the same state.
bool printReport(const Account& account, const HoldingsOfAll& warm, const Expected& expected);

} // namespace tarn::soak
