// Logging and masking.
#include <cstring>

#include "failing_heap.h"
#include "scripted_platform.h"
#include "sweep.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_conference/conf_log.h"
#include "tarn_platform/os_memory.h"

namespace tarn::test {

namespace {

uint64_t records() {
    return ScriptedPlatform::get().logs().size();
}

// A filter's result; 99 when the value can be read in its output.
uint64_t filtered(ConfFilterFunc filter, const char* value) {
    char* const text = outputs().text();
    const uint32_t result = ConfFilterCallFilterFn(filter, value, text, 160);
    return std::string(text, 160).find(value) != std::string::npos ? 99 : result;
}

std::string ownAddressMasked() {
    char* text = nullptr;
    uint32_t length = 0;
    ConfReplaceIPAddrStr("10.20.30.40 and 10.50.60.70", &text, &length);
    const std::string shown = text == nullptr ? "" : text;
    OSMemTypeFreeMon(text, 0, 0, 0, "sweep");
    return shown;
}

uint64_t replaceAddress() {
    char* text = nullptr;
    uint32_t length = 99;
    const uint32_t result = ConfReplaceIPAddrStr("a 10.20.30.40 b", &text, &length);
    outputs().block = text;
    outputs().number = length;
    return text != nullptr && std::strstr(text, "10.20.30.40") != nullptr ? 99 : result;
}

} // namespace

std::vector<Subject> logSubjects() {
    static const std::string longText(360, 'x');
    Subject logging;
    logging.prepare = [] { SetLogLevel(CONF_LOG_INFO); };
    logging.state = [] { return std::to_string(GetConfLogFileId()); };
    logging.finish = [] { g_LogInfo = {0, "Conference.log"}; };
    logging.heap = kOperatorNew;
    logging.operations = {
        op("ConfLogInit", [] { return ConfLogInit(); },
           {0, 1, {{"TarnOmLogClientInit", 77}, {"TarnOmLogCreateLog", 79}, {"strcpy_s", 400}}}),
        op("ConfLogUnInit", [] { return ConfLogUnInit(); }, {0, 1, {{"TarnOmLogClientUnInit", 0}}}),
        op("ConfLogPrintf",
           [] {
               ConfLogPrintf(CONF_LOG_ERROR, "f", "file", 1, "%d", 1);
               return records();
           },
           {1, 1, {{kLog, 0}}}),
        op("ConfLogPrintfStr",
           [] {
               ConfLogPrintfStr(CONF_LOG_ERROR, "f", "file", 1, longText.c_str());
               return records();
           },
           {2, 1, {{kLog, 1}, {"strncpy_s", kEither}}}),
        op("ConfLogSegmentPrint",
           [] {
               ConfLogSegmentPrint("f.c", 1, CONF_LOG_ERROR, std::string(600, 'x').data(), 600);
               return records();
           },
           {3, 1, {{kLog, 2}, {"memset_s", 3}, {"memcpy_s", 3}}}),
        op("_Z11GetFileNameRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
           [] {
               static const std::string path = "directory/a name that does not fit into a string.txt";
               return GetFileName(path).size();
           },
           {42, 1, {{kMemory, 0}}}),
    };
    Subject masking;
    masking.prepare = [] { ConfFilterSetIPStr("10.20.30.40"); };
    masking.state = [] { return outputs().shown() + ownAddressMasked(); };
    constexpr const char* kCleared = "the buffer is cleared before it is filled";
    masking.operations = {
        op(
            "ConfFilterStr", [] { return filtered(ConfFilterStr, "13812345678"); }, {}, kCleared),
        op(
            "ConfFilterIPAddrStr", [] { return filtered(ConfFilterIPAddrStr, "10.20.30.40"); },
            {0, 1, {{"MOSS_Inet_Pton", 0}, {"sprintf_s", 0}}},
            "an address that cannot be taken apart is masked like any other value"),
        op(
            "ConfFilterIPAddrStr/IPv6", [] { return filtered(ConfFilterIPAddrStr, "fe80::1:2:3:4"); },
            {0, 1, {{"MOSS_Inet_Pton", 0}, {"sprintf_s", 0}}},
            "an address that cannot be taken apart is masked like any other value"),
        op("ConfFilterIPAddrStr/other", [] { return filtered(ConfFilterIPAddrStr, "host.example"); },
           {0, 1, {{"MOSS_Inet_Pton", 0}}}, kCleared, {"ConfFilterStr fail.\n"}),
        op("ConfFilterSetIPStr", [] { return ConfFilterSetIPStr("10.50.60.70"); }),
        op("ConfReplaceIPAddrStr", replaceAddress, {0, 1, {{"MOSS_Inet_Pton", 0}, {"sprintf_s", 0}}}),
    };
    return {logging, masking};
}

} // namespace tarn::test
