// The account of this process's memory.
#include <cstdio>

#include "promise.h"
#include "tarn_platform/os_memory.h"
// [includes]
#include "tarn_conference/conf_system.h"
#include "tarn_host/host_memory.h"
// [/includes]

int main() {
    void* const block = OsMemMallocSetCharMon(1000, 0, 0, 0, __LINE__, "room.cpp");

    // [status]
    TarnHostMemoryStatus status = {};
    if (ConfMemGetMemStatus(&status, 0, 0) == 0) {
        std::printf("%llu bytes live\n", static_cast<unsigned long long>(status.liveBytes));
    }
    // [/status]
    guide::promise(status.liveBytes >= 1000, "the bytes of the block");

    // [sites]
    const TarnHostMemoryFilter filter = {"room.cpp"}; // null instead of it for all sites
    TarnHostMemorySite sites[8] = {};
    TarnHostMemoryRecord record = {sites, 8, 0, 0};
    const uint32_t read = ConfMemGetMemRec(&filter, &record);
    // [/sites]
    guide::promise(read == 0 && record.count == 1 && sites[0].liveBlocks == 1, "its site");

    // [scan]
    TarnHostMemoryScan scan = {};
    const bool isWhole = ConfMemGetMemScan(&scan, 0, 0) == 0 && scan.damagedBlocks == 0;
    // [/scan]
    guide::promise(isWhole && scan.checkedBlocks >= 1, "no damage");

    // [use]
    TarnHostMemoryUse use = {};
    ConfMemGetMemoryUseMonitor(&use, 0, 0); // what happened since the call before
    // [/use]
    guide::promise(use.liveBytes >= 1000, "the use");

    OSMemTypeFreeMon(block, 0, 0, __LINE__, "room.cpp");
    return guide::result();
}
