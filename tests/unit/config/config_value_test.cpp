#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "tarn_conference/conf_config_value.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const std::string kPadding(16, 'Z');

template <typename Make, typename Plain>
ConfConfigValue holder(Make make, Plain plain) {
    ConfConfigValue value;
    std::memset(&value, 0xA5, sizeof value);
    EXPECT_EQ(make(&value, plain), 0U);
    return value;
}

// A variable of any width inside a larger, unaligned memory whose other bytes must not change.
class Variable {
 public:
    Variable(const void* bytes, uint32_t width) : width_(width) { std::memcpy(address(), bytes, width); }
    void* address() { return memory_.data() + 3; }
    bool holds(const void* bytes) {
        std::string expected = kPadding;
        std::memcpy(expected.data() + 3, bytes, width_);
        return memory_ == expected;
    }

 private:
    uint32_t width_;
    std::string memory_ = kPadding;
};

class ConfigValue : public ScriptedPlatformTest {};

TEST_F(ConfigValue, IntegersOfEveryWidthAreReadAndWritten) {
    const struct {
        uint32_t width;
        uint64_t bits; // of the variable
        int64_t asInt;
        uint64_t asUInt;
        uint64_t tooWide; // a value whose low bytes the variable takes
    } rows[] = {
        {1, 0x80, -128, 128, 300},
        {2, 0x8001, -32767, 32769, 0x12345},
        {4, 0xFFFFFFFF, -1, 0xFFFFFFFF, 0x123456789},
        {8, 1ULL << 63, INT64_MIN, 1ULL << 63, UINT64_MAX},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.width);
        Variable number(&row.bits, row.width);
        ConfConfigValue read = {};
        EXPECT_EQ(ConfConfigD2Int(&read, number.address(), row.width), 0U);
        EXPECT_EQ(read.value.asInt, row.asInt);
        EXPECT_EQ(ConfConfigD2UInt(&read, number.address(), row.width), 0U);
        EXPECT_EQ(static_cast<uint64_t>(read.value.asInt), row.asUInt);
        EXPECT_EQ(ConfConfigD2Bool(&read, number.address(), row.width), 0U);
        EXPECT_EQ(read.value.asBool, 1U);
        const auto write = [&](const ConfConfigValue& value, uint32_t type) {
            return ConfConfigV2DByType(&value, number.address(), row.width, type);
        };
        EXPECT_EQ(write(holder(ConfConfigInt2V, row.asInt), CONF_CONFIG_TYPE_INT), CONF_CONFIG_UNCHANGED);
        EXPECT_EQ(write(holder(ConfConfigUInt2V, row.asUInt), CONF_CONFIG_TYPE_UINT), CONF_CONFIG_UNCHANGED);
        // What does not fit is written again each time.
        for (int time = 0; time < 2; ++time) {
            EXPECT_EQ(write(holder(ConfConfigUInt2V, row.tooWide), CONF_CONFIG_TYPE_UINT), row.width == 8 && time == 1);
            EXPECT_TRUE(number.holds(&row.tooWide));
        }
        const uint64_t one = 1;
        EXPECT_EQ(write(holder(ConfConfigInt2V, int64_t{7}), CONF_CONFIG_TYPE_BOOL), 0U);
        EXPECT_TRUE(number.holds(&one));
        EXPECT_EQ(write(holder(ConfConfigInt2V, int64_t{7}), CONF_CONFIG_TYPE_BOOL), CONF_CONFIG_UNCHANGED);
        EXPECT_EQ(write(holder(ConfConfigInt2V, int64_t{-1}), CONF_CONFIG_TYPE_INT), 0U);
        EXPECT_EQ(write(holder(ConfConfigInt2V, int64_t{-1}), CONF_CONFIG_TYPE_INT), CONF_CONFIG_UNCHANGED);
    }
}

TEST_F(ConfigValue, FloatsCompareAsDoublesAndAreNarrowedWhenStored) {
    const float half = 0.5F;
    const auto tenth = static_cast<float>(0.1);
    Variable narrow(&half, sizeof half);
    ConfConfigValue read = {};
    EXPECT_EQ(ConfConfigD2Float(&read, narrow.address(), sizeof half), 0U);
    EXPECT_EQ(read.value.asFloat, 0.5);
    const auto write = [](Variable& number, uint32_t width, double wanted) {
        const ConfConfigValue value = holder(ConfConfigFloat2V, wanted);
        return ConfConfigV2DByType(&value, number.address(), width, CONF_CONFIG_TYPE_FLOAT);
    };
    EXPECT_EQ(write(narrow, sizeof half, 0.5), CONF_CONFIG_UNCHANGED);
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(write(narrow, sizeof half, 0.1), 0U);
        EXPECT_TRUE(narrow.holds(&tenth));
    }
    const double old = -2.5;
    const double wanted = 0.1;
    Variable wide(&old, sizeof old);
    EXPECT_EQ(write(wide, sizeof old, wanted), 0U);
    EXPECT_TRUE(wide.holds(&wanted));
    EXPECT_EQ(write(wide, sizeof old, wanted), CONF_CONFIG_UNCHANGED);
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
        {holder(ConfConfigBool2V, 0x100U), 0, 0, 0.0, 0},
        {holder(ConfConfigStr2V, "-12.5x"), -12, static_cast<uint64_t>(-12), -12.5, 0},
        {holder(ConfConfigStr2V, "18446744073709551615"), INT64_MAX, UINT64_MAX, 18446744073709551615.0, 1},
        {holder(ConfConfigStr2V, "TRUE"), 0, 0, 0.0, 1},
        {holder(ConfConfigStr2V, "tomorrow"), 0, 0, 0.0, 1},
        {holder(ConfConfigStr2V, " 1"), 1, 1, 1.0, 0},
        {holder(ConfConfigStr2V, "256"), 256, 256, 256.0, 0},
        {ConfConfigValue{CONF_CONFIG_TYPE_STR, {}, 1}, 0, 0, 0.0, 0},
        {ConfConfigValue{CONF_CONFIG_TYPE_DATA, {5}, 4}, 0, 0, 0.0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        EXPECT_EQ(ConfConfigV2Int(&row.value), row.asInt);
        EXPECT_EQ(ConfConfigV2UInt(&row.value), row.asUInt);
        EXPECT_EQ(ConfConfigV2Float(&row.value), row.asFloat);
        EXPECT_EQ(ConfConfigV2Bool(&row.value), row.asBool);
    }
    const ConfConfigValue notANumber = holder(ConfConfigFloat2V, std::nan(""));
    EXPECT_EQ(ConfConfigV2Int(&notANumber), 0);
    EXPECT_EQ(ConfConfigV2UInt(&notANumber), 0U);
    EXPECT_EQ(ConfConfigV2Bool(&notANumber), 1U);
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(ConfConfigV2Int(nullptr), -1);
    EXPECT_EQ(ConfConfigV2UInt(nullptr), UINT64_MAX);
    EXPECT_EQ(ConfConfigV2Float(nullptr), 0.0);
}

TEST_F(ConfigValue, TextThatEndsBeforeANumberIsLoggedUnderTheReadersName) {
    const ConfConfigValue empty = holder(ConfConfigStr2V, "");
    uint8_t variable = 7;
    EXPECT_EQ(ConfConfigV2Int(&empty), 0);
    EXPECT_EQ(ConfConfigInt2D(&empty, &variable, 3), CONF_CONFIG_FAILED); // read before the width is looked at
    EXPECT_THAT(takeLogs("ConfConfigV2Int"), ElementsAre("sscanf_s fail 1", "sscanf_s fail 1"));
}

TEST_F(ConfigValue, NullAndUnknownWidthsAndTypesAreRefusedAndNothingIsWritten) {
    const ConfConfigValue one = holder(ConfConfigInt2V, 1);
    std::string memory(32, 'Z');
    ConfConfigValue read = one;
    const auto refused = [&](const ConfConfigValue* from, ConfConfigValue* to, void* variable, uint32_t width,
                             uint32_t type) {
        EXPECT_EQ(ConfConfigV2DByType(from, variable, width, type), CONF_CONFIG_FAILED) << type;
        EXPECT_EQ(ConfConfigD2VByType(to, variable, width, type), CONF_CONFIG_FAILED) << type;
    };
    for (uint32_t type = 0; type < 8; ++type) {
        refused(nullptr, nullptr, memory.data(), 4, type);
        refused(&one, &read, nullptr, 4, type);
        if (type != CONF_CONFIG_TYPE_STR && type != CONF_CONFIG_TYPE_DATA) {
            refused(&one, &read, memory.data(), 3, type);
            refused(&one, &read, memory.data(), 16, type);
        }
    }
    EXPECT_THAT(Codes({ConfConfigFloat2D(&one, memory.data(), 2), ConfConfigCheckStr(&one, nullptr, 4),
                       ConfConfigStr2V(&read, nullptr), ConfConfigData2V(&read, nullptr, 4)}),
                Each(CONF_CONFIG_FAILED));
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
    EXPECT_EQ(ConfConfigV2Str(&data, text, sizeof text), CONF_CONFIG_FAILED);
    EXPECT_EQ(ConfConfigV2DByType(&data, target, 2, CONF_CONFIG_TYPE_DATA), CONF_CONFIG_FAILED);
    EXPECT_EQ(ConfConfigV2DByType(&data, target, 3, CONF_CONFIG_TYPE_DATA), 0U);
    EXPECT_THAT(target, ElementsAre(1, 0, 2));
}

TEST_F(ConfigValue, TextVariablesChangeOnlyForAnotherTextWithoutRegardToCase) {
    char buffer[2000] = "abc";
    const ConfConfigValue upper = holder(ConfConfigStr2V, "ABC");
    EXPECT_EQ(ConfConfigV2DByType(&upper, buffer, 8, CONF_CONFIG_TYPE_STR), CONF_CONFIG_UNCHANGED);
    EXPECT_STREQ(buffer, "abc");
    // A buffer without a NUL holds no text to compare with.
    EXPECT_EQ(ConfConfigCheckStr(&upper, buffer, 3), CONF_CONFIG_FAILED);
    const ConfConfigValue number = holder(ConfConfigInt2V, 12);
    EXPECT_EQ(ConfConfigCheckStr(&number, buffer, 3), 0U);
    EXPECT_STREQ(buffer, "12");
    // Beyond what is compared, a text is written each time.
    const std::string text(1024, 'x');
    const ConfConfigValue longText = holder(ConfConfigStr2V, text.c_str());
    EXPECT_EQ(ConfConfigCheckStr(&longText, buffer, sizeof buffer), 0U);
    EXPECT_EQ(ConfConfigCheckStr(&longText, buffer, sizeof buffer), 0U);
    EXPECT_EQ(buffer, text);

    EXPECT_THAT(Codes({ConfConfigStrEqual(nullptr, ""), ConfConfigStrEqual(nullptr, nullptr),
                       ConfConfigStrEqual("Key", "kEY"), ConfConfigStrEqual("Key", nullptr)}),
                ElementsAre(1, 1, 1, 0));
}

} // namespace
} // namespace tarn::test
