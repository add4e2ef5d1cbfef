// Log records, their levels, and what is done to a text before it may stand in one.
#include <cstring>
#include <string>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_filter.h"
#include "tarn_conference/conf_log.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/os_memory.h"
// [/includes]

namespace {

constexpr const char* kFile = "phone_call";

void masks() {
    // [value]
    char masked[CONF_FILTER_MIN_BUFFER];
    if (ConfFilterStr("+491701234567", masked, sizeof masked) == 0) {
        ConfLogPrintf(CONF_LOG_INFO, __func__, kFile, __LINE__, "call to %s", masked);
    }
    // [/value]
    guide::promise(std::strcmp(masked, "+49******67") == 0, "a masked number");

    // [address]
    if (ConfFilterIPAddrStr("10.1.2.7", masked, sizeof masked) == 0) {
        ConfLogPrintf(CONF_LOG_INFO, __func__, kFile, __LINE__, "peer %s", masked);
    }
    // [/address]
    guide::promise(std::strcmp(masked, "10.**.**.7") == 0, "a masked address");
}

void maskInText() {
    // [text]
    char text[] = "<user>ada.lovelace</user><pin>4711</pin>";
    ConfFilterNonSecurityWordEx(text, "<user>", "</user>");
    ConfFilterNonSecurityWordEx(text, "<pin>", "</pin>");
    ConfLogPrintfStr(CONF_LOG_INFO, __func__, kFile, __LINE__, text);
    // [/text]
    guide::promise(std::strcmp(text, "<user>ada*******ce</user><pin>47*1</pin>") == 0, "masked values in a text");
}

void maskOwnAddress() {
    // [own]
    ConfFilterSetIPStr("192.168.1.100");

    char* replaced = nullptr;
    uint32_t length = 0;
    if (ConfReplaceIPAddrStr("registered as 192.168.1.100:5060", &replaced, &length) == 0) {
        ConfLogPrintfStr(CONF_LOG_INFO, __func__, kFile, __LINE__, replaced);
        OSMemTypeFreeMon(replaced, 0, 0, __LINE__, kFile);
    }
    // [/own]
    guide::promise(length != 0, "the own address masked");
}

} // namespace

int main() {
    // [start]
    TarnHostSetProcessName("phone");
    if (ConfLogInit() != 0) {
        return 1;
    }
    // [/start]

    // [write]
    ConfLogPrintf(CONF_LOG_INFO, __func__, "phone_call", __LINE__, "room %s has %u guests", "Turing", 7U);
    ConfLogPrintf(CONF_LOG_DEBUG, __func__, "phone_call", __LINE__, "not written: the level is 3 at start");
    // [/write]

    // [level]
    SetLogLevel(CONF_LOG_DEBUG);
    ConfLogPrintf(CONF_LOG_DEBUG, __func__, "phone_call", __LINE__, "written");
    // [/level]

    // [long]
    const std::string dump(1000, 'x');
    ConfLogPrintf(CONF_LOG_INFO, __func__, "phone_call", __LINE__, "%s", dump.c_str()); // more than 511 bytes: dropped
    ConfLogPrintfStr(CONF_LOG_INFO, __func__, "phone_call", __LINE__, "one line\nand a second one");
    // [/long]

    masks();
    maskInText();
    maskOwnAddress();

    // [end]
    ConfLogUnInit();
    // [/end]
    return guide::result();
}
