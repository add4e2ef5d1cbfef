// What the log client of the scripted platform was last asked for. Its records are with the platform.
#pragma once

#include <cstdint>
#include <string>

#include "tarn_platform/om_log.h"

namespace tarn::test {

struct ScriptedLogClient {
    std::string name;
    uint32_t flag = 0;
    OmLogCreationRecord creation = {};
    const ConfLogInfo* info = nullptr;
};

inline ScriptedLogClient& scriptedLogClient() {
    static ScriptedLogClient client;
    return client;
}

} // namespace tarn::test
