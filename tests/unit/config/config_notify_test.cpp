#include <cstring>

#include "config_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

class ConfigNotify : public ConfigTest {
 protected:
    void bind(const std::string& key, ConfConfigChangeCallBack callBack) {
        static uint8_t variable = 0;
        ConfConfigBind(key.c_str(), CONF_CONFIG_TYPE_UINT, &variable, 1, callBack);
    }
};

TEST_F(ConfigNotify, EachCallbackIsCalledOnceWithItsItemsInOrder) {
    bind("Conf.one", callback(7));
    bind("Conf.two", callback(3));
    bind("Conf.three", callback(7));
    bind("Conf.silent", nullptr);
    notify({{"CONF.ONE", "1"}, {"Conf.unbound", "x"}, {"Conf.silent", "y"}, {"Conf.two", ""}, {"Conf.three", "3"}});
    EXPECT_THAT(calls(), ElementsAre(CallbackCall{7, {{"CONF.ONE", "1"}, {"Conf.three", "3"}}},
                                     CallbackCall{3, {{"Conf.two", ""}}}));
    EXPECT_THAT(takeLogs("ConfConfigClientCallBack"),
                ElementsAre("4 [ConfConfigClientCallBack]ConfConfigClientCallBack msgid :0x10000",
                            "4 [ConfConfigClientCallBack]ConfConfigClientCallBack arraySize = 5",
                            HasSubstr("CfgItemCount = 2\n"), HasSubstr("CfgItemCount = 1\n"),
                            "4 [ConfConfigAddCallBackCount]ConfConfigAddCallBackCount CfgItemCount = 1\n",
                            "4 [ConfConfigDealCallBackList]ConfConfigDealCallBackList count = 3"));
}

TEST_F(ConfigNotify, WhatHasNoRoomIsDroppedAndTold) {
    KeyValueTexts changes;
    for (size_t i = 0; i <= 200; ++i) {
        const std::string key = "Conf.k" + std::to_string(i);
        bind(key, callback(i));
        changes.emplace_back(key, "");
    }
    changes.insert(changes.end(), 255, {"Conf.k0", "again"});
    notify(changes);
    ASSERT_EQ(calls().size(), 200U);
    EXPECT_EQ(calls()[0].items.size(), 255U);
    EXPECT_EQ(calls()[199], (CallbackCall{199, {{"Conf.k199", ""}}}));
    const std::string prefix = "[ConfConfigAddCallBackCount]ConfConfigAddCallBackCount more than ";
    EXPECT_EQ(logsWith(prefix + "200 callbacks, dropped key = Conf.k200\n"), 1U);
    EXPECT_EQ(logsWith(prefix + "255 items in group 0, dropped key = Conf.k0\n"), 1U);
}

TEST_F(ConfigNotify, BadNotificationsCallNobody) {
    bind("Conf.key", callback(0));
    bind("", callback(1));
    const std::string key127(127, 'k');
    bind(key127, callback(2));
    ConfConfigOmValue value = {};
    ConfConfigOmNotifyEntry entry = {};
    ConfConfigOmNotify notification = {1, &entry};
    const auto callBack = [&] { ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 0, 0, &notification); };
    const auto deliver = [&](uint8_t keyLength, uint32_t valueLength) {
        std::memset(&entry, 'k', sizeof entry);
        std::memset(&value, 'v', sizeof value);
        entry.keyLength = keyLength;
        entry.value = &value;
        value.length = valueLength;
        callBack();
    };
    deliver(128, 3);
    deliver(255, 3);
    deliver(127, 1024);
    deliver(127, 0xFFFFFFFF);
    EXPECT_EQ(logsWith("[ConfConfigClientCallBack]conf secure func failed, err = "), 4U);
    EXPECT_THAT(calls(), IsEmpty());
    deliver(127, 1023);
    deliver(0, 0);
    EXPECT_THAT(calls(), ElementsAre(CallbackCall{2, {{key127, std::string(1023, 'v')}}}, CallbackCall{1, {{"", ""}}}));

    calls().clear();
    platform.clearLogs();
    entry.value = nullptr;
    callBack();
    notification.entries = nullptr;
    callBack();
    ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 0, 0, nullptr);
    EXPECT_EQ(logsWith("[ConfConfigClientCallBack]Null ptr."), 3U);
    platform.clearLogs();
    ConfConfigClientCallBack(0x10001, 0, 0, &notification);
    EXPECT_THAT(takeLogs(), ElementsAre(HasSubstr("msgid :0x10001")));
    notification = {0xFFFFFFFF, &entry};
    callBack();
    notification.count = 0;
    callBack();
    EXPECT_EQ(logsWith("[ConfConfigClientCallBack]malloc fail\n"), 1U);
    EXPECT_EQ(logsWith("ConfConfigDealCallBackList count = 0", CONF_LOG_DEBUG), 1U);
    EXPECT_THAT(calls(), IsEmpty());
}

} // namespace
} // namespace tarn::test
