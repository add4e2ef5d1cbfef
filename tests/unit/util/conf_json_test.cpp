#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <cJSON.h>

#include "tarn_conference/conf_json.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

class Json : public ScriptedPlatformTest {
 protected:
    using Tree = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

    static Tree parse(const std::string& text) { return {cJSON_Parse(text.c_str()), cJSON_Delete}; }

    // The only record since the last call, an error.
    static std::string onlyLog() {
        const std::vector<std::string> texts = takeLogs();
        const bool isError = texts.size() == 1 && texts[0].starts_with("1 ");
        return isError ? texts[0].substr(2) : "records: " + std::to_string(texts.size());
    }

    Tree object = parse(R"({"A":1,"o":{},"a2":[1,2],"s":"text","t":true,"f":false,"n":null,"d":1,"d":2,"m":{"x":1}})");
};

ConfJsonItem number(const char* key, double value) {
    ConfJsonItem item{CONF_JSON_TYPE_NUMBER, key, {}};
    item.number = value;
    return item;
}

ConfJsonItem string(const char* key, const char* value) {
    ConfJsonItem item{CONF_JSON_TYPE_STRING, key, {}};
    item.string = value;
    return item;
}

ConfJsonItem boolean(const char* key, unsigned char firstByte) {
    ConfJsonItem item{CONF_JSON_TYPE_BOOL, key, {}};
    std::memset(&item.number, 0, sizeof item.number);
    std::memcpy(&item.number, &firstByte, 1);
    return item;
}

TEST_F(Json, ParsesOrSaysWhyNot) {
    Tree tree(ConfJsonParse("{\"a\":1}"), cJSON_Delete);
    EXPECT_NE(tree, nullptr);
    EXPECT_EQ(ConfJsonParse(nullptr), nullptr);
    EXPECT_THAT(takeLogs("ConfJsonParse"), ElementsAre("ConfJsonParse null pointer"));
    const std::string tooDeep = std::string(100000, '[') + std::string(100000, ']');
    for (const std::string& bad : {std::string("{"), tooDeep}) {
        EXPECT_EQ(ConfJsonParse(bad.c_str()), nullptr);
        EXPECT_EQ(onlyLog(), "[ConfJsonParse]ConfJsonParse input is not a valid json string");
    }
}

TEST_F(Json, LooksMembersUp) {
    cJSON* const root = object.get();
    EXPECT_NE(ConfJsonGetObject(root, "o"), nullptr);
    EXPECT_EQ(ConfJsonGetObject(root, "s"), nullptr);
    EXPECT_EQ(ConfJsonGetArraySize(ConfJsonGetArray(root, "a2")), 2);
    EXPECT_EQ(ConfJsonGetArraySize(root) + ConfJsonGetArraySize(nullptr), 0);
    EXPECT_EQ(ConfJsonFindItem(root, "d")->valueint, 1); // the first of two
    EXPECT_TRUE(ConfJsonIsMember(root, "a"));
    EXPECT_FALSE(ConfJsonIsMember(root, "b"));
    cJSON* const array = ConfJsonGetArray(root, "a2");
    EXPECT_EQ(ConfJsonGetArrayItem(array, 1)->valueint, 2);
    EXPECT_THAT(platform.logTexts(), IsEmpty());

    EXPECT_EQ(ConfJsonFindItem(root, "a"), nullptr);
    EXPECT_EQ(onlyLog(), "[ConfJsonFindItem]ConfJsonFindItem root[a] is null");
    EXPECT_EQ(ConfJsonGetArray(root, "s"), nullptr);
    EXPECT_EQ(onlyLog(), "[ConfJsonGetArray]ConfJsonGetArray input root[s] is not a valid json array");
    for (const unsigned int beyond : {2U, 0x80000000U}) {
        EXPECT_EQ(ConfJsonGetArrayItem(array, beyond), nullptr);
        EXPECT_EQ(onlyLog(), "[ConfJsonGetArrayItem]ConfJsonGetArrayItem retrieve root[index] failed");
    }
}

TEST_F(Json, LookUpsRefuseNullAndOtherRoots) {
    using LookUp = cJSON* (*)(cJSON*, const char*);
    const std::pair<LookUp, std::string> lookUps[] = {
        {ConfJsonGetObject, "ConfJsonGetObject"},
        {ConfJsonGetArray, "ConfJsonGetArray"},
        {ConfJsonFindItem, "ConfJsonFindItem"},
        {[](cJSON* root, const char*) { return ConfJsonGetArrayItem(root, 0); }, "ConfJsonGetArrayItem"},
        {[](cJSON* root, const char* key) { return ConfJsonIsMember(root, key) ? root : nullptr; },
         "ConfJsonIsMember"}};
    cJSON* const array = cJSON_GetObjectItem(object.get(), "a2");
    for (const auto& [lookUp, name] : lookUps) {
        const bool byIndex = name == "ConfJsonGetArrayItem";
        EXPECT_EQ(lookUp(nullptr, "a"), nullptr);
        EXPECT_EQ(onlyLog(), "[" + name + "]" + name + " null pointer");
        EXPECT_EQ(lookUp(byIndex ? object.get() : array, "a"), nullptr);
        EXPECT_EQ(onlyLog(), "[" + name + "]" + name + (name == "ConfJsonIsMember" ? "" : " input") +
                                 " root is not a valid json " + (byIndex ? "array" : "object"));
    }
}

TEST_F(Json, GettersAnswerTheDefaultAndSayWhy) {
    using Call = bool (*)(cJSON*, const char*); // whether the default came back
    struct {
        Call call;
        std::string name;
        const char* type; // as its texts name it
    } const getters[] = {
        {[](cJSON* root, const char* key) { return ConfJsonGetBool(root, key, true); }, "ConfJsonGetBool", "bool"},
        {[](cJSON* root, const char* key) { return ConfJsonGetInt(root, key, 77) == 77; }, "ConfJsonGetInt", "number"},
        {[](cJSON* root, const char* key) { return ConfJsonGetUInt32(root, key, 77) == 77; }, "ConfJsonGetUInt32",
         "number"},
        {[](cJSON* root, const char* key) { return ConfJsonGetUInt64(root, key, 77) == 77; }, "ConfJsonGetUInt64",
         "number"},
    };
    cJSON* const array = cJSON_GetObjectItem(object.get(), "a2");
    for (const auto& getter : getters) {
        const std::string prefix = "[" + getter.name + "]" + getter.name;
        EXPECT_TRUE(getter.call(nullptr, "n"));
        EXPECT_EQ(onlyLog(), prefix + " null pointer");
        EXPECT_TRUE(getter.call(array, "n"));
        EXPECT_EQ(onlyLog(), prefix + " root is not a valid json object");
        for (const char* key : {static_cast<const char*>(nullptr), "o"}) {
            EXPECT_TRUE(getter.call(object.get(), key));
            EXPECT_EQ(onlyLog(), prefix + " item is not a valid json " + getter.type);
        }
    }
    // The text's own are shorter.
    EXPECT_EQ(ConfJsonGetString(nullptr, "s", "default"), "default");
    EXPECT_EQ(ConfJsonGetString(array, "s", "default"), "default");
    EXPECT_EQ(ConfJsonGetString(object.get(), "o", "default"), "default");
    EXPECT_THAT(takeLogs("ConfJsonGetString"),
                ElementsAre("null pointer", "not a valid json object", "not a valid json string"));
    EXPECT_TRUE(ConfJsonGetBool(object.get(), "t", false));
    EXPECT_FALSE(ConfJsonGetBool(object.get(), "f", true));
    EXPECT_EQ(ConfJsonGetString(object.get(), "s", "default"), "text");
    EXPECT_THAT(platform.logTexts(), IsEmpty());
}

TEST_F(Json, NumbersAreCutAndThenTestedForTheirRange) {
    const auto member = [](const char* text) { return parse(std::string("{\"a\":") + text + "}"); };
    const auto all = [&](auto get, std::initializer_list<const char*> texts) {
        std::vector<decltype(get(nullptr, "a", 77))> values;
        for (const char* text : texts) {
            values.push_back(get(member(text).get(), "a", 77));
        }
        return values;
    };
    EXPECT_THAT(all(ConfJsonGetInt, {"2147483647.9", "-2147483648.9", "-0.0", "2147483648", "-2147483649", "1e400"}),
                ElementsAre(INT32_MAX, INT32_MIN, 0, 77, 77, 77));
    EXPECT_THAT(all(ConfJsonGetUInt32, {"-0.5", "-1", "4294967295.9", "4294967296", "3000000000"}),
                ElementsAre(0, 77, UINT32_MAX, 77, 3000000000));
    EXPECT_THAT(all(ConfJsonGetUInt64, {"9223372036854777856", "18446744073709549568", "18446744073709551616",
                                        "18446744073709555712", "-1"}),
                ElementsAre(9223372036854777856UL, 18446744073709549568UL, 0, 77, 77));
    platform.clearLogs();
    ConfJsonGetInt(member("2147483648").get(), "a", 0);
    EXPECT_EQ(onlyLog(), "[ConfJsonGetInt]ConfJsonGetInt retrieved number[2147483648.000000] is out of int ranger");
    ConfJsonGetUInt32(member("-1.5").get(), "a", 0);
    EXPECT_EQ(onlyLog(), "[ConfJsonGetUInt32]ConfJsonGetUInt32 retrieved number[-1.500000] is out of uint32_t ranger");
    ConfJsonGetUInt64(member("1e308").get(), "a", 0);
    EXPECT_THAT(onlyLog(), HasSubstr(".000000] is out of uint64_t ranger"));

    const Tree tree(cJSON_CreateObject(), cJSON_Delete);
    cJSON_AddNumberToObject(tree.get(), "a", std::nan(""));
    EXPECT_EQ(ConfJsonGetInt(tree.get(), "a", 77), 77);
    EXPECT_EQ(ConfJsonGetUInt64(tree.get(), "a", 77), 77UL);
}

TEST_F(Json, BuilderStopsAtTheFirstItemThatFails) {
    const Tree tree(cJSON_CreateObject(), cJSON_Delete);
    ConfJsonItem items[] = {number("n", 1.5), boolean("b", 2), string("s", "x"), number("n", 2)};
    EXPECT_EQ(ConfJsonAddMultipleItems(tree.get(), items, 4), 0U);
    const std::unique_ptr<char, decltype(&std::free)> printed(cJSON_PrintUnformatted(tree.get()), std::free);
    EXPECT_STREQ(printed.get(), R"({"n":1.5,"b":true,"s":"x","n":2})");
    EXPECT_EQ(ConfJsonAddMultipleItems(nullptr, items, 1), 1U);
    EXPECT_EQ(onlyLog(), "[ConfJsonAddMultipleItems]ConfJsonAddMultipleItems input null pointer");

    const std::pair<ConfJsonItem, const char*> bad[] = {
        {number(nullptr, 1), "[ConfJsonAddMultipleItems]Add number item key:(null) failed"},
        {string("k", nullptr), "[ConfJsonAddMultipleItems]Add string item key:k failed"},
        {boolean(nullptr, 1), "[ConfJsonAddMultipleItems]Add bool item key:(null) failed"},
        {{0xFFFFFFFF, nullptr, {}}, "[ConfJsonAddMultipleItems]Unsupported type:-1 at array index:2"},
    };
    for (const auto& [item, text] : bad) {
        const Tree partial(cJSON_CreateObject(), cJSON_Delete);
        items[2] = item;
        EXPECT_EQ(ConfJsonAddMultipleItems(partial.get(), items, 4), 1U);
        EXPECT_EQ(onlyLog(), text);
        EXPECT_EQ(cJSON_GetArraySize(partial.get()), 2) << "what was added stays";
    }
}

TEST_F(Json, SubObjectIsTakenOrMade) {
    const ConfJsonItem items[] = {number("y", 2)};
    cJSON* const root = object.get();
    EXPECT_EQ(ConfJsonAddMultipleItemsToSubObject(root, "m", items, 1), 0U);
    EXPECT_EQ(ConfJsonGetInt(ConfJsonGetObject(root, "m"), "x", 0), 1);
    EXPECT_EQ(ConfJsonGetInt(ConfJsonGetObject(root, "m"), "y", 0), 2);
    EXPECT_EQ(ConfJsonAddMultipleItemsToSubObject(root, "made", items, 1), 0U);
    EXPECT_EQ(ConfJsonGetInt(ConfJsonGetObject(root, "made"), "y", 0), 2);

    EXPECT_EQ(ConfJsonAddMultipleItemsToSubObject(root, "M", items, 1), 1U);
    EXPECT_EQ(onlyLog(), "[ConfJsonAddMultipleItemsToSubObject]Can't get or create subObject M");
    const ConfJsonItem bad[] = {{9, "y", {}}};
    EXPECT_EQ(ConfJsonAddMultipleItemsToSubObject(root, "m", bad, 1), 1U);
    EXPECT_THAT(takeLogs("ConfJsonAddMultipleItemsToSubObject"),
                ElementsAre("1 [ConfJsonAddMultipleItems]Unsupported type:9 at array index:0",
                            "Add multiple items to subObject failed"));
    EXPECT_EQ(ConfJsonAddMultipleItemsToSubObject(root, nullptr, items, 1), 1U);
    EXPECT_EQ(onlyLog(), "[ConfJsonAddMultipleItemsToSubObject]ConfJsonAddTwoLayerMultipleItems input null pointer");
}

TEST_F(Json, ClearsAndReplacesText) {
    std::string text = "secret";
    ConfJsonClearStr(text);
    EXPECT_EQ(text, "******");
    text = "a-b-c";
    ConfJsonReplaceStr(text, "-", "+++");
    EXPECT_EQ(text, "a+++b-c");
    ConfJsonReplaceStr(text, "missing", "x");
    EXPECT_EQ(text, "a+++b-c");
    EXPECT_THAT(platform.logTexts(), IsEmpty());
    ConfJsonReplaceStr(text, nullptr, "x");
    EXPECT_EQ(onlyLog(), "[ConfJsonReplaceStr]CallJson::ReplaceStr null point");
}

TEST_F(Json, ShortcutsPrintFormattedText) {
    std::string out;
    EXPECT_EQ(ConfJsonCreateAndPrintSingleNumber(out, "k", -0.5), 0U);
    EXPECT_EQ(out, "{\n\t\"k\":\t-0.5\n}");
    EXPECT_EQ(ConfJsonCreateAndPrintSingleString(out, "k", "\"\xC3\xA4\n"), 0U);
    EXPECT_EQ(out, "{\n\t\"k\":\t\"\\\"\xC3\xA4\\n\"\n}");
    const ConfJsonItem items[] = {number("a", 1), boolean("b", 0)};
    EXPECT_EQ(ConfJsonCreateAndPrintMultipleItems(out, items, 2), 0U);
    EXPECT_EQ(out, "{\n\t\"a\":\t1,\n\t\"b\":\tfalse\n}");

    out = "before";
    EXPECT_THAT(Codes({ConfJsonCreateAndPrintSingleNumber(out, nullptr, 1),
                       ConfJsonCreateAndPrintSingleString(out, "k", nullptr),
                       ConfJsonCreateAndPrintMultipleItems(out, nullptr, 0)}),
                Each(1));
    EXPECT_THAT(takeLogs("ConfJsonCreateAndPrintMultipleItems"),
                ElementsAre("1 [ConfJsonCreateAndPrintSingleNumber]Add number item key:(null) failed",
                            "1 [ConfJsonCreateAndPrintSingleString]Add number item key:k failed",
                            "ConfJsonCreateAndPrintMultipleItems input null pointer"));
    EXPECT_EQ(out, "before");
}

} // namespace
} // namespace tarn::test
