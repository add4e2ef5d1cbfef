// The account of a process as bytes, for other processes: the sums, then the sites in the order of the statistics. Both
// ends run on one machine, so numbers stand as they are in memory.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tarn_host/host_memory.h"

namespace tarn::host {

struct Account {
    TarnHostMemoryStatus status = {};
    std::vector<TarnHostMemorySite> sites; // Without their file names, which stand in `names`.
    std::vector<std::string> names;
};

// Of this process. Throws std::bad_alloc.
std::vector<std::byte> encodeAccount();

// Nothing for bytes that are no account.
std::optional<Account> decodeAccount(std::span<const std::byte> bytes);

} // namespace tarn::host
