// The library's configuration on the host platform, with a second process that changes it.
#include "tarn_conference/conf_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "config/config_support.h"
#include "tarn_host/host_key.h"

namespace {

using namespace config_test;
using testing::ElementsAre;

int32_t number;
char text[32];
bool isReady;

void follow(ConfConfigKeyValue* items, uint8_t count) {
    std::vector<ConfConfigOmNotifyEntry> entries(count);
    std::vector<ConfConfigOmValue> values(count);
    for (uint8_t i = 0; i < count; ++i) {
        const ConfConfigOmRecord record = recordOf(items[i].key, items[i].value);
        std::memcpy(entries[i].key, record.key.text, sizeof entries[i].key);
        entries[i].keyLength = static_cast<uint8_t>(record.key.length);
        values[i] = record.value;
        entries[i].value = &values[i];
    }
    ConfConfigSetList(items, count, 0);
    ConfConfigOmNotify call = {count, entries.data()};
    remember(OM_CONFIG_MSG_CHANGED, 0, 0, &call);
}

void bindItems() {
    ConfConfigBind("Conf.Lib.number", CONF_CONFIG_TYPE_INT, &number, sizeof number, follow);
    ConfConfigBind("Conf.Lib.text", CONF_CONFIG_TYPE_STR, text, sizeof text, follow);
    ConfConfigBind("Conf.Lib.ready", CONF_CONFIG_TYPE_BOOL, &isReady, sizeof isReady, follow);
}

ConfConfigKeyValue itemOf(const char* key, const char* value) {
    ConfConfigKeyValue item = {};
    std::strncpy(item.key, key, sizeof item.key - 1);
    std::strncpy(item.value, value, sizeof item.value - 1);
    return item;
}

TEST(ConfConfig, FollowsAnotherProcessAndWritesBack) {
    {
        const Connection before;
        ASSERT_EQ(putAll({{"Conf.Lib.number", "7"}, {"Conf.Lib.text", "seven"}}), 0U);
    }
    forget();
    ASSERT_EQ(ConfConfigInit(bindItems, "TarnUIConf", "Conf"), 0U);
    ConfConfigInitOmCfg();
    EXPECT_EQ(number, 7);
    EXPECT_STREQ(text, "seven");

    const pid_t other = startChild([] {
        const Connection own("Other");
        return putAll({{"Conf.Lib.text", "eight"}, {"Conf.Lib.unbound", "x"}, {"Conf.Lib.number", "8"}}) == 0 ? 0 : 1;
    });
    EXPECT_EQ(waitForChild(other), 0);
    EXPECT_THAT(remembered(1), ElementsAre(Pairs{{"Conf.Lib.text", "eight"}, {"Conf.Lib.number", "8"}}));
    EXPECT_EQ(number, 8);

    const ConfConfigKeyValue list[] = {itemOf("Conf.Lib.number", "9"), itemOf("Conf.Lib.ready", "1"),
                                       itemOf("Conf.Lib.text", "eight")};
    EXPECT_EQ(ConfConfigSetList(list, 3, 1), 3);
    EXPECT_EQ(held("Conf.Lib.number"), "9");
    ASSERT_EQ(remembered(2).size(), 2U);
    EXPECT_THAT(remembered(2)[1], testing::UnorderedElementsAre(Pair{"Conf.Lib.number", "9"},
                                                                testing::Pair("Conf.Lib.ready", testing::_)));
    EXPECT_EQ(ConfConfigSetIntValue("Conf.Lib.number", -5), 0U);
    EXPECT_EQ(ConfConfigGetIntValue("Conf.Lib.number"), -5);
    remembered(3);
    EXPECT_EQ(ConfConfigUnInit(), 0U);
    ConfConfigDeInit();
}

} // namespace
