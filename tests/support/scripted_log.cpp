#include "scripted_log.h"

#include <cstdarg>
#include <cstdio>

#include "scripted_platform.h"

using tarn::test::scriptedLogClient;
using tarn::test::ScriptedPlatform;

tarn::test::ScriptedLogClient& tarn::test::scriptedLogClient() {
    static ScriptedLogClient client;
    return client;
}

uint32_t TarnOmLogClientInit(const char* name, uint32_t flag) {
    scriptedLogClient().name = name;
    scriptedLogClient().flag = flag;
    return ScriptedPlatform::get().enter("TarnOmLogClientInit") ? 77 : 0;
}

uint32_t TarnOmLogClientUnInit(void) {
    return ScriptedPlatform::get().enter("TarnOmLogClientUnInit") ? 78 : 0;
}

uint32_t TarnOmLogCreateLog(const void* creationRecord, ConfLogInfo* info) {
    scriptedLogClient().creation = *static_cast<const OmLogCreationRecord*>(creationRecord);
    scriptedLogClient().info = info;
    if (ScriptedPlatform::get().enter("TarnOmLogCreateLog")) {
        return 79;
    }
    info->fileId = 41;
    return 0;
}

void TarnOmLogModuleLogRecord(uint8_t level, uint16_t fileId, const char* fileName, uint8_t fileNameLength,
                              uint32_t line, const char* format, ...) {
    ScriptedPlatform::get().enterInfallible("TarnOmLogModuleLogRecord");
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    ScriptedPlatform::get().addLog({level, fileId, std::string(fileName, fileNameLength), line, text, format});
}
