// Parameter checks, JSON, digests and the system helpers.
#include <cJSON.h>
#include <openssl/evp.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "failing_heap.h"
#include "scripted_platform.h"
#include "sweep.h"
#include "tarn_conference/conf_digest.h"
#include "tarn_conference/conf_json.h"
#include "tarn_conference/conf_param.h"
#include "tarn_conference/conf_system.h"

namespace tarn::test {

namespace {

constexpr const char* kLong = "a text that does not fit into a string";
cJSON* tree = nullptr;
std::string text;
EVP_MD_CTX* context = nullptr;

const ConfJsonItem* items() {
    static ConfJsonItem made[2] = {{CONF_JSON_TYPE_NUMBER, "n", {}}, {CONF_JSON_TYPE_STRING, "s", {}}};
    made[0].number = 1;
    made[1].string = kLong;
    return made;
}

std::string shownTree() {
    char* const printed = cJSON_PrintUnformatted(tree);
    const std::string shown = printed == nullptr ? "" : printed;
    std::free(printed);
    return shown;
}

Subject plain() {
    Subject subject;
    subject.prepare = [] { std::strcpy(outputs().text(), "  10.1.2.3 "); };
    const auto statistics = [](const char* name, auto call) {
        return op(
            name, [=] { return call(outputs().text(), 1, 2); }, {0, 55}, "what the platform has written stays");
    };
    subject.operations = {
        op("ConfTrim",
           [] {
               ConfTrim(outputs().text());
               return outputs().text() == std::string("10.1.2.3");
           },
           {1, 0}, "the end is trimmed when the beginning cannot be",
           {"[ConfTrimLeft]secure func failed, err = 400!\n"}),
        op("ConfParamCheckValidIp", [] { return ConfParamCheckValidIp("::1"); }, {0, 1, {{"MOSS_Inet_Pton", kEither}}}),
        op("ConfParamCheckIpType", [] { return ConfParamCheckIpType("::1"); }, {10, 1, {{"MOSS_Inet_Pton", kEither}}}),
        op(
            "ConfMemGetMemRec", [] { return ConfMemGetMemRec("f", outputs().text()); }, {0, 55},
            "what the platform has written stays"),
        statistics("ConfMemGetMemStatus", ConfMemGetMemStatus),
        statistics("ConfMemGetMemScan", ConfMemGetMemScan),
        statistics("ConfMemGetMemoryUseMonitor", ConfMemGetMemoryUseMonitor),
    };
    return subject;
}

Subject json() {
    Subject subject;
    subject.prepare = [] {
        tree = cJSON_Parse((std::string(R"({"s":")") + kLong + R"(","o":{}})").c_str());
        text = "before";
    };
    subject.state = [] { return text + shownTree(); };
    subject.finish = [] {
        cJSON_Delete(tree);
        tree = nullptr;
        std::string().swap(text);
    };
    subject.heap = kOperatorNew | kJson;
    constexpr const char* kAdded = "items that were added before stay";
    const auto print = [](const char* name, const char* failed, auto call) {
        return op(name, [=] { return call(); }, {}, nullptr,
                  {std::string(failed), "Create json object failed", "Print to string failed"});
    };
    subject.operations = {
        op("_Z13ConfJsonParsePKc",
           [] {
               cJSON* const parsed = ConfJsonParse(R"({"a":[1,"b"]})");
               cJSON_Delete(parsed);
               return parsed != nullptr;
           },
           {1, 0}, nullptr, {"ConfJsonParse input is not a valid json string"}),
        op("_Z17ConfJsonGetStringP5cJSONPKcNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
           [] { return ConfJsonGetString(tree, "s", "") == kLong; }, {1, 0}, nullptr,
           {"[ConfJsonGetString]out of memory"}),
        op("_Z18ConfJsonReplaceStrRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPKcS7_",
           [] {
               ConfJsonReplaceStr(text, "before", kLong);
               return text == kLong;
           },
           {1, 0}, nullptr, {"[ConfJsonReplaceStr]out of memory"}),
        op("_Z24ConfJsonAddMultipleItemsP5cJSONPK12ConfJsonItemj",
           [] { return ConfJsonAddMultipleItems(tree, items(), 2); }, {}, kAdded,
           {"Add number item key:n failed", "Add string item key:s failed"}),
        op("_Z35ConfJsonAddMultipleItemsToSubObjectP5cJSONPKcPK12ConfJsonItemj",
           [] { return ConfJsonAddMultipleItemsToSubObject(tree, "new", items(), 2); }, {}, kAdded,
           {"Can't get or create subObject new", "Add multiple items to subObject failed"}),
        print("_Z34ConfJsonCreateAndPrintSingleNumberRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPKcd",
              "Add number item key:a rather long key failed",
              [] { return ConfJsonCreateAndPrintSingleNumber(text, "a rather long key", 1); }),
        print("_Z34ConfJsonCreateAndPrintSingleStringRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPKcS7_",
              "Add number item key:s failed", [] { return ConfJsonCreateAndPrintSingleString(text, "s", kLong); }),
        print("_Z35ConfJsonCreateAndPrintMultipleItemsRNSt7__cxx1112basic_stringIcSt11char_"
              "traitsIcESaIcEEEPK12ConfJsonItemj",
              "Add multiple items to json failed",
              [] { return ConfJsonCreateAndPrintMultipleItems(text, items(), 2); }),
    };
    return subject;
}

Subject digests() {
    Subject subject;
    subject.prepare = [] {
        context = nullptr;
        EVP_MD_fetch(nullptr, "none", nullptr); // makes the thread's error queue
        ZOR_CRYPT_digestInit(&context, 1);
    };
    subject.finish = [] { EVP_MD_CTX_free(context); };
    subject.heap = kOpenssl;
    const auto output = [] { return reinterpret_cast<unsigned char*>(outputs().text()); };
    subject.operations = {
        op("ZOR_CRYPT_digest", [=] { return ZOR_CRYPT_digest(1, kLong, 20, output(), nullptr); }, {1, 0}),
        op("ZOR_CRYPT_digestInit",
           [] {
               EVP_MD_CTX* started = nullptr;
               const uint32_t result = ZOR_CRYPT_digestInit(&started, 1);
               EVP_MD_CTX_free(started);
               return result;
           },
           {1, 0}),
        // These take the context with them when they refuse their arguments.
        op("ZOR_CRYPT_digestUpdate",
           [] { return ZOR_CRYPT_digestUpdate(std::exchange(context, nullptr), nullptr, 1); }),
        op("ZOR_CRYPT_digestFinal",
           [] { return ZOR_CRYPT_digestFinal(&context, nullptr, nullptr) + (context != nullptr); }),
    };
    subject.operations[0].keepsHeap = 1; // a context for each success
    return subject;
}

} // namespace

std::vector<Subject> utilSubjects() {
    return {plain(), json(), digests()};
}

} // namespace tarn::test
