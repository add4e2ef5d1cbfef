// Binding keys, applying and pushing lists, and the notifications of changes.
#include "config_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

class ConfigRegistry : public ConfigTest {
 protected:
    // Some variables of each kind, beside `variable`.
    void bindAll() {
        ConfConfigBind("Conf.a.number", CONF_CONFIG_TYPE_INT, &number, sizeof number, nullptr);
        ConfConfigBind("Conf.a.text", CONF_CONFIG_TYPE_STR, text, sizeof text, nullptr);
        ConfConfigBind("Conf.a.raw", CONF_CONFIG_TYPE_DATA, raw, sizeof raw, nullptr);
        ConfConfigBind("Conf.ab.flag", CONF_CONFIG_TYPE_BOOL, &flag, sizeof flag, nullptr);
        ConfConfigBind("Conf.b.rate", CONF_CONFIG_TYPE_FLOAT, &rate, sizeof rate, nullptr);
    }
    void bind(const std::string& key, ConfConfigChangeCallBack callBack = callback(0)) {
        ConfConfigBind(key.c_str(), CONF_CONFIG_TYPE_UINT, &variable, 1, callBack);
    }
    static int32_t set(const std::string& key, const std::string& value) {
        const auto item = keyValue(key, value);
        return ConfConfigSetList(&item, 1, 0);
    }

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
    int32_t number = 5;
    char text[16] = "one";
    char raw[4] = "raw";
    uint8_t flag = 0;
    double rate = 0.5;
};

TEST_F(ConfigRegistry, KeysAreSortedWithoutCaseThroughEveryGrowth) {
    constexpr size_t kKeys = 701;
    SetLogLevel(CONF_LOG_ERROR);
    std::vector<uint32_t> variables(kKeys);
    KeyValueTexts expected(kKeys);
    for (const char* const prefix : {"Conf.A", "CONF.a"}) { // the second binds each again
        for (size_t i = 0; i < kKeys; ++i) {
            const size_t n = i * 7919 % kKeys;
            const std::string key = std::to_string(1000 + n);
            variables[n] = static_cast<uint32_t>(1000 + n);
            ConfConfigBind((prefix + key).c_str(), CONF_CONFIG_TYPE_UINT, &variables[n], sizeof(uint32_t), nullptr);
            expected[n] = {"Conf.A" + key, key};
        }
    }
    EXPECT_EQ(platform.count("OsMemMallocSetCharMon"), 3U); // 300 at first, then 200 more each time
    EXPECT_EQ(boundKeys(), expected);
}

TEST_F(ConfigRegistry, KeysThatDoNotFitAreLoggedAndLeaveNoTrace) {
    const std::string longest(127, 'k');
    for (const std::string& key : {longest, longest + "k", std::string(), std::string("\xC3\xA4\xFF")}) {
        bind(key);
    }
    ConfConfigBind(nullptr, CONF_CONFIG_TYPE_UINT, &variable, 1, nullptr);
    EXPECT_THAT(takeLogs("ConfConfigAddIndex"), ElementsAre(StartsWith("conf secure func failed, err = ")));
    EXPECT_THAT(boundKeys(), ElementsAre(Pair("", "3"), Pair(longest, "3"), Pair("\xC3\xA4\xFF", "3")));

    for (size_t i = 3; i < 300; ++i) {
        bind(std::string("l").append(std::to_string(i)));
    }
    platform.reset();
    for (const char* const call : {"OsMemMallocSetCharMon", "memcpy_s"}) { // of the growth
        platform.failNth(call, 1);
        bind("new");
    }
    const std::string full = "ConfConfigAddIndex fail g_itemNum == g_itemCache new 299\n";
    EXPECT_THAT(takeLogs("ConfConfigAddIndex"),
                ElementsAre("ConfConfigAddIndex malloc error \n", full, "memcpy error = 400", full));
    EXPECT_EQ(boundKeys().size(), 300U);
}

TEST_F(ConfigRegistry, NothingWorksBeforeInitAndAfterDeInitAndASecondInitStartsAfresh) {
    bind("Conf.a");
    ASSERT_EQ(ConfConfigInit([] {}, "owner", "Conf"), 0U);
    EXPECT_EQ(set("Conf.a", "4"), 0);
    EXPECT_THAT(takeLogs("ConfConfigSetValue"), ElementsAre("ConfConfigSetValue CALLCONFIG_NOTFIND\n"));
    bind("Conf.a");
    ConfConfigDeInit();
    bind("Conf.a");
    EXPECT_THAT(takeLogs(), ElementsAre("3 [ConfConfigDeInit]ConfConfigDeInit"));
    EXPECT_EQ(set("Conf.a", "4"), 0);
    EXPECT_EQ(ConfConfigSyncByKeyToOM(""), CONF_CONFIG_FAILED);
    ConfConfigInitOmCfg();
    EXPECT_EQ(variable, 3);
    EXPECT_THAT(Codes({ConfConfigInit([] {}, "owner", nullptr), ConfConfigInit([] {}, nullptr, "Conf"),
                       ConfConfigInit(nullptr, "owner", "Conf")}),
                Each(CONF_CONFIG_FAILED));
    EXPECT_THAT(takeLogs("ConfConfigInit"), Contains("ConfConfigInit invalue param, null pointer!").Times(3));

    // A notification amid the binding finds no key.
    const auto bindAndNotify = [] {
        ConfConfigBind("Conf.a", CONF_CONFIG_TYPE_UINT, nullptr, 1, callback(0));
        notify({{"Conf.a", "4"}});
    };
    ASSERT_EQ(ConfConfigInit(bindAndNotify, "owner", "Conf"), 0U);
    EXPECT_THAT(calls, IsEmpty());
    notify({{"Conf.a", "4"}});
    EXPECT_THAT(calls, SizeIs(1));
}

TEST_F(ConfigRegistry, BindingAgainReplacesAllButTheKeyAndReattachingKeepsAll) {
    ConfConfigBind("Conf.a", CONF_CONFIG_TYPE_DATA, &variable, 1, nullptr);
    ConfConfigBind("CONF.A", CONF_CONFIG_TYPE_STR, text, sizeof text, callback(0));
    EXPECT_EQ(service.callback, ConfConfigClientCallBack);
    EXPECT_EQ(ConfConfigUnInit() + ConfConfigReInit(), 0U);
    EXPECT_THAT(service.connections, ElementsAre("0 owner/domain", "=domain", "-Conf", "0 TarnUIConf/Conf", "=Conf"));
    EXPECT_THAT(takeLogs(),
                ElementsAre("3 [ConfConfigUnInit]ConfConfigUnInit.", "3 [ConfConfigReInit]ConfConfigReInit."));
    EXPECT_EQ(set("Conf.a", "longer"), 1);
    EXPECT_THAT(boundKeys(), ElementsAre(Pair("Conf.a", "longer")));
    notify({{"Conf.a", "x"}});
    EXPECT_THAT(calls, SizeIs(1));
}

TEST_F(ConfigRegistry, VariablesAreLoadedFromWhatTheServiceHolds) {
    char tiny[2][2] = {"x", "x"};
    bindAll();
    bind("Conf.byte");
    ConfConfigBind("Conf.tiny", CONF_CONFIG_TYPE_STR, tiny[0], 1, nullptr);
    ConfConfigBind("Conf.small", CONF_CONFIG_TYPE_STR, tiny[1], 2, nullptr);
    service.held = {{"Conf.a.number", "-300"}, {"Conf.a.text", "t"},  {"Conf.b.rate", "-1.5"}, {"Conf.tiny", "y"},
                    {"Conf.small", "y"},       {"Conf.a.raw", "new"}, {"Conf.byte", "9"}};
    ConfConfigInitOmCfg();
    EXPECT_THAT(takeLogs(), ElementsAre("4 [ConfConfigInitOmCfg]TarnOmConfigStringGet Conf.ab.flag failed!!!\n"));
    EXPECT_EQ(number, -300);
    EXPECT_EQ(variable, 9);
    EXPECT_EQ(rate, -1.5);
    EXPECT_THAT(std::vector<std::string>({text, raw, tiny[0], tiny[1]}), ElementsAre("t", "raw", "x", "y"));
}

TEST_F(ConfigRegistry, AListIsAppliedAndOnlyChangesAreWrittenBack) {
    bindAll();
    const std::string refused = "1 [ConfConfigSetList][ConfConfigSetList]: invalue input. \n";
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
    EXPECT_THAT(takeLogs(), AllOf(Contains("1 [ConfConfigSetValue]ConfConfigSetValue CALLCONFIG_NOTFIND\n").Times(2),
                                  Contains(refused).Times(1),
                                  Contains("3 [ConfConfigAddOmCfg]key = CONF.A.NUMBER, val = -7").Times(1),
                                  Contains("4 [ConfConfigSyncOmCfg]ConfConfigSyncOmCfg Conf.ab.flag true \n").Times(1),
                                  Contains("3 [ConfConfigSetValue]key = Conf.a.text, ret = 1").Times(1)));

    EXPECT_EQ(set("Conf.a.text", "sixteen letters.") + set("Conf.a.raw", "data"), 0)
        << "what is not stored is not counted";

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

    takeLogs();
    EXPECT_EQ(ConfConfigSetList(nullptr, 1, 1) + ConfConfigSetList(items, 0, 1), 0);
    EXPECT_THAT(takeLogs(), ElementsAre(refused, refused));
}

TEST_F(ConfigRegistry, KeysPrefixesAndEverythingArePushedInIndexOrder) {
    bindAll();
    const KeyValueTexts all = {
        {"Conf.a.number", "5"}, {"Conf.a.text", "one"}, {"Conf.ab.flag", "FALSE"}, {"Conf.b.rate", "0.500000"}};
    EXPECT_EQ(boundKeys(), all);
    EXPECT_EQ(ConfConfigSyncByKeyToOM("conf.A."), 0U);
    EXPECT_THAT(takeWritten(), ElementsAre(all[0], all[1]));
    for (const char* key : {"Conf.a.raw", "Conf.a", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(ConfConfigSyncByKeyToOM(key), CONF_CONFIG_FAILED);
    }
    takeLogs();
    const char* keys[] = {"Conf.b.rate", nullptr, "Conf.ab.", "Conf.b.rate"};
    EXPECT_EQ(ConfConfigSyncToOM(keys, 4), 0U);
    EXPECT_THAT(takeLogs(), Contains("3 [ConfConfigAddOmCfgByKey]key strlen: 11  key: Con******te").Times(2));
    EXPECT_EQ(ConfConfigSyncToOM(keys, 0), CONF_CONFIG_FAILED);
    EXPECT_THAT(takeWritten(), ElementsAre(all[3], all[2], all[3]));
}

TEST_F(ConfigRegistry, WhatCannotBeQueuedWholeIsNotQueued) {
    ConfConfigOmRecord record;
    ConfConfigOmBatch batch = {0, 1, &record};
    ConfConfigOmBatch noRoom = {0, 0, &record};
    const std::string longText(1024, 'x');
    ConfConfigValue value = {};
    ConfConfigStr2V(&value, longText.c_str());
    EXPECT_EQ(ConfConfigAddOmCfg("Conf.key", &value, &batch), CONF_CONFIG_FAILED);
    EXPECT_EQ(takeLogs().back(), "3 [ConfConfigAddOmCfg]ConfConfigAddOmCfg ConfConfigV2Str fail Conf.key\n");
    ConfConfigInt2V(&value, 1);
    EXPECT_THAT(Codes({ConfConfigAddOmCfg(std::string(128, 'k').c_str(), &value, &batch),
                       ConfConfigAddOmCfg("Conf.key", nullptr, &batch), ConfConfigAddOmCfg("Conf.key", &value, &noRoom),
                       ConfConfigSyncOmCfg(&batch), ConfConfigSyncOmCfg(nullptr)}),
                Each(CONF_CONFIG_FAILED));
    EXPECT_EQ(ConfConfigAddOmCfg("Conf.key", &value, &batch), 0U);
    EXPECT_THAT(service.writes, IsEmpty());
    platform.failNth("TarnOmConfigStringMset", 1);
    EXPECT_EQ(ConfConfigSyncOmCfg(&batch), CONF_CONFIG_FAILED);
    EXPECT_THAT(takeLogs("ConfConfigSyncOmCfg").back(),
                StartsWith("[ConfConfigSyncOmCfg]:TarnOmConfigStringMset fail, ret = "));
}

TEST_F(ConfigRegistry, ProtectedValuesNeverReachTheLog) {
    std::vector<ConfConfigKeyValue> items = {keyValue("Conf.other", "public")};
    for (const char* const key :
         {"Conf.SIPCallParam.sipPwd", "Conf.H323CallParam.gkPwd", "Conf.SIPCallParam.sipServerAddr",
          "Conf.H323CallParam.gkAddr", "Conf.H323CallParam.vgAddr", "Conf.FireWallParam.NatAddr",
          "Conf.ServerParam.addr", "Conf.ConfParam.DataConfRVXAddr", "Conf.ServerParam.pwd"}) {
        items.push_back(keyValue(key, "SeCrEt"));
    }
    std::vector<std::string> variables(items.size(), std::string(16, '\0'));
    for (size_t i = 0; i < items.size(); ++i) {
        ConfConfigBind(items[i].key, CONF_CONFIG_TYPE_STR, variables[i].data(), 16, nullptr);
    }
    ConfConfigSetList(items.data(), static_cast<int32_t>(items.size()), 1);
    ConfConfigSyncByKeyToOM("Conf.");
    EXPECT_THAT(takeLogs(), AllOf(Not(Contains(HasSubstr("SeCrEt"))),
                                  Contains("3 [ConfConfigAddOmCfg]key = Conf.ServerParam.pwd").Times(2),
                                  Contains(HasSubstr("public")).Times(4))); // queued and written, twice each
}

TEST_F(ConfigRegistry, EachCallbackIsCalledOnceWithItsItemsInOrder) {
    bind("Conf.one", callback(7));
    bind("Conf.two", callback(3));
    bind("Conf.three", callback(7));
    bind("Conf.silent", nullptr);
    notify({{"CONF.ONE", "1"}, {"Conf.unbound", "x"}, {"Conf.silent", "y"}, {"Conf.two", ""}, {"Conf.three", "3"}});
    EXPECT_THAT(calls, ElementsAre(Call(7, {{"CONF.ONE", "1"}, {"Conf.three", "3"}}), Call(3, {{"Conf.two", ""}})));
    EXPECT_THAT(takeLogs(), ElementsAre("4 [ConfConfigClientCallBack]ConfConfigClientCallBack msgid :0x10000",
                                        "4 [ConfConfigClientCallBack]ConfConfigClientCallBack arraySize = 5",
                                        HasSubstr("CfgItemCount = 2\n"), HasSubstr("CfgItemCount = 1\n"),
                                        "4 [ConfConfigAddCallBackCount]ConfConfigAddCallBackCount CfgItemCount = 1\n",
                                        "4 [ConfConfigDealCallBackList]ConfConfigDealCallBackList count = 3"));
}

TEST_F(ConfigRegistry, NotificationsWithoutRoomForAllAreDroppedInPartAndTold) {
    KeyValueTexts changes;
    for (size_t i = 0; i <= 200; ++i) {
        changes.emplace_back("Conf.k" + std::to_string(i), "");
        bind(changes.back().first, callback(i));
    }
    changes.insert(changes.end(), 255, {"Conf.k0", "again"});
    SetLogLevel(CONF_LOG_ERROR);
    notify(changes);
    ASSERT_EQ(calls.size(), 200U);
    EXPECT_EQ(calls[0].second.size(), 255U);
    EXPECT_EQ(calls[199], Call(199, {{"Conf.k199", ""}}));
    const std::string prefix = "ConfConfigAddCallBackCount more than ";
    EXPECT_THAT(takeLogs("ConfConfigAddCallBackCount"),
                ElementsAre(prefix + "200 callbacks, dropped key = Conf.k200\n",
                            prefix + "255 items in group 0, dropped key = Conf.k0\n"));
}

TEST_F(ConfigRegistry, BadNotificationsCallNobody) {
    const std::string longest(127, 'k');
    bind(longest);
    SetLogLevel(CONF_LOG_ERROR);
    notify({{longest, std::string(1024, 'v')}});
    notify({{longest, "v"}, {longest + "k", "v"}});
    ConfConfigOmNotifyEntry entry = {}; // without a value
    ConfConfigOmNotify notifications[] = {{1, nullptr}, {1, &entry}, {0xFFFFFFFF, &entry}, {0, &entry}};
    ConfConfigClientCallBack(0x10001, 0, 0, &notifications[0]); // of something else than a change
    ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 0, 0, nullptr);
    for (ConfConfigOmNotify& notification : notifications) {
        ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 0, 0, &notification);
    }
    const auto unterminated = StartsWith("conf secure func failed, err = ");
    EXPECT_THAT(takeLogs("ConfConfigClientCallBack"),
                ElementsAre(unterminated, unterminated, "Null ptr.", "Null ptr.", "Null ptr.", "malloc fail\n"));
    EXPECT_THAT(calls, IsEmpty());
    notify({{longest, std::string(1023, 'v')}});
    EXPECT_THAT(calls, ElementsAre(Call(0, {{longest, std::string(1023, 'v')}})));
}

} // namespace
} // namespace tarn::test
