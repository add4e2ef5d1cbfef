// Wall-clock time. The time zone is looked up at every call, so that a change of the device's zone shows at once.
#include <cerrno>
#include <ctime>

#include "tarn_platform/os_time.h"

namespace {

constexpr long kNanosecondsPerMillisecond = 1'000'000;

uint32_t field(int value) {
    return static_cast<uint32_t>(value);
}

} // namespace

uint32_t OsGetTimeEx(OsTimeEx* out) {
    if (out == nullptr) {
        return EINVAL;
    }
    timespec now = {};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return static_cast<uint32_t>(errno);
    }
    tzset();
    tm local = {};
    if (localtime_r(&now.tv_sec, &local) == nullptr) {
        return static_cast<uint32_t>(errno);
    }
    *out = {static_cast<uint32_t>(now.tv_nsec / kNanosecondsPerMillisecond),
            field(local.tm_sec),
            field(local.tm_min),
            field(local.tm_hour),
            field(local.tm_mday),
            field(local.tm_mon),
            field(local.tm_year),
            field(local.tm_wday),
            field(local.tm_yday)};
    return 0;
}

uint32_t OsGetSysTimeSec(void) {
    return static_cast<uint32_t>(std::time(nullptr));
}
