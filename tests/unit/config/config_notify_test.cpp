#include <algorithm>
#include <cstring>
#include <random>

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
    // An item that cannot be copied does not keep the callbacks from being called.
    calls().clear();
    platform.failNth("memcpy_s", 1);
    notify({{"Conf.one", "1"}, {"Conf.two", "2"}});
    EXPECT_THAT(calls(), ElementsAre(CallbackCall{7, {{"", ""}}}, CallbackCall{3, {{"Conf.two", "2"}}}));
    EXPECT_EQ(logsWith("[ConfConfigDealCallBackList] ConfConfigDealCallBackList fail\n"), 1U);
    // Without memory for the table of the groups, or for a group, none is.
    for (const size_t n : {2U, 3U}) {
        platform.clearLogs();
        platform.failNth("OsMemMallocSetCharMon", n);
        notify({{"Conf.one", "1"}});
        EXPECT_EQ(logsWith("[ConfConfigDealCallBackList] ConfConfigDealCallBackList malloc fail\n"), 1U);
    }
    EXPECT_THAT(calls(), SizeIs(2));
}

TEST_F(ConfigNotify, RandomNotificationsFollowTheModelUpToTheLimits) {
    SetLogLevel(CONF_LOG_ERROR);
    std::mt19937 random(7);
    for (const size_t keys : {20U, 400U}) { // keys beyond the callbacks share them
        for (const size_t items : {1U, 500U, 2000U, 9000U}) {
            SCOPED_TRACE(testing::Message() << items << " items over " << keys << " keys");
            calls().clear();
            platform.reset();
            KeyValueTexts changes;
            for (size_t i = 0; i < keys; ++i) {
                bind("Conf.k" + std::to_string(i), callback(i % kCallbacks));
            }
            std::vector<CallbackCall> expected;
            size_t dropped = 0;
            for (size_t i = 0; i < items; ++i) {
                const size_t number = random() % keys;
                changes.emplace_back("Conf.k" + std::to_string(number), std::to_string(i));
                const size_t wanted = number % kCallbacks;
                auto group = std::find_if(expected.begin(), expected.end(),
                                          [&](const CallbackCall& call) { return call.callback == wanted; });
                if (group == expected.end() && expected.size() < 200) {
                    group = expected.insert(group, {wanted, {}});
                }
                if (group == expected.end() || group->items.size() == 255) {
                    ++dropped;
                } else {
                    group->items.push_back(changes.back());
                }
            }
            notify(changes);
            EXPECT_TRUE(calls() == expected);
            EXPECT_EQ(logsWith("dropped key = Conf.k"), dropped);
            EXPECT_EQ(dropped != 0, (keys == 20 && items == 9000) || (keys == 400 && items >= 2000));
        }
    }
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
    for (const auto& [keyLength, valueLength] :
         {std::pair<uint8_t, uint32_t>{128, 3}, {255, 3}, {127, 1024}, {127, 5000}, {127, 0xFFFFFFFF}}) {
        deliver(keyLength, valueLength);
    }
    EXPECT_EQ(logsWith("[ConfConfigClientCallBack]conf secure func failed, err = "), 5U);
    EXPECT_THAT(calls(), IsEmpty());
    deliver(127, 1023);
    deliver(0, 0);
    EXPECT_EQ(logsWith("conf secure func failed"), 5U);
    EXPECT_THAT(calls(), ElementsAre(CallbackCall{2, {{key127, std::string(1023, 'v')}}}, CallbackCall{1, {{"", ""}}}));

    calls().clear();
    platform.clearLogs();
    entry.value = nullptr;
    callBack();
    notification.entries = nullptr;
    callBack();
    ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 0, 0, nullptr);
    ConfConfigClientCallBack(1, 0, 0, nullptr);
    EXPECT_EQ(logsWith("[ConfConfigClientCallBack]Null ptr."), 4U);
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
