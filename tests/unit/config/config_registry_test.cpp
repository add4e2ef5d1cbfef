
#include "config_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

class ConfigRegistry : public ConfigTest {
 protected:
    void bind(const std::string& key) { ConfConfigBind(key.c_str(), CONF_CONFIG_TYPE_UINT, &variable, 1, callback(0)); }

    // All bound keys with their variables' values, in index order: what a push of everything writes.
    KeyValueTexts boundKeys() {
        takeWritten();
        ConfConfigSyncByKeyToOM("");
        const size_t writes = service.writes.size();
        const KeyValueTexts all = takeWritten();
        EXPECT_EQ(writes, (all.size() + 49) / 50) << "fifty records a write";
        return all;
    }

    uint8_t variable = 3;
};

TEST_F(ConfigRegistry, KeysAreSortedWithoutCaseThroughEveryGrowth) {
    constexpr size_t kKeys = 701;
    SetLogLevel(CONF_LOG_ERROR);
    std::vector<uint32_t> variables(kKeys);
    KeyValueTexts expected(kKeys);
    for (const char* const prefix : {"Conf.A", "CONF.a"}) { // the second binds each again
        for (size_t i = 0; i < kKeys; ++i) {
            const size_t n = i * 7919 % kKeys;
            const std::string number = std::to_string(1000 + n);
            variables[n] = static_cast<uint32_t>(1000 + n);
            ConfConfigBind((prefix + number).c_str(), CONF_CONFIG_TYPE_UINT, &variables[n], sizeof(uint32_t), nullptr);
            expected[n] = {"Conf.A" + number, number};
        }
    }
    EXPECT_EQ(platform.count("OsMemMallocSetCharMon"), 3U); // 300 at first, then 200 more each time
    EXPECT_EQ(boundKeys(), expected);
    for (size_t n = 0; n < kKeys; ++n) {
        const auto item = keyValue("conf.a" + std::to_string(1000 + n), "4000000000");
        ASSERT_EQ(ConfConfigSetList(&item, 1, 0), 1);
        ASSERT_EQ(variables[n], 4000000000U);
    }
}

TEST_F(ConfigRegistry, KeysThatDoNotFitAreLoggedAndLeaveNoTrace) {
    const std::string longest(127, 'k');
    for (const std::string& key : {longest, longest + "k", std::string(), std::string("\xC3\xA4\xFF")}) {
        bind(key);
    }
    ConfConfigBind(nullptr, CONF_CONFIG_TYPE_UINT, &variable, 1, nullptr);
    EXPECT_EQ(logsWith("[ConfConfigAddIndex]conf secure func failed, err = "), 1U);
    EXPECT_THAT(boundKeys(), ElementsAre(Pair("", "3"), Pair(longest, "3"), Pair("\xC3\xA4\xFF", "3")));
}

TEST_F(ConfigRegistry, NothingWorksBeforeInitAndAfterDeInitAndASecondInitStartsAfresh) {
    const auto item = keyValue("Conf.a", "4");
    const char* all = "";
    bind("Conf.a");
    ASSERT_EQ(ConfConfigInit([] {}, "owner", "Conf"), 0U);
    EXPECT_EQ(ConfConfigSetList(&item, 1, 0), 0);
    EXPECT_EQ(logsWith("[ConfConfigSetValue]ConfConfigSetValue CALLCONFIG_NOTFIND\n"), 1U);
    bind("Conf.a");
    ConfConfigDeInit();
    bind("Conf.a");
    EXPECT_EQ(ConfConfigSetList(&item, 1, 1), 0);
    EXPECT_EQ(ConfConfigSyncToOM(&all, 1), CONF_CONFIG_FAILED);
    ConfConfigInitOmCfg();
    notify({{"Conf.a", "4"}});
    EXPECT_THAT(calls(), IsEmpty());
    EXPECT_EQ(variable, 3);
    EXPECT_EQ(ConfConfigInit([] {}, "owner", nullptr), CONF_CONFIG_FAILED);
    EXPECT_EQ(logsWith("[ConfConfigInit]ConfConfigInit invalue param, null pointer!"), 1U);

    // A notification amid the binding finds no key.
    const auto bindAndNotify = [] {
        ConfConfigBind("Conf.a", CONF_CONFIG_TYPE_UINT, nullptr, 1, callback(0));
        notify({{"Conf.a", "4"}});
    };
    ASSERT_EQ(ConfConfigInit(bindAndNotify, "owner", "Conf"), 0U);
    EXPECT_THAT(calls(), IsEmpty());
    notify({{"Conf.a", "4"}});
    EXPECT_THAT(calls(), SizeIs(1));
}

TEST_F(ConfigRegistry, BindingAgainReplacesAllButTheKey) {
    char text[8] = "raw";
    ConfConfigBind("Conf.a", CONF_CONFIG_TYPE_DATA, &variable, 1, nullptr);
    ConfConfigBind("CONF.A", CONF_CONFIG_TYPE_STR, text, sizeof text, callback(0));
    EXPECT_THAT(boundKeys(), ElementsAre(Pair("Conf.a", "raw")));
    const auto item = keyValue("Conf.a", "longer");
    EXPECT_EQ(ConfConfigSetList(&item, 1, 0), 1);
    EXPECT_STREQ(text, "longer");
    notify({{"Conf.a", "x"}});
    EXPECT_THAT(calls(), SizeIs(1));
}

TEST_F(ConfigRegistry, DetachingAndReattachingKeepTheKeys) {
    EXPECT_EQ(service.callback, ConfConfigClientCallBack);
    bind("Conf.a");
    EXPECT_EQ(ConfConfigUnInit() + ConfConfigReInit(), 0U);
    EXPECT_THAT(service.connections, ElementsAre("0 owner/domain", "=domain", "-Conf", "0 TarnUIConf/Conf", "=Conf"));
    EXPECT_THAT(takeLogs(),
                ElementsAre("3 [ConfConfigUnInit]ConfConfigUnInit.", "3 [ConfConfigReInit]ConfConfigReInit."));
    EXPECT_THAT(boundKeys(), ElementsAre(Pair("Conf.a", "3")));
    takeLogs();
    ConfConfigDeInit();
    EXPECT_THAT(takeLogs(), ElementsAre("3 [ConfConfigDeInit]ConfConfigDeInit"));
}

TEST_F(ConfigRegistry, VariablesAreLoadedFromWhatTheServiceHolds) {
    int16_t number = 1;
    char tiny[1] = {'x'};
    char small[2] = {};
    uint8_t absent = 9;
    service.held = {{"Conf.number", "-300"}, {"Conf.tiny", "y"}, {"Conf.small", "y"}};
    ConfConfigBind("Conf.number", CONF_CONFIG_TYPE_INT, &number, sizeof number, callback(0));
    ConfConfigBind("Conf.tiny", CONF_CONFIG_TYPE_STR, tiny, sizeof tiny, callback(0));
    ConfConfigBind("Conf.small", CONF_CONFIG_TYPE_STR, small, sizeof small, callback(0));
    ConfConfigBind("Conf.data", CONF_CONFIG_TYPE_DATA, &absent, sizeof absent, callback(0));
    ConfConfigBind("Conf.absent", CONF_CONFIG_TYPE_UINT, &absent, sizeof absent, callback(0));
    ConfConfigInitOmCfg();
    EXPECT_EQ(number, -300);
    EXPECT_EQ(tiny[0], 'x');
    EXPECT_STREQ(small, "y");
    EXPECT_EQ(absent, 9);
    EXPECT_THAT(takeLogs(), ElementsAre("4 [ConfConfigInitOmCfg]TarnOmConfigStringGet Conf.absent failed!!!\n"));
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(ConfigRegistry, AnIndexThatCannotGrowIsTold) {
    for (size_t i = 0; i < 300; ++i) {
        bind(std::string("k").append(std::to_string(i)));
    }
    platform.reset();
    platform.failNth("OsMemMallocSetCharMon", 1);
    bind("new");
    platform.failNth("memcpy_s", 1);
    bind("new");
    const std::string full = "ConfConfigAddIndex fail g_itemNum == g_itemCache new 300\n";
    EXPECT_THAT(takeLogs("ConfConfigAddIndex"),
                ElementsAre("ConfConfigAddIndex malloc error \n", full, "memcpy error = 400", full));
    EXPECT_EQ(boundKeys().size(), 300U);
}

} // namespace
} // namespace tarn::test
