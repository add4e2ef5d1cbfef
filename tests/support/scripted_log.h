// What the log client of the scripted platform was last asked for. Its records are with the platform.
#pragma once

#include "scripted_platform.h"
#include "tarn_platform/om_log.h"

namespace tarn::test {

struct ScriptedLogClient {
    std::string name;
    uint32_t flag = 0;
    OmLogCreationRecord creation = {};
    const ConfLogInfo* info = nullptr;
};

inline constexpr auto scriptedLogClient = stateOf<ScriptedLogClient>;

} // namespace tarn::test
