#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "tarn_conference/conf_config_value.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

template <typename Plain>
ConfConfigValue holder(uint32_t (*make)(ConfConfigValue*, Plain), std::type_identity_t<Plain> plain) {
    ConfConfigValue value;
    std::memset(&value, 0xA5, sizeof value);
    EXPECT_EQ(make(&value, plain), 0U);
    return value;
}

using ConfigValue = ScriptedPlatformTest;

TEST_F(ConfigValue, NumbersOfEveryWidthAreReadAndWrittenWhenTheyDiffer) {
    constexpr uint32_t kInt = CONF_CONFIG_TYPE_INT;
    constexpr uint32_t kUInt = CONF_CONFIG_TYPE_UINT;
    constexpr uint32_t kBool = CONF_CONFIG_TYPE_BOOL;
    constexpr uint32_t kFloat = CONF_CONFIG_TYPE_FLOAT;
    constexpr uint64_t kTop = 1ULL << 63;
    constexpr auto kTenth = std::bit_cast<uint32_t>(static_cast<float>(0.1));
    constexpr uint32_t kSame = CONF_CONFIG_UNCHANGED;
    const ConfConfigValue tenth = holder(ConfConfigFloat2V, 0.1);
    const struct {
        uint32_t type, width;
        uint64_t before; // the variable's bits
        ConfConfigValue written;
        uint32_t result;
        uint64_t after;
    } rows[] = {
        {kInt, 1, 0x80, holder(ConfConfigInt2V, -128), kSame, 0x80},
        {kInt, 8, kTop, holder(ConfConfigInt2V, INT64_MIN), kSame, kTop},
        {kInt, 1, 0x7F, holder(ConfConfigInt2V, -1), 0, 0xFF},
        {kUInt, 1, 0x80, holder(ConfConfigUInt2V, 128), kSame, 0x80},
        {kUInt, 8, UINT64_MAX, holder(ConfConfigUInt2V, UINT64_MAX), kSame, UINT64_MAX},
        {kUInt, 1, 44, holder(ConfConfigUInt2V, 300), 0, 44}, // what does not fit is written again each time
        {kBool, 2, 1, holder(ConfConfigInt2V, 7), kSame, 1},
        {kBool, 4, 0x100, holder(ConfConfigInt2V, 0), 0, 0},
        {kFloat, 8, std::bit_cast<uint64_t>(0.1), tenth, kSame, std::bit_cast<uint64_t>(0.1)},
        {kFloat, 8, std::bit_cast<uint64_t>(0.5), tenth, 0, std::bit_cast<uint64_t>(0.1)},
        {kFloat, 4, kTenth, tenth, 0, kTenth}, // nor does this
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        std::string memory(16, 'Z'); // larger and unaligned; no other byte may change
        std::string expected = memory;
        std::memcpy(memory.data() + 3, &row.before, row.width);
        std::memcpy(expected.data() + 3, &row.after, row.width);
        ConfConfigValue read = {};
        EXPECT_EQ(ConfConfigD2VByType(&read, memory.data() + 3, row.width, row.type), 0U);
        EXPECT_EQ(read.value.asUInt == row.written.value.asUInt, row.result == kSame && row.type != kBool);
        EXPECT_EQ(ConfConfigV2Bool(&read), 1U);
        EXPECT_EQ(ConfConfigV2DByType(&row.written, memory.data() + 3, row.width, row.type), row.result);
        EXPECT_EQ(memory, expected);
    }
}

TEST_F(ConfigValue, EachTypeReadsAsEachOther) {
    const struct {
        ConfConfigValue value;
        int64_t asInt;
        uint64_t asUInt;
        double asFloat;
        uint32_t asBool;
    } rows[] = {
        {holder(ConfConfigInt2V, INT64_MIN), INT64_MIN, 1ULL << 63, -9223372036854775808.0, 1},
        {holder(ConfConfigUInt2V, UINT64_MAX), -1, UINT64_MAX, 18446744073709551616.0, 1},
        {holder(ConfConfigFloat2V, -2.9), -2, 0, -2.9, 1},
        {holder(ConfConfigFloat2V, 1e19), INT64_MAX, 10000000000000000000ULL, 1e19, 1},
        {holder(ConfConfigFloat2V, kInfinity), INT64_MAX, UINT64_MAX, kInfinity, 1},
        {holder(ConfConfigFloat2V, -kInfinity), INT64_MIN, 0, -kInfinity, 1},
        {holder(ConfConfigFloat2V, std::nan("")), 0, 0, std::nan(""), 1},
        {holder(ConfConfigBool2V, 0x100U), 0, 0, 0.0, 0},
        {holder(ConfConfigStr2V, "-12.5x"), -12, static_cast<uint64_t>(-12), -12.5, 0},
        {holder(ConfConfigStr2V, "18446744073709551615"), INT64_MAX, UINT64_MAX, 18446744073709551615.0, 1},
        {holder(ConfConfigStr2V, "TRUE"), 0, 0, 0.0, 1},
        {holder(ConfConfigStr2V, "tomorrow"), 0, 0, 0.0, 1},
        {holder(ConfConfigStr2V, " 1"), 1, 1, 1.0, 0},
        {holder(ConfConfigStr2V, "yes"), 0, 0, 0.0, 0},
        {holder(ConfConfigStr2V, "256"), 256, 256, 256.0, 0},
        {ConfConfigValue{CONF_CONFIG_TYPE_STR, {}, 1}, 0, 0, 0.0, 0},
        {ConfConfigValue{CONF_CONFIG_TYPE_DATA, {5}, 4}, 0, 0, 0.0, 0},
        {holder(ConfConfigStr2V, ""), 0, 0, 0.0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        EXPECT_THAT(takeLogs(), IsEmpty()); // only the last is told
        EXPECT_EQ(ConfConfigV2Int(&row.value), row.asInt);
        EXPECT_EQ(ConfConfigV2UInt(&row.value), row.asUInt);
        EXPECT_THAT(ConfConfigV2Float(&row.value), NanSensitiveDoubleEq(row.asFloat));
        EXPECT_EQ(ConfConfigV2Bool(&row.value), row.asBool);
    }
    uint8_t variable = 7;
    EXPECT_EQ(ConfConfigInt2D(&std::end(rows)[-1].value, &variable, 3), CONF_CONFIG_FAILED);
    EXPECT_THAT(takeLogs("ConfConfigV2Int"), ElementsAre("sscanf_s fail 1", "1 [ConfConfigV2UInt]sscanf_s fail 1",
                                                         "1 [ConfConfigV2Float]sscanf_s fail 1",
                                                         "sscanf_s fail 1")); // read before the width is looked at
    EXPECT_EQ(ConfConfigV2Int(nullptr), -1);
    EXPECT_EQ(ConfConfigV2UInt(nullptr), UINT64_MAX);
    EXPECT_EQ(ConfConfigV2Float(nullptr), 0.0);
}

TEST_F(ConfigValue, NullAndUnknownWidthsAndTypesAreRefusedAndNothingIsWritten) {
    const ConfConfigValue one = holder(ConfConfigInt2V, 1);
    std::string memory(32, 'Z');
    ConfConfigValue read = one;
    for (uint32_t type = 0; type < 8; ++type) {
        const bool hasWidths = type != CONF_CONFIG_TYPE_STR && type != CONF_CONFIG_TYPE_DATA;
        void* const wherever = hasWidths ? memory.data() : nullptr;
        EXPECT_THAT(
            Codes({ConfConfigV2DByType(nullptr, memory.data(), 4, type), ConfConfigV2DByType(&one, nullptr, 4, type),
                   ConfConfigV2DByType(&one, wherever, 3, type), ConfConfigV2DByType(&one, wherever, 16, type),
                   ConfConfigD2VByType(nullptr, memory.data(), 4, type), ConfConfigD2VByType(&read, nullptr, 4, type),
                   ConfConfigD2VByType(&read, wherever, 3, type)}),
            Each(CONF_CONFIG_FAILED))
            << type;
    }
    EXPECT_THAT(Codes({ConfConfigV2Str(nullptr, memory.data(), 8), ConfConfigV2Str(&one, nullptr, 8),
                       ConfConfigCheckStr(nullptr, memory.data(), 8), ConfConfigCheckStr(&one, nullptr, 8),
                       ConfConfigInt2D(nullptr, memory.data(), 1), ConfConfigInt2D(&one, nullptr, 1)}),
                Each(CONF_CONFIG_FAILED));
    EXPECT_EQ(ConfConfigV2Bool(nullptr), 0U);
    EXPECT_EQ(memory, std::string(32, 'Z'));
    EXPECT_EQ(read.value.asInt, 1);
}

TEST_F(ConfigValue, HoldersAreRenderedWholeOrRefused) {
    const struct {
        ConfConfigValue value;
        const char* text;
    } rows[] = {
        {holder(ConfConfigInt2V, INT64_MIN), "-9223372036854775808"},
        {holder(ConfConfigUInt2V, UINT64_MAX), "18446744073709551615"},
        {holder(ConfConfigFloat2V, 2.0), "2.000000"},
        {holder(ConfConfigBool2V, 1U), "TRUE"},
        {holder(ConfConfigBool2V, 0U), "FALSE"},
        {holder(ConfConfigStr2V, "a b"), "a b"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const auto length = static_cast<uint32_t>(std::strlen(row.text));
        char buffer[64];
        EXPECT_EQ(ConfConfigV2Str(&row.value, buffer, length + 1), 0U);
        EXPECT_STREQ(buffer, row.text);
        EXPECT_NE(ConfConfigV2Str(&row.value, buffer, length), 0U);
        EXPECT_NE(ConfConfigCheckStr(&row.value, buffer, length), 0U);
    }
    const uint8_t bytes[] = {1, 0, 2};
    uint8_t target[3] = {};
    ConfConfigValue data = {};
    ASSERT_EQ(ConfConfigD2VByType(&data, bytes, sizeof bytes, CONF_CONFIG_TYPE_DATA), 0U);
    char text[8];
    EXPECT_THAT(
        Codes({ConfConfigV2Str(&data, text, sizeof text), ConfConfigV2DByType(&data, target, 2, CONF_CONFIG_TYPE_DATA),
               ConfConfigV2DByType(&data, target, 3, CONF_CONFIG_TYPE_DATA)}),
        ElementsAre(CONF_CONFIG_FAILED, CONF_CONFIG_FAILED, 0));
    EXPECT_THAT(target, ElementsAre(1, 0, 2));
}

TEST_F(ConfigValue, TextVariablesChangeOnlyForAnotherTextWithoutRegardToCase) {
    char buffer[2000] = "abc";
    const auto write = [&](const ConfConfigValue& value, uint32_t size) {
        return ConfConfigV2DByType(&value, buffer, size, CONF_CONFIG_TYPE_STR);
    };
    const ConfConfigValue upper = holder(ConfConfigStr2V, "ABC");
    EXPECT_EQ(write(upper, 8), CONF_CONFIG_UNCHANGED);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(write(upper, 3), CONF_CONFIG_FAILED); // no text to compare with, without a NUL
    EXPECT_EQ(write(holder(ConfConfigInt2V, 12), 3), 0U);
    EXPECT_STREQ(buffer, "12");
    const std::string compared(1023, 'x');
    const ConfConfigValue comparedText = holder(ConfConfigStr2V, compared.c_str());
    EXPECT_THAT(Codes({write(comparedText, sizeof buffer), write(comparedText, sizeof buffer)}),
                ElementsAre(0, CONF_CONFIG_UNCHANGED));
    // Beyond what is compared, a text is written each time.
    const std::string text(1024, 'x');
    const ConfConfigValue longText = holder(ConfConfigStr2V, text.c_str());
    EXPECT_THAT(Codes({write(longText, sizeof buffer), write(longText, sizeof buffer)}), Each(0));
    EXPECT_EQ(buffer, text);
    EXPECT_THAT(Codes({ConfConfigStrEqual(nullptr, ""), ConfConfigStrEqual(nullptr, nullptr),
                       ConfConfigStrEqual("Key", "kEY"), ConfConfigStrEqual("Key", nullptr)}),
                ElementsAre(1, 1, 1, 0));
}

} // namespace
} // namespace tarn::test
