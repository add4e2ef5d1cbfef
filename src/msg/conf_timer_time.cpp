// The system time, in the shape the processes use: months from 1, the full year.
#include "base/log.h"
#include "tarn_conference/conf_timer.h"
#include "tarn_platform/os_time.h"

namespace {

constexpr const char* kLogName = "conf_timer";
constexpr uint32_t kFirstYear = 1900;

} // namespace

uint32_t ConfBasicGetSysTime(ConfSysTime* out) {
    if (out == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", tarn::detail::kNullPointerText);
        return 1;
    }
    OsTimeEx now = {};
    if (OsGetTimeEx(&now) != 0) {
        return 1;
    }
    out->year = static_cast<uint16_t>(now.year + kFirstYear);
    out->month = static_cast<uint8_t>(now.month + 1);
    out->day = static_cast<uint8_t>(now.day);
    out->hour = static_cast<uint8_t>(now.hour);
    out->minute = static_cast<uint8_t>(now.minute);
    out->second = static_cast<uint8_t>(now.second);
    out->milliseconds = static_cast<uint16_t>(now.milliseconds);
    return 0;
}

uint32_t ConfGetSysTimeSec(void) {
    return OsGetSysTimeSec();
}
