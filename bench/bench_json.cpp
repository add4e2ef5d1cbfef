// JSON getters beside the bare cJSON calls that do the same.
#include <memory>
#include <string>

#include <cJSON.h>

#include "ratio.h"
#include "tarn_conference/conf_json.h"

namespace {

constexpr const char* kRequest =
    R"({"type":3,"site":"meeting room","muted":false,"bandwidth":1920,"protocol":"sip","encrypted":true,)"
    R"("number":"13812345678","duration":7200,"start":1717171717171,"title":"weekly review of the fourth team"})";

cJSON* request() {
    static const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> tree(cJSON_Parse(kRequest), cJSON_Delete);
    return tree.get();
}

// What careful code would write without the helpers.
const cJSON* bareMember(const cJSON* root, const char* key, cJSON_bool (*hasType)(const cJSON*)) {
    if (cJSON_IsObject(root) == 0) {
        return nullptr;
    }
    const cJSON* const item = cJSON_GetObjectItemCaseSensitive(root, key);
    return hasType(item) != 0 ? item : nullptr;
}

void getInt() {
    benchmark::DoNotOptimize(ConfJsonGetInt(request(), "duration", 0));
}

void bareInt() {
    const cJSON* const item = bareMember(request(), "duration", cJSON_IsNumber);
    benchmark::DoNotOptimize(item != nullptr ? static_cast<int>(item->valuedouble) : 0);
}

void getUInt32() {
    benchmark::DoNotOptimize(ConfJsonGetUInt32(request(), "bandwidth", 0));
}

void bareUInt32() {
    const cJSON* const item = bareMember(request(), "bandwidth", cJSON_IsNumber);
    benchmark::DoNotOptimize(item != nullptr ? static_cast<unsigned int>(item->valuedouble) : 0);
}

void getUInt64() {
    benchmark::DoNotOptimize(ConfJsonGetUInt64(request(), "start", 0));
}

void bareUInt64() {
    const cJSON* const item = bareMember(request(), "start", cJSON_IsNumber);
    benchmark::DoNotOptimize(item != nullptr ? static_cast<unsigned long>(item->valuedouble) : 0);
}

void getBool() {
    benchmark::DoNotOptimize(ConfJsonGetBool(request(), "encrypted", false));
}

void bareBool() {
    const cJSON* const item = bareMember(request(), "encrypted", cJSON_IsBool);
    benchmark::DoNotOptimize(item != nullptr && cJSON_IsTrue(item) != 0);
}

void getString() {
    benchmark::DoNotOptimize(ConfJsonGetString(request(), "title", std::string()));
}

void bareString() {
    const cJSON* const item = bareMember(request(), "title", cJSON_IsString);
    benchmark::DoNotOptimize(item != nullptr ? std::string(item->valuestring) : std::string());
}

struct Pair {
    const char* name;
    void (*helper)();
    void (*bare)();
};

constexpr Pair kPairs[] = {{"ConfJsonGetInt", getInt, bareInt},
                           {"ConfJsonGetUInt32", getUInt32, bareUInt32},
                           {"ConfJsonGetUInt64", getUInt64, bareUInt64},
                           {"ConfJsonGetBool", getBool, bareBool},
                           {"ConfJsonGetString", getString, bareString}};

void getter(benchmark::State& state) {
    const Pair& pair = kPairs[state.range(0)];
    for (auto iteration : state) {
        pair.helper();
    }
    state.SetLabel(pair.name);
}
BENCHMARK(getter)->DenseRange(0, std::size(kPairs) - 1);

bool ratios() {
    bool allHold = true;
    for (const Pair& pair : kPairs) {
        const std::string name = std::string(pair.name) + ", to the bare calls";
        allHold &= tarn::bench::holds(name.c_str(), tarn::bench::medianRatio(pair.helper, pair.bare), 1.2);
    }
    return allHold;
}

} // namespace

int main(int argc, char** argv) {
    return tarn::bench::runAll(argc, argv, ratios);
}
