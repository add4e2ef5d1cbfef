#include "scripted_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string_view>

using namespace tarn::test;

namespace {

struct LogName {
    const char* name;
    std::vector<std::string_view> functions; // how their names begin
};

// Of all functions that log; the first that fits.
const std::vector<LogName> kLogNames = {
    {"conf_config_value", {"ConfConfigV2"}},
    {"conf_config", {"ConfConfig", "CallService"}},
    {"conf_json", {"ConfJson"}},
    {"conf_log_adapter", {"ConfLogSegment"}},
    {"conf_mask_keyword", {"ConfFilter"}},
    {"conf_msg_api", {"ConfCommMsg", "ConfCommSend", "GenerateMeeting", "GetMeeting"}},
    {"conf_network_utils", {"GetBestLocal"}},
    {"conf_timer", {"ConfBasic", "ConfCommTimer", "ConfTimer", "InitTimer"}},
    {"param_check", {"ConfGetAtoi", "ConfTrim"}},
    {"xmlAdapter",
     {"ConfXmlCreateFirst", "ConfXmlCreateLast", "ConfXmlFree", "ConfXmlGetNode", "ConfXmlGetRoot", "ConfXmlParseBody",
      "ConfXmlParseFile", "ConfXmlTransform"}},
    {"xml_utility", {"ConfXml"}},
    {"conf_cert",
     {"AddCancel", "ClearAndFree", "ConfAddCancel", "ConfCert", "ConfLoad", "ConfOmCert", "GetCert", "GetOpenssl",
      "SetCertInfo", "X509"}},
};

// Readers of the log look for the records of a function under its log name.
void checkLogName(const std::string& file, std::string_view text) {
    const auto found = std::ranges::find_if(kLogNames, [&](const LogName& candidate) {
        return std::ranges::any_of(candidate.functions,
                                   [&](std::string_view begin) { return text.starts_with(begin); });
    });
    if (found != kLogNames.end()) {
        EXPECT_EQ(file, found->name) << text;
    }
}

} // namespace

uint32_t TarnOmLogClientInit(const char* name, uint32_t flag) {
    scriptedLogClient().name = name;
    scriptedLogClient().flag = flag;
    return isToFail(__func__) ? 77 : 0;
}

uint32_t TarnOmLogClientUnInit(void) {
    return isToFail(__func__) ? 78 : 0;
}

uint32_t TarnOmLogCreateLog(const void* creationRecord, ConfLogInfo* info) {
    scriptedLogClient().creation = *static_cast<const OmLogCreationRecord*>(creationRecord);
    scriptedLogClient().info = info;
    return scriptedCall(__func__, 79U, [=] { info->fileId = 41; });
}

void TarnOmLogModuleLogRecord(uint8_t level, uint16_t fileId, const char* fileName, uint8_t fileNameLength,
                              uint32_t line, const char* format, ...) {
    ScriptedPlatform::get().enterInfallible(__func__);
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::string file(fileName, fileNameLength);
    if (text[0] == '[') {
        checkLogName(file, text + 1);
    }
    ScriptedPlatform::get().addLog({level, fileId, file, line, text, format});
}
