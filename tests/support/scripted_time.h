// The time service of the scripted platform: the time is what a test says.
#pragma once

#include "tarn_platform/os_time.h"

namespace tarn::test {

struct ScriptedTime {
    OsTimeEx calendar = {};
    uint32_t seconds = 0;
};

ScriptedTime& scriptedTime();

} // namespace tarn::test
