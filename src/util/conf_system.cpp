// Memory statistics, passed through to the platform; event-report hooks, empty in this build; the conference type.
#include "tarn_conference/conf_system.h"

#include <atomic>

#include "tarn_platform/os_memory.h"

uint32_t g_bConfCalltype = 0;

uint32_t ConfReportToBeacon(void) {
    return 0;
}

uint32_t ConfReportAddrBookToBeacon(void) {
    return 0;
}

uint32_t ConfReportRegisterToBeacon(void) {
    return ConfReportToBeacon();
}

uint32_t ConfReportCallErrToBeacon(void) {
    return 0;
}

uint32_t GetOmsConfType(void) {
    return std::atomic_ref(g_bConfCalltype).load(std::memory_order_relaxed);
}

void SetOmsConfType(uint32_t type) {
    std::atomic_ref(g_bConfCalltype).store(type, std::memory_order_relaxed);
}

uint32_t ConfMemGetMemRec(const void* filter, void* out) {
    return out == nullptr ? 1 : OsMemGetMemRec(filter == nullptr ? 0 : 1, 0, filter, out);
}

uint32_t ConfMemGetMemStatus(void* out, uintptr_t second, uintptr_t third) {
    return out == nullptr ? 1 : OsMemGetMemStatus(out, second, third);
}

uint32_t ConfMemGetMemScan(void* out, uintptr_t second, uintptr_t third) {
    return out == nullptr ? 1 : OsMemGetMemScan(out, second, third);
}

uint32_t ConfMemGetMemoryUseMonitor(void* out, uintptr_t second, uintptr_t third) {
    return out == nullptr ? 1 : OsMemGetMemoryUseMonitor(out, second, third);
}
