// Configuration values from text: each reader, each variable writer at each width, and the checks of user input.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "input.h"
#include "scripted_run.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_param.h"

namespace {

using tarn::fuzz::Text;

std::string render(const ConfConfigValue& value) {
    char text[512];
    return ConfConfigV2Str(&value, text, sizeof text) == 0 ? text : "(none)";
}

// A number that was read is written as text and read again.
void readNumbers(const ConfConfigValue& value, const Text& text) {
    const int64_t number = ConfConfigV2Int(&value);
    const uint64_t unsignedNumber = ConfConfigV2UInt(&value);
    const double floating = ConfConfigV2Float(&value);
    FUZZ_CHECK(number == std::strtoll(text.get(), nullptr, 10));
    FUZZ_CHECK(unsignedNumber == std::strtoull(text.get(), nullptr, 10));
    FUZZ_CHECK(ConfConfigV2Bool(&value) <= 1);

    ConfConfigValue made = {};
    ConfConfigValue again = {};
    FUZZ_CHECK(ConfConfigInt2V(&made, number) == 0);
    const Text asInt(render(made));
    FUZZ_CHECK(ConfConfigStr2V(&again, asInt.get()) == 0 && ConfConfigV2Int(&again) == number);
    FUZZ_CHECK(ConfConfigUInt2V(&made, unsignedNumber) == 0);
    const Text asUInt(render(made));
    FUZZ_CHECK(ConfConfigStr2V(&again, asUInt.get()) == 0 && ConfConfigV2UInt(&again) == unsignedNumber);

    FUZZ_CHECK(ConfConfigFloat2V(&made, floating) == 0);
    const int64_t cut = ConfConfigV2Int(&made);
    FUZZ_CHECK(!(std::fabs(floating) < 0x1p63) || cut == static_cast<int64_t>(floating));
    FUZZ_CHECK(!(floating >= 0 && floating < 0x1p64) || ConfConfigV2UInt(&made) == static_cast<uint64_t>(floating));
    FUZZ_CHECK(!(floating <= 0) || ConfConfigV2UInt(&made) == 0);
    FUZZ_CHECK(!std::isnan(floating) || cut == 0);
}

// A variable of exactly its size: written once it holds the value, unless it is too narrow for it.
void writeVariable(const ConfConfigValue& value, uint32_t type, uint32_t size) {
    const auto variable = std::make_unique<uint8_t[]>(size);
    std::fill_n(variable.get(), size, uint8_t{0x5A});
    const std::vector<uint8_t> before(variable.get(), variable.get() + size);
    const uint32_t first = ConfConfigV2DByType(&value, variable.get(), size, type);
    FUZZ_CHECK(first == 0 || first == CONF_CONFIG_UNCHANGED || first == CONF_CONFIG_FAILED);
    const bool isText = type == CONF_CONFIG_TYPE_STR;
    FUZZ_CHECK(first == 0 || isText || std::equal(before.begin(), before.end(), variable.get()));
    if (first != 0) {
        return;
    }
    const std::vector<uint8_t> written(variable.get(), variable.get() + size);
    const uint32_t second = ConfConfigV2DByType(&value, variable.get(), size, type);
    FUZZ_CHECK(second == 0 || second == CONF_CONFIG_UNCHANGED);
    FUZZ_CHECK(std::equal(written.begin(), written.end(), variable.get()));
    FUZZ_CHECK(isText || size != 8 || type == CONF_CONFIG_TYPE_FLOAT || second == CONF_CONFIG_UNCHANGED);

    ConfConfigValue read = {};
    FUZZ_CHECK(ConfConfigD2VByType(&read, variable.get(), size, type) == 0 && read.type == type);
    FUZZ_CHECK(!isText || std::strcmp(read.value.asStr, value.value.asStr) == 0);
}

void writeVariables(const ConfConfigValue& value, uint32_t textSize) {
    for (const uint32_t type : {CONF_CONFIG_TYPE_INT, CONF_CONFIG_TYPE_UINT, CONF_CONFIG_TYPE_BOOL}) {
        for (const uint32_t width : {1U, 2U, 4U, 8U}) {
            writeVariable(value, type, width);
        }
    }
    writeVariable(value, CONF_CONFIG_TYPE_FLOAT, 4);
    writeVariable(value, CONF_CONFIG_TYPE_FLOAT, 8);
    writeVariable(value, CONF_CONFIG_TYPE_STR, textSize);
    writeVariable(value, CONF_CONFIG_TYPE_STR, value.len);
    writeVariable(value, CONF_CONFIG_TYPE_STR, value.len - 1);
    writeVariable(value, CONF_CONFIG_TYPE_DATA, textSize);
}

void trim(const Text& text) {
    Text trimmed(text.string());
    ConfTrim(trimmed.get());
    const std::string result = trimmed.get();
    constexpr const char* kBlanks = " \t\n\v\f\r";
    const std::string whole = text.string();
    const size_t first = whole.find_first_not_of(kBlanks);
    const size_t last = whole.find_last_not_of(kBlanks);
    FUZZ_CHECK(result == (first == std::string::npos ? "" : whole.substr(first, last - first + 1)));
}

void check(const Text& text) {
    FUZZ_CHECK((ConfParamCheckValidIp(text.get()) == 0) == (ConfParamCheckIpType(text.get()) != UINT32_MAX));
    const bool digits = ConfParamCheckContainValidChar(text.get(), 1) == 0;
    FUZZ_CHECK(digits == (text.length() != 0 && text.string().find_first_not_of("0123456789") == std::string::npos));
    FUZZ_CHECK(!digits || ConfParamCheckContainValidChar(text.get(), 0) == 0);
    const auto bytes = static_cast<uint32_t>(text.length());
    FUZZ_CHECK(ConfParamGetCharNum(text.get(), bytes) <= bytes);
    const int number = ConfGetAtoi(text.get(), 77);
    FUZZ_CHECK(!digits || text.length() > 9 || text.get()[0] == '0' || number == std::atoi(text.get()));
    FUZZ_CHECK(ConfConfigStrEqual(text.get(), text.get()) == 1);
    FUZZ_CHECK(ConfConfigStrEqual(text.get(), "") == (bytes == 0 ? 1U : 0U));
}

void fuzzConfigText(std::span<const uint8_t> bytes) {
    const tarn::fuzz::ScriptedRun run;
    tarn::fuzz::Input input(bytes);
    const uint32_t textSize = input.byte();
    const Text text(tarn::fuzz::asText(input.rest()));
    ConfConfigValue value = {};
    FUZZ_CHECK(ConfConfigStr2V(&value, text.get()) == 0 && value.len == text.length() + 1);
    readNumbers(value, text);
    writeVariables(value, textSize);
    trim(text);
    check(text);
}

const tarn::fuzz::Target target("config_text", fuzzConfigText);

} // namespace
