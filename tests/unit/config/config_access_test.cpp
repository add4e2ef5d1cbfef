#include <array>
#include <cstring>

#include "config_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

constexpr const char* kProtected[] = {
    "Conf.SIPCallParam.sipPwd",  "Conf.H323CallParam.gkPwd",       "Conf.SIPCallParam.sipServerAddr",
    "Conf.H323CallParam.gkAddr", "Conf.H323CallParam.vgAddr",      "Conf.FireWallParam.NatAddr",
    "Conf.ServerParam.addr",     "Conf.ConfParam.DataConfRVXAddr", "Conf.ServerParam.pwd"};

class ConfigAccess : public ConfigTest {
 protected:
    void SetUp() override {
        ConfigTest::SetUp();
        ConfConfigBind("Conf.a.number", CONF_CONFIG_TYPE_INT, &number, sizeof number, nullptr);
        ConfConfigBind("Conf.a.text", CONF_CONFIG_TYPE_STR, text, sizeof text, nullptr);
        ConfConfigBind("Conf.a.raw", CONF_CONFIG_TYPE_DATA, raw, sizeof raw, nullptr);
        ConfConfigBind("Conf.ab.flag", CONF_CONFIG_TYPE_BOOL, &flag, sizeof flag, nullptr);
        ConfConfigBind("Conf.b.rate", CONF_CONFIG_TYPE_FLOAT, &rate, sizeof rate, nullptr);
    }

    int32_t number = 5;
    char text[16] = "one";
    char raw[4] = "raw";
    uint8_t flag = 0;
    double rate = 0.5;
};

TEST_F(ConfigAccess, AListIsAppliedAndOnlyChangesAreWrittenBack) {
    const ConfConfigKeyValue items[] = {
        keyValue("CONF.A.NUMBER", "-7"),     keyValue("", "passed over"),
        keyValue("Conf.a.text", "ONE"),      keyValue("Conf.unbound", "1"),
        keyValue("Conf.ab.flag", "true"),    keyValue("Conf.a.text", std::string(1024, 'x')),
        keyValue(std::string(128, 'k'), "1")};
    EXPECT_EQ(ConfConfigSetList(items, std::size(items), 1), 3);
    EXPECT_EQ(number, -7);
    EXPECT_STREQ(text, "one");
    EXPECT_EQ(flag, 1);
    EXPECT_THAT(service.writes, ElementsAre(ElementsAre(Pair("CONF.A.NUMBER", "-7"), Pair("Conf.ab.flag", "true"))));
    EXPECT_EQ(logsWith("ConfConfigSetValue CALLCONFIG_NOTFIND\n"), 2U);
    EXPECT_EQ(logsWith("[ConfConfigSetList]: invalue input. \n"), 1U);
    EXPECT_EQ(logsWith("[ConfConfigAddOmCfg]key = CONF.A.NUMBER, val = -7", CONF_LOG_INFO), 1U);
    EXPECT_EQ(logsWith("[ConfConfigSyncOmCfg]ConfConfigSyncOmCfg Conf.ab.flag true \n", CONF_LOG_DEBUG), 1U);
    EXPECT_EQ(logsWith("[ConfConfigSetValue]key = Conf.a.text, ret = 1", CONF_LOG_INFO), 1U);

    // Nothing changes now: with write-back that is a failed write, without it is not.
    EXPECT_EQ(ConfConfigSetList(items, 1, 1), -1);
    EXPECT_EQ(ConfConfigSetList(items, 1, 0), 1);

    // The pending batch holds fifty.
    std::vector<ConfConfigKeyValue> numbers;
    for (int i = 100; i < 151; ++i) {
        numbers.push_back(keyValue("Conf.a.number", std::to_string(i)));
    }
    EXPECT_EQ(ConfConfigSetList(numbers.data(), 51, 1), 51);
    EXPECT_THAT(service.writes, ElementsAre(SizeIs(2), SizeIs(50), SizeIs(1)));

    EXPECT_THAT(std::vector({ConfConfigSetList(nullptr, 1, 1), ConfConfigSetList(items, 0, 1)}), Each(0));
    EXPECT_EQ(logsWith("[ConfConfigSetList]: invalue input. \n"), 3U);
}

TEST_F(ConfigAccess, KeysPrefixesAndEverythingArePushedInIndexOrder) {
    const auto pushed = [&](const char* key) {
        const uint32_t result = ConfConfigSyncByKeyToOM(key);
        EXPECT_EQ(result, service.writes.empty() ? CONF_CONFIG_FAILED : 0U);
        return takeWritten();
    };
    EXPECT_THAT(pushed("conf.A."), ElementsAre(Pair("Conf.a.number", "5"), Pair("Conf.a.text", "one")));
    EXPECT_THAT(pushed("Conf.b.rate"), ElementsAre(Pair("Conf.b.rate", "0.500000")));
    EXPECT_THAT(pushed(""), ElementsAre(Pair("Conf.a.number", "5"), Pair("Conf.a.text", "one"),
                                        Pair("Conf.ab.flag", "FALSE"), Pair("Conf.b.rate", "0.500000")));
    for (const char* key : {"Conf.a.raw", "Conf.a", static_cast<const char*>(nullptr)}) {
        EXPECT_THAT(pushed(key), IsEmpty());
    }
    EXPECT_EQ(logsWith("[ConfConfigAddOmCfgByKey]key strlen: 11  key: Con******te", CONF_LOG_INFO), 1U);
    const char* keys[] = {"Conf.b.rate", nullptr, "Conf.ab.", "Conf.b.rate"};
    EXPECT_EQ(ConfConfigSyncToOM(keys, 4), 0U);
    EXPECT_THAT(takeWritten(), ElementsAre(Pair("Conf.b.rate", "0.500000"), Pair("Conf.ab.flag", "FALSE"),
                                           Pair("Conf.b.rate", "0.500000")));
    EXPECT_EQ(ConfConfigSyncToOM(keys, 0), CONF_CONFIG_FAILED);
}

TEST_F(ConfigAccess, ABatchIsWrittenWhenFullAndEmptyWhateverTheServiceSays) {
    std::array<ConfConfigOmRecord, 50> records;
    ConfConfigOmBatch batch = {0, 50, records.data()};
    ConfConfigValue value = {};
    ConfConfigInt2V(&value, 1);
    for (int i = 0; i < 51; ++i) {
        ASSERT_EQ(ConfConfigAddOmCfg("Conf.key", &value, &batch), 0U);
        EXPECT_EQ(service.writes.size(), i < 50 ? 0U : 1U);
    }
    EXPECT_EQ(service.writes[0].size(), 50U);
    EXPECT_EQ(batch.count, 1U);
    platform.failNth("TarnOmConfigStringMset", 1);
    EXPECT_EQ(ConfConfigSyncOmCfg(&batch), CONF_CONFIG_FAILED);
    EXPECT_EQ(logsWith("[ConfConfigSyncOmCfg]:TarnOmConfigStringMset fail, ret = "), 1U);
    EXPECT_EQ(batch.count, 0U);
    EXPECT_EQ(ConfConfigSyncOmCfg(&batch), CONF_CONFIG_FAILED);
    EXPECT_EQ(service.writes.size(), 1U);

    // What cannot be queued whole is not queued.
    const std::string longText(1024, 'x');
    ConfConfigValue tooLong = {};
    ConfConfigStr2V(&tooLong, longText.c_str());
    EXPECT_EQ(ConfConfigAddOmCfg("Conf.key", &tooLong, &batch), CONF_CONFIG_FAILED);
    EXPECT_EQ(takeLogs().back(), "3 [ConfConfigAddOmCfg]ConfConfigAddOmCfg ConfConfigV2Str fail Conf.key\n");
    ConfConfigOmBatch noRoom = {0, 0, records.data()};
    EXPECT_THAT(Codes({ConfConfigAddOmCfg(std::string(128, 'k').c_str(), &value, &batch),
                       ConfConfigAddOmCfg("Conf.key", nullptr, &batch), ConfConfigAddOmCfg("Conf.key", &value, &noRoom),
                       ConfConfigSyncOmCfg(nullptr)}),
                Each(CONF_CONFIG_FAILED));
    EXPECT_EQ(batch.count, 0U);
}

TEST_F(ConfigAccess, ProtectedValuesNeverReachTheLog) {
    constexpr size_t kNumber = std::size(kProtected);
    static char variables[kNumber + 1][32];
    std::vector<ConfConfigKeyValue> items;
    for (size_t i = 0; i < kNumber; ++i) {
        ConfConfigBind(kProtected[i], CONF_CONFIG_TYPE_STR, variables[i], sizeof variables[i], nullptr);
        items.push_back(keyValue(kProtected[i], "SeCrEt"));
    }
    ConfConfigBind("Conf.other", CONF_CONFIG_TYPE_STR, variables[kNumber], sizeof variables[kNumber], nullptr);
    items.push_back(keyValue("Conf.other", "public"));
    ConfConfigSetList(items.data(), static_cast<int32_t>(items.size()), 1);
    ConfConfigSyncByKeyToOM("Conf.");
    EXPECT_EQ(logsWith("SeCrEt", kAnyLevel), 0U);
    EXPECT_EQ(logsWith("[ConfConfigAddOmCfg]key = Conf.ServerParam.pwd", CONF_LOG_INFO), 2U);
    EXPECT_EQ(logsWith("public", kAnyLevel), 4U); // queued and written, twice each
}

} // namespace
} // namespace tarn::test
