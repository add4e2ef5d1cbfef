#include "holdings.h"

#include <malloc.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "tarn_conference/conf_system.h"
#include "tarn_host/host_memory.h"

namespace tarn::soak {
namespace {

uint32_t entriesOf(const char* directory) {
    std::error_code unreadable;
    const std::filesystem::directory_iterator entries(directory, unreadable);
    return static_cast<uint32_t>(std::distance(begin(entries), end(entries)));
}

uint64_t residentKib() {
    std::ifstream file("/proc/self/statm");
    uint64_t whole = 0;
    uint64_t resident = 0;
    file >> whole >> resident;
    return resident * static_cast<uint64_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

} // namespace

Holdings holdingsNow() {
    TarnHostMemoryStatus status = {};
    ConfMemGetMemStatus(&status, 0, 0);
    const auto databaseBytes = static_cast<uint64_t>(sqlite3_memory_used());
    return {status.liveBlocks, mallinfo2().uordblks - databaseBytes, databaseBytes,
            residentKib(),     entriesOf("/proc/self/fd"),           entriesOf("/proc/self/task")};
}

} // namespace tarn::soak
