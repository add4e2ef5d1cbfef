// JSON texts: what was read is looked up and printed, and what was printed reads the same.
#include <cjson/cJSON.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>

#include "input.h"
#include "scripted_run.h"
#include "tarn_conference/conf_json.h"

namespace {

using tarn::fuzz::Text;

struct FreeTree {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using Tree = std::unique_ptr<cJSON, FreeTree>;

std::string print(const cJSON* tree) {
    const std::unique_ptr<char, void (*)(void*)> text(cJSON_PrintUnformatted(tree), cJSON_free);
    FUZZ_CHECK(text != nullptr);
    return text.get();
}

void checkNumbers(cJSON* object, const cJSON& member) {
    const double number = member.valuedouble;
    const bool isInt = number > -2147483649.0 && number < 2147483648.0;
    const bool isUInt = number > -1.0 && number < 4294967296.0;
    FUZZ_CHECK(ConfJsonGetInt(object, member.string, 77) == (isInt ? static_cast<int>(number) : 77));
    FUZZ_CHECK(ConfJsonGetUInt32(object, member.string, 77) == (isUInt ? static_cast<unsigned int>(number) : 77));
    const unsigned long wide = ConfJsonGetUInt64(object, member.string, 77);
    FUZZ_CHECK(!(number > -1.0 && number < 0x1p63) || wide == static_cast<unsigned long>(number));
    FUZZ_CHECK(!(number <= -1.0) || wide == 77);
}

// Each look-up by a member's name, of whatever type, agrees with the first member of that name.
void checkMember(cJSON* object, const char* key) {
    cJSON* const member = ConfJsonFindItem(object, key);
    FUZZ_CHECK(member != nullptr);
    FUZZ_CHECK(ConfJsonIsMember(object, key));
    FUZZ_CHECK(ConfJsonGetObject(object, key) == (cJSON_IsObject(member) ? member : nullptr));
    FUZZ_CHECK(ConfJsonGetArray(object, key) == (cJSON_IsArray(member) ? member : nullptr));
    FUZZ_CHECK(ConfJsonGetBool(object, key, true) == !cJSON_IsFalse(member));
    FUZZ_CHECK(ConfJsonGetBool(object, key, false) == static_cast<bool>(cJSON_IsTrue(member)));
    const std::string text = ConfJsonGetString(object, key, "none");
    FUZZ_CHECK(text == (cJSON_IsString(member) ? member->valuestring : "none"));
    if (cJSON_IsNumber(member)) {
        checkNumbers(object, *member);
    } else {
        FUZZ_CHECK(ConfJsonGetInt(object, key, 77) == 77);
        FUZZ_CHECK(ConfJsonGetUInt32(object, key, 77) == 77);
        FUZZ_CHECK(ConfJsonGetUInt64(object, key, 77) == 77);
    }
}

void walk(cJSON* tree, int depth) {
    const int size = ConfJsonGetArraySize(tree);
    FUZZ_CHECK(size == (cJSON_IsArray(tree) ? cJSON_GetArraySize(tree) : 0));
    FUZZ_CHECK(ConfJsonGetArrayItem(tree, static_cast<unsigned int>(size)) == nullptr);
    unsigned int index = 0;
    for (cJSON* child = tree->child; child != nullptr; child = child->next, ++index) {
        if (cJSON_IsObject(tree)) {
            checkMember(tree, child->string);
        } else if (index < 50) {
            FUZZ_CHECK(ConfJsonGetArrayItem(tree, index) == child);
        }
        if (depth < 20) {
            walk(child, depth + 1);
        }
    }
}

// Members out of the tree, put into a new object, come out of it again.
void rebuild(const cJSON* tree) {
    std::vector<ConfJsonItem> items;
    for (const cJSON* child = tree->child; child != nullptr && items.size() < 50; child = child->next) {
        ConfJsonItem item = {};
        item.key = child->string == nullptr ? "element" : child->string;
        item.type = CONF_JSON_TYPE_NUMBER;
        item.number = child->valuedouble;
        if (cJSON_IsString(child)) {
            item.type = CONF_JSON_TYPE_STRING;
            item.string = child->valuestring;
        } else if (cJSON_IsBool(child)) {
            item.type = CONF_JSON_TYPE_BOOL;
            item.boolean = cJSON_IsTrue(child) != 0;
        }
        items.push_back(item);
    }
    const auto count = static_cast<unsigned int>(items.size());
    std::string text;
    FUZZ_CHECK(ConfJsonCreateAndPrintMultipleItems(text, items.data(), count) == (items.data() == nullptr ? 1U : 0U));
    const Tree built(items.empty() ? nullptr : ConfJsonParse(text.c_str()));
    FUZZ_CHECK(items.empty() || (built != nullptr && cJSON_GetArraySize(built.get()) == static_cast<int>(count)));
    const cJSON* read = built == nullptr ? nullptr : built->child;
    for (const ConfJsonItem& item : items) {
        FUZZ_CHECK(std::string(read->string) == item.key);
        FUZZ_CHECK(item.type != CONF_JSON_TYPE_STRING || std::string(read->valuestring) == item.string);
        FUZZ_CHECK(item.type != CONF_JSON_TYPE_BOOL || (cJSON_IsTrue(read) != 0) == item.boolean);
        FUZZ_CHECK(item.type != CONF_JSON_TYPE_NUMBER || !std::isfinite(item.number) || cJSON_IsNumber(read));
        read = read->next;
    }
}

void replaceAndClear(const char* text) {
    std::string copy = text;
    const std::string from(copy.substr(0, 2));
    ConfJsonReplaceStr(copy, from.c_str(), "--->");
    FUZZ_CHECK(copy == "--->" + std::string(text).substr(from.size()));
    ConfJsonClearStr(copy);
    FUZZ_CHECK(copy.find_first_not_of('*') == std::string::npos);
}

void fuzzJson(std::span<const uint8_t> bytes) {
    const tarn::fuzz::ScriptedRun run;
    const Text text(tarn::fuzz::asText(bytes));
    replaceAndClear(text.get());
    const Tree tree(ConfJsonParse(text.get()));
    if (tree == nullptr) {
        return;
    }
    walk(tree.get(), 0);
    rebuild(tree.get());
    const std::string printed = print(tree.get());
    const Tree again(ConfJsonParse(printed.c_str()));
    FUZZ_CHECK(again != nullptr);
    FUZZ_CHECK(print(again.get()) == printed);
}

const tarn::fuzz::Target target("json", fuzzJson);

} // namespace
