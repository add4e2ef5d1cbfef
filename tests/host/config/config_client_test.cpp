// Reading and writing as a client: what is refused, what is kept.
#include "config/config_support.h"

namespace {

using namespace config_test;

class ConfigClient : public EmptyConfiguration {};

TEST_F(ConfigClient, NeedsAConnectionAndArguments) {
    expectAll(ENOTCONN, {put("Conf.a", "1"), TarnOmConfigUnInit("Conf"), TarnOmConfigNotifyCallback(remember, "Conf")});
    const Connection connection;
    expectAll(kInvalid, {TarnOmConfigInit(0, nullptr, "Conf"), TarnOmConfigNotifyCallback(nullptr, "Conf"),
                         TarnOmConfigStringGet(nullptr), TarnOmConfigStringMset(nullptr, 1)});
    expectAll(0, {TarnOmConfigStringMget(nullptr, 0), TarnOmConfigStringMset(nullptr, 0)});
}

// The first record is whole; it must not be written without the second.
TEST_F(ConfigClient, WritesAllRecordsOrNone) {
    const Connection connection;
    ConfConfigOmRecord records[] = {recordOf("Conf.first", "1"), {}};
    const auto refuse = [&](const char* what, auto spoil) {
        records[1] = recordOf("Conf.second", "22");
        spoil(records[1]);
        EXPECT_EQ(TarnOmConfigStringMset(records, 2), kInvalid) << what;
    };
    refuse("empty key", [](auto& record) { record = recordOf("", "2"); });
    refuse("value without an end", [](auto& record) { std::memset(record.value.text, 'v', sizeof record.value.text); });
    refuse("length of the key", [](auto& record) { record.key.length = 0xFFFFFFFF; });
    refuse("too short a length", [](auto& record) { record.value.length = 1; });
    refuse("too large a length", [](auto& record) { record.value.length = 3; });
    refuse("key without an end", [](auto& record) { std::memset(record.key.text, 'k', sizeof record.key.text); });
    EXPECT_EQ(held("Conf.first"), std::nullopt);
    expectAll(kInvalid, {TarnOmConfigStringGet(&records[1]), TarnOmConfigStringMget(records, 2),
                         TarnOmConfigStringMset(records, 65537)});
}

TEST_F(ConfigClient, KeepsTextsByteForByte) {
    const Connection connection;
    const Pairs items = {{"Conf.keep.empty", ""},
                         {std::string(127, 'k'), std::string(1023, 'v')},
                         {"Conf.keep.b l a n k", " blanks \t and\nlines "},
                         {"Conf.keep.\x01\xFF", "\xC3\x28 no UTF-8"},
                         {"conf.keep.empty", "of another case"}};
    ASSERT_EQ(putAll(items), 0U);
    EXPECT_EQ(std::filesystem::status(databasePath()).permissions(), std::filesystem::perms{0600});
    EXPECT_EQ(runForked([&] {
                  const Connection own;
                  for (const auto& [key, value] : items) {
                      EXPECT_EQ(held(key), value) << key;
                  }
                  return 0;
              }),
              0);
    // One by one a key that is not held is an error; among several its value is empty.
    ConfConfigOmRecord records[] = {recordOf("Conf.keep.none", "old"), recordOf(items[1].first), {}};
    EXPECT_EQ(TarnOmConfigStringGet(records), uint32_t{ENOENT});
    EXPECT_STREQ(records[0].value.text, "old");
    EXPECT_EQ(TarnOmConfigStringMget(records, 3), 0U);
    EXPECT_STREQ(records[0].value.text, "");
    EXPECT_EQ(records[0].value.length, 0U);
    EXPECT_EQ(records[1].value.text, items[1].second);
    EXPECT_EQ(records[1].value.length, 1023U);
}

TEST_F(ConfigClient, CopiesOnlyTextsThatFit) {
    ConfConfigOmRecord record = recordOf("key", "value");
    expectAll(EMSGSIZE, {TarnOmConfigcopyStr2Key(&record.key, std::string(128, 'k').c_str()),
                         TarnOmConfigcopyStr2Val(&record.value, std::string(1024, 'v').c_str())});
    EXPECT_EQ(TarnOmConfigcopyStr2Val(&record.value, nullptr), kInvalid);
    EXPECT_STREQ(record.key.text, "key");
    EXPECT_STREQ(record.value.text, "value");
    EXPECT_EQ(record.value.length, 5U);

    EXPECT_EQ(TarnOmConfigsetIntValue(&record.value, INT32_MIN), 0U);
    EXPECT_STREQ(record.value.text, "-2147483648");
    EXPECT_EQ(TarnOmConfigsetUintValue(&record.value, UINT64_MAX), 0U);
    EXPECT_STREQ(record.value.text, "18446744073709551615");
    EXPECT_EQ(record.value.length, 20U);
}

} // namespace
