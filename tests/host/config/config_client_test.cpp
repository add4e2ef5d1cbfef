// Reading and writing as a client: what is refused, what is kept.
#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>

#include "config/config_support.h"
#include "tarn_host/host_config.h"

namespace {

using namespace config_test;

class ConfigClient : public EmptyConfiguration {};

TEST_F(ConfigClient, RefusesWhatIsNoRecord) {
    EXPECT_EQ(TarnOmConfigInit(0, nullptr, "Conf"), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmConfigInit(0, "test", ""), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(put("Conf.a", "1"), static_cast<uint32_t>(ENOTCONN));
    EXPECT_EQ(TarnOmConfigUnInit("Conf"), static_cast<uint32_t>(ENOTCONN));
    EXPECT_EQ(TarnOmConfigNotifyCallback(remember, "Conf"), static_cast<uint32_t>(ENOTCONN));

    const Connection connection;
    EXPECT_EQ(TarnOmConfigNotifyCallback(nullptr, "Conf"), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmConfigStringGet(nullptr), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmConfigStringMget(nullptr, 1), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmConfigStringMset(nullptr, 1), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmConfigStringMget(nullptr, 0), 0U);
    EXPECT_EQ(TarnOmConfigStringMset(nullptr, 0), 0U);

    // The first record is whole; it must not be written without the second.
    ConfConfigOmRecord records[] = {recordOf("Conf.refused.first", "1"), recordOf("Conf.refused.second", "2")};
    const auto refuse = [&](const char* what, auto spoil) {
        const ConfConfigOmRecord good = records[1];
        spoil(records[1]);
        EXPECT_EQ(TarnOmConfigStringMset(records, 2), static_cast<uint32_t>(EINVAL)) << what;
        records[1] = good;
    };
    refuse("empty key", [](auto& record) { record = recordOf("", "2"); });
    refuse("key without an end", [](auto& record) { memset(record.key.text, 'k', sizeof record.key.text); });
    refuse("value without an end", [](auto& record) { memset(record.value.text, 'v', sizeof record.value.text); });
    refuse("length of the key", [](auto& record) { record.key.length = 0xFFFFFFFF; });
    refuse("length of the value", [](auto& record) { record.value.length = 2; });
    EXPECT_EQ(held("Conf.refused.first"), std::nullopt);
    EXPECT_EQ(TarnOmConfigStringMset(records, 65537), static_cast<uint32_t>(EINVAL));

    memset(records[1].key.text, 'k', sizeof records[1].key.text);
    EXPECT_EQ(TarnOmConfigStringGet(&records[1]), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmConfigStringMget(records, 2), static_cast<uint32_t>(EINVAL));
}

TEST_F(ConfigClient, KeepsTextsByteForByte) {
    const Connection connection;
    const Pairs items = {{"Conf.keep.empty", ""},
                         {std::string(127, 'k'), std::string(1023, 'v')},
                         {"Conf.keep.b l a n k", " blanks \t and\nlines "},
                         {"Conf.keep.\x01\xFF", "\xC3\x28 no UTF-8"},
                         {"Conf.keep.case", "1"},
                         {"conf.keep.case", "2"}};
    ASSERT_EQ(putAll(items), 0U);
    for (const auto& [key, value] : items) {
        EXPECT_EQ(held(key), value) << key;
    }
    // Another process reads the same, and a key that is not held reads as empty.
    const pid_t child = startChild([&] {
        const Connection own;
        ConfConfigOmRecord records[] = {recordOf(items[1].first), recordOf("Conf.keep.none", "old"), {}};
        return TarnOmConfigStringMget(records, 3) == 0 && records[0].value.text == items[1].second &&
                       records[0].value.length == 1023 && records[1].value.text[0] == '\0' &&
                       records[1].value.length == 0
                   ? 0
                   : 1;
    });
    EXPECT_EQ(waitForChild(child), 0);
    ConfConfigOmRecord none = recordOf("Conf.keep.none", "old");
    EXPECT_EQ(TarnOmConfigStringGet(&none), static_cast<uint32_t>(ENOENT));
    EXPECT_STREQ(none.value.text, "old");

    struct stat status = {};
    ASSERT_EQ(stat(databasePath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(ConfigClient, RefusesTextsThatDoNotFit) {
    ConfConfigOmRecord record = recordOf("key", "value");
    EXPECT_EQ(TarnOmConfigcopyStr2Key(&record.key, std::string(128, 'k').c_str()), static_cast<uint32_t>(EMSGSIZE));
    EXPECT_EQ(TarnOmConfigcopyStr2Val(&record.value, std::string(5000, 'v').c_str()), static_cast<uint32_t>(EMSGSIZE));
    EXPECT_EQ(TarnOmConfigcopyStr2Key(nullptr, "k"), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmConfigcopyStr2Val(&record.value, nullptr), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(TarnOmConfigsetIntValue(nullptr, 1), static_cast<uint32_t>(EINVAL));
    EXPECT_STREQ(record.key.text, "key");
    EXPECT_STREQ(record.value.text, "value");
    EXPECT_EQ(record.value.length, 5U);

    EXPECT_EQ(TarnOmConfigsetIntValue(&record.value, INT32_MIN), 0U);
    EXPECT_STREQ(record.value.text, "-2147483648");
    EXPECT_EQ(TarnOmConfigsetUintValue(&record.value, UINT64_MAX), 0U);
    EXPECT_STREQ(record.value.text, "18446744073709551615");
    EXPECT_EQ(record.value.length, 20U);
}

TEST_F(ConfigClient, ListsAndRemovesForTools) {
    const Connection connection;
    ASSERT_EQ(putAll({{"Conf.list.b", "2"}, {"Conf.list.a", "1"}, {"Conf.lisu", "3"}, {"Conf.list.c", "4"}}), 0U);
    EXPECT_EQ(TarnHostConfigRemove("Conf.list.c"), 0U);
    EXPECT_EQ(TarnHostConfigRemove("Conf.list.c"), static_cast<uint32_t>(ENOENT));
    EXPECT_EQ(TarnHostConfigRemove(std::string(128, 'k').c_str()), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(held("Conf.list.c"), std::nullopt);

    Pairs items;
    const auto collect = [](const char* key, const char* value, void* argument) -> uint32_t {
        static_cast<Pairs*>(argument)->emplace_back(key, value);
        return static_cast<Pairs*>(argument)->size() == 2 ? 7 : 0;
    };
    EXPECT_EQ(TarnHostConfigList("Conf.list.", collect, &items), 7U);
    EXPECT_EQ(items, (Pairs{{"Conf.list.a", "1"}, {"Conf.list.b", "2"}}));
    EXPECT_EQ(put("Conf.list.c", "5"), 0U);
    EXPECT_EQ(held("Conf.list.c"), "5");
}

} // namespace
