#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

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
    static Tree newObject() { return {cJSON_CreateObject(), cJSON_Delete}; }

    Tree object = parse(R"({"A":1,"o":{},"a2":[1,2],"s":"text","t":true,"f":false,"n":null,"d":1,"d":2,"m":{"x":1}})");
    cJSON* const root = object.get();
    cJSON* const array = cJSON_GetObjectItem(root, "a2");
};

ConfJsonItem number(const char* key, double value) {
    return {CONF_JSON_TYPE_NUMBER, key, {.number = value}};
}

ConfJsonItem string(const char* key, const char* value) {
    return {CONF_JSON_TYPE_STRING, key, {.string = value}};
}

ConfJsonItem boolean(const char* key, unsigned char firstByte) {
    ConfJsonItem item{CONF_JSON_TYPE_BOOL, key, {}};
    std::memset(&item.number, 0, sizeof item.number);
    std::memcpy(&item.number, &firstByte, 1);
    return item;
}

TEST_F(Json, ParsesOrSaysWhyNot) {
    const Tree tree(ConfJsonParse("{\"a\":1}"), cJSON_Delete);
    EXPECT_NE(tree, nullptr);
    const std::string tooDeep = std::string(100000, '[') + std::string(100000, ']');
    EXPECT_THAT(Pointers({ConfJsonParse(nullptr), ConfJsonParse("{"), ConfJsonParse(tooDeep.c_str())}), Each(nullptr));
    const std::string invalid = "ConfJsonParse input is not a valid json string";
    EXPECT_THAT(takeLogs("ConfJsonParse"), ElementsAre("ConfJsonParse null pointer", invalid, invalid));
}

TEST_F(Json, MembersAreFoundByTheirType) {
    EXPECT_NE(ConfJsonGetObject(root, "o"), nullptr);
    EXPECT_EQ(ConfJsonGetObject(root, "s"), nullptr);
    EXPECT_EQ(ConfJsonGetArray(root, "a2"), array);
    EXPECT_EQ(ConfJsonGetArraySize(array), 2);
    EXPECT_EQ(ConfJsonGetArraySize(root) + ConfJsonGetArraySize(nullptr), 0);
    EXPECT_EQ(ConfJsonFindItem(root, "d")->valueint, 1); // the first of two
    EXPECT_TRUE(ConfJsonIsMember(root, "a"));
    EXPECT_FALSE(ConfJsonIsMember(root, "b"));
    EXPECT_EQ(ConfJsonGetArrayItem(array, 1)->valueint, 2);
    EXPECT_TRUE(ConfJsonGetBool(root, "t", false));
    EXPECT_FALSE(ConfJsonGetBool(root, "f", true));
    EXPECT_EQ(ConfJsonGetString(root, "s", "default"), "text");
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_THAT(Pointers({ConfJsonFindItem(root, "a"), ConfJsonGetArray(root, "s"), ConfJsonGetArrayItem(array, 2),
                          ConfJsonGetArrayItem(array, 0x80000000)}),
                Each(nullptr));
    EXPECT_THAT(takeLogs("ConfJsonGetArrayItem"),
                ElementsAre("1 [ConfJsonFindItem]ConfJsonFindItem root[a] is null",
                            "1 [ConfJsonGetArray]ConfJsonGetArray input root[s] is not a valid json array",
                            "ConfJsonGetArrayItem retrieve root[index] failed",
                            "ConfJsonGetArrayItem retrieve root[index] failed"));
}

TEST_F(Json, LookUpsAnswerTheDefaultAndSayWhy) {
    const struct {
        bool (*answersDefault)(cJSON*, const char*);
        std::string name;
        const char* otherRoot;
        const char* otherType = nullptr;
    } lookUps[] = {
        {[](cJSON* in, const char* key) { return ConfJsonGetObject(in, key) == nullptr; }, "ConfJsonGetObject",
         "input root is not a valid json object"},
        {[](cJSON* in, const char* key) { return ConfJsonGetArray(in, key) == nullptr; }, "ConfJsonGetArray",
         "input root is not a valid json object"},
        {[](cJSON* in, const char* key) { return ConfJsonFindItem(in, key) == nullptr; }, "ConfJsonFindItem",
         "input root is not a valid json object"},
        {[](cJSON* in, const char* key) { return !ConfJsonIsMember(in, key); }, "ConfJsonIsMember",
         "root is not a valid json object"},
        {[](cJSON* in, const char* key) { return ConfJsonGetBool(in, key, true); }, "ConfJsonGetBool",
         "root is not a valid json object", "item is not a valid json bool"},
        {[](cJSON* in, const char* key) { return ConfJsonGetInt(in, key, 77) == 77; }, "ConfJsonGetInt",
         "root is not a valid json object", "item is not a valid json number"},
        {[](cJSON* in, const char* key) { return ConfJsonGetUInt32(in, key, 77) == 77; }, "ConfJsonGetUInt32",
         "root is not a valid json object", "item is not a valid json number"},
        {[](cJSON* in, const char* key) { return ConfJsonGetUInt64(in, key, 77) == 77; }, "ConfJsonGetUInt64",
         "root is not a valid json object", "item is not a valid json number"},
    };
    for (const auto& [answersDefault, name, otherRoot, otherType] : lookUps) {
        EXPECT_TRUE(answersDefault(nullptr, "a") && answersDefault(array, "a")) << name;
        EXPECT_THAT(takeLogs(name), ElementsAre(name + " null pointer", name + " " + otherRoot));
        if (otherType != nullptr) {
            EXPECT_TRUE(answersDefault(root, nullptr) && answersDefault(root, "o")) << name;
            EXPECT_THAT(takeLogs(name), ElementsAre(name + " " + otherType, name + " " + otherType));
        }
    }
    EXPECT_THAT(Pointers({ConfJsonGetArrayItem(nullptr, 0), ConfJsonGetArrayItem(root, 0)}), Each(nullptr));
    EXPECT_THAT(
        takeLogs("ConfJsonGetArrayItem"),
        ElementsAre("ConfJsonGetArrayItem null pointer", "ConfJsonGetArrayItem input root is not a valid json array"));
    // The texts of this one are shorter.
    EXPECT_THAT(std::vector({ConfJsonGetString(nullptr, "s", "default"), ConfJsonGetString(array, "s", "default"),
                             ConfJsonGetString(root, "o", "default")}),
                Each("default"));
    EXPECT_THAT(takeLogs("ConfJsonGetString"),
                ElementsAre("null pointer", "not a valid json object", "not a valid json string"));
}

TEST_F(Json, NumbersAreCutAndThenTestedForTheirRange) {
    const auto all = [](auto get, std::initializer_list<const char*> texts) {
        std::vector<decltype(get(nullptr, "a", 77))> values;
        for (const char* text : texts) {
            values.push_back(get(parse(std::string("{\"a\":") + text + "}").get(), "a", 77));
        }
        return values;
    };
    EXPECT_THAT(all(ConfJsonGetInt, {"2147483647.9", "-2147483648.9", "-0.0", "-2147483649", "1e400"}),
                ElementsAre(INT32_MAX, INT32_MIN, 0, 77, 77));
    EXPECT_THAT(all(ConfJsonGetUInt32, {"-0.5", "-1", "4294967295.9", "4294967296", "3000000000"}),
                ElementsAre(0, 77, UINT32_MAX, 77, 3000000000));
    EXPECT_THAT(all(ConfJsonGetUInt64, {"9223372036854777856", "18446744073709549568", "18446744073709551616",
                                        "18446744073709555712", "-1"}),
                ElementsAre(9223372036854777856UL, 18446744073709549568UL, 0, 77, 77));
    takeLogs();
    EXPECT_THAT(all(ConfJsonGetInt, {"2147483648"}), ElementsAre(77));
    EXPECT_THAT(all(ConfJsonGetUInt32, {"-1.5"}), ElementsAre(77));
    EXPECT_THAT(all(ConfJsonGetUInt64, {"1e308"}), ElementsAre(77));
    EXPECT_THAT(takeLogs("ConfJsonGetInt"),
                ElementsAre("ConfJsonGetInt retrieved number[2147483648.000000] is out of int ranger",
                            "1 [ConfJsonGetUInt32]ConfJsonGetUInt32 retrieved number[-1.500000] is out of uint32_t "
                            "ranger",
                            EndsWith(".000000] is out of uint64_t ranger")));
    const Tree tree = newObject();
    cJSON_AddNumberToObject(tree.get(), "a", std::nan(""));
    EXPECT_EQ(ConfJsonGetInt(tree.get(), "a", 77), 77);
    EXPECT_EQ(ConfJsonGetUInt64(tree.get(), "a", 77), 77UL);
}

TEST_F(Json, BuilderStopsAtTheFirstItemThatFails) {
    const Tree tree = newObject();
    ConfJsonItem items[] = {number("n", 1.5), boolean("b", 2), string("s", "x"), number("n", 2)};
    EXPECT_EQ(ConfJsonAddMultipleItems(tree.get(), items, 4), 0U);
    const std::unique_ptr<char, decltype(&std::free)> printed(cJSON_PrintUnformatted(tree.get()), std::free);
    EXPECT_STREQ(printed.get(), R"({"n":1.5,"b":true,"s":"x","n":2})");
    EXPECT_EQ(ConfJsonAddMultipleItems(nullptr, items, 1), 1U);
    EXPECT_THAT(takeLogs("ConfJsonAddMultipleItems"), ElementsAre("ConfJsonAddMultipleItems input null pointer"));
    const std::pair<ConfJsonItem, const char*> bad[] = {
        {number(nullptr, 1), "Add number item key:(null) failed"},
        {string("k", nullptr), "Add string item key:k failed"},
        {boolean(nullptr, 1), "Add bool item key:(null) failed"},
        {{0xFFFFFFFF, nullptr, {}}, "Unsupported type:-1 at array index:2"},
    };
    for (const auto& [item, text] : bad) {
        const Tree partial = newObject();
        items[2] = item;
        EXPECT_EQ(ConfJsonAddMultipleItems(partial.get(), items, 4), 1U);
        EXPECT_THAT(takeLogs("ConfJsonAddMultipleItems"), ElementsAre(text));
        EXPECT_EQ(cJSON_GetArraySize(partial.get()), 2) << "what was added stays";
    }
}

TEST_F(Json, SubObjectIsTakenOrMade) {
    const ConfJsonItem items[] = {number("y", 2), {9, "z", {}}};
    for (const auto& [name, x] : {std::pair{"m", 1}, {"made", 0}}) {
        EXPECT_EQ(ConfJsonAddMultipleItemsToSubObject(root, name, items, 1), 0U);
        EXPECT_EQ(ConfJsonGetInt(ConfJsonGetObject(root, name), "x", 0), x);
        EXPECT_EQ(ConfJsonGetInt(ConfJsonGetObject(root, name), "y", 0), 2);
    }
    takeLogs();
    EXPECT_THAT(Codes({ConfJsonAddMultipleItemsToSubObject(root, "M", items, 1),
                       ConfJsonAddMultipleItemsToSubObject(root, "m", items, 2),
                       ConfJsonAddMultipleItemsToSubObject(root, nullptr, items, 1)}),
                Each(1));
    EXPECT_THAT(
        takeLogs("ConfJsonAddMultipleItemsToSubObject"),
        ElementsAre("Can't get or create subObject M",
                    "1 [ConfJsonAddMultipleItems]Unsupported type:9 at array index:1",
                    "Add multiple items to subObject failed", "ConfJsonAddTwoLayerMultipleItems input null pointer"));
}

TEST_F(Json, TextsAreClearedReplacedAndPrinted) {
    std::string text = "secret";
    ConfJsonClearStr(text);
    EXPECT_EQ(text, "******");
    text = "a-b-c";
    ConfJsonReplaceStr(text, "-", "+++");
    ConfJsonReplaceStr(text, "missing", "x");
    EXPECT_EQ(text, "a+++b-c");
    EXPECT_EQ(ConfJsonCreateAndPrintSingleNumber(text, "k", -0.5), 0U);
    EXPECT_EQ(text, "{\n\t\"k\":\t-0.5\n}");
    EXPECT_EQ(ConfJsonCreateAndPrintSingleString(text, "k", "\"\xC3\xA4\n"), 0U);
    EXPECT_EQ(text, "{\n\t\"k\":\t\"\\\"\xC3\xA4\\n\"\n}");
    const ConfJsonItem items[] = {number("a", 1), boolean("b", 0)};
    EXPECT_EQ(ConfJsonCreateAndPrintMultipleItems(text, items, 2), 0U);
    EXPECT_EQ(text, "{\n\t\"a\":\t1,\n\t\"b\":\tfalse\n}");
    EXPECT_THAT(takeLogs(), IsEmpty());

    text = "before";
    ConfJsonReplaceStr(text, nullptr, "x");
    EXPECT_THAT(Codes({ConfJsonCreateAndPrintSingleNumber(text, nullptr, 1),
                       ConfJsonCreateAndPrintSingleString(text, "k", nullptr),
                       ConfJsonCreateAndPrintMultipleItems(text, nullptr, 0)}),
                Each(1));
    EXPECT_THAT(takeLogs("ConfJsonCreateAndPrintMultipleItems"),
                ElementsAre("1 [ConfJsonReplaceStr]CallJson::ReplaceStr null point",
                            "1 [ConfJsonCreateAndPrintSingleNumber]Add number item key:(null) failed",
                            "1 [ConfJsonCreateAndPrintSingleString]Add number item key:k failed",
                            "ConfJsonCreateAndPrintMultipleItems input null pointer"));
    EXPECT_EQ(text, "before");
}

} // namespace
} // namespace tarn::test
