// The signal service of the scripted platform: signal masks are noted, not set.
#pragma once

#include <csignal>
#include <vector>

namespace tarn::test {

struct SignalMaskChange {
    int how;
    sigset_t set;
    std::vector<int> added; // in this order
};

std::vector<SignalMaskChange>& scriptedSignalMaskChanges();

} // namespace tarn::test
