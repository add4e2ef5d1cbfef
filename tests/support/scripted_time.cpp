#include "scripted_time.h"

#include "scripted_platform.h"

using tarn::test::ScriptedPlatform;
using tarn::test::scriptedTime;

tarn::test::ScriptedTime& tarn::test::scriptedTime() {
    static ScriptedTime time;
    return time;
}

uint32_t OsGetTimeEx(OsTimeEx* out) {
    if (ScriptedPlatform::get().enter("OsGetTimeEx")) {
        return 0xA0;
    }
    *out = scriptedTime().calendar;
    return 0;
}

uint32_t OsGetSysTimeSec(void) {
    ScriptedPlatform::get().enterInfallible("OsGetSysTimeSec");
    return scriptedTime().seconds;
}
