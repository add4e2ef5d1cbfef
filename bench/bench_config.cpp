// Configuration: the sorted index against a tree map, and what dealing out a notification costs beside the look-ups and
// copies that it cannot do without. The service behind the registry is one that does nothing, so that only the library
// is measured; the look-up itself is measured in the index alone, built into this program.
#include <strings.h>

#include <cctype>
#include <map>
#include <string>
#include <vector>

#include "config/config_index.h"
#include "ratio.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_log.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/om_key.h"

namespace {

constexpr size_t kCallbacks = 20;
constexpr const char* kGroups[] = {"SIPCallParam", "H323CallParam", "ServerParam", "ConfParam", "FireWallParam"};

uint32_t variable = 0;
size_t itemsSeen = 0;

struct LessWithoutCase {
    bool operator()(const std::string& left, const std::string& right) const {
        return strcasecmp(left.c_str(), right.c_str()) < 0;
    }
};

std::string keyNumber(size_t number) {
    return std::string("Conf.") + kGroups[number % std::size(kGroups)] + ".field" + std::to_string(number);
}

// Keys in an order that neither side can foresee, in other letters than those bound.
std::vector<std::string> askedKeys(size_t count) {
    std::vector<std::string> keys;
    for (size_t i = 0; i < count; ++i) {
        keys.push_back(keyNumber(i * 7919 % count));
        keys.back()[i % keys.back().size()] = static_cast<char>(std::toupper(keys.back()[i % keys.back().size()]));
    }
    return keys;
}

void bindInIndex(size_t count) {
    tarn::detail::openIndex();
    for (size_t i = 0; i < count; ++i) {
        tarn::detail::findOrAddItem(keyNumber(i).c_str());
    }
}

std::map<std::string, size_t, LessWithoutCase> keysInMap(size_t count) {
    std::map<std::string, size_t, LessWithoutCase> keys;
    for (size_t i = 0; i < count; ++i) {
        keys[keyNumber(i)] = i;
    }
    return keys;
}

template <size_t kNumber>
void onChange(ConfConfigKeyValue* items, uint8_t count) {
    benchmark::DoNotOptimize(items);
    itemsSeen += count + kNumber;
}

template <size_t... kNumbers>
ConfConfigChangeCallBack callbackNumber(size_t number, std::index_sequence<kNumbers...>) {
    constexpr ConfConfigChangeCallBack kAll[] = {onChange<kNumbers>...};
    return kAll[number];
}

// The keys of both indexes: the library's and this program's.
void bindEverywhere(size_t count) {
    ConfConfigInit([] {}, "bench", "Conf");
    for (size_t i = 0; i < count; ++i) {
        ConfConfigBind(keyNumber(i).c_str(), CONF_CONFIG_TYPE_UINT, &variable, sizeof variable,
                       callbackNumber(i % kCallbacks, std::make_index_sequence<kCallbacks>()));
    }
    bindInIndex(count);
}

// A notification of every key once.
class Notification {
 public:
    explicit Notification(size_t count) : values_(count), entries_(count), copies_(count), groups_(count) {
        const std::vector<std::string> keys = askedKeys(count);
        for (size_t i = 0; i < count; ++i) {
            strcpy_s(entries_[i].key, sizeof entries_[i].key, keys[i].c_str());
            entries_[i].keyLength = static_cast<uint8_t>(keys[i].size());
            strcpy_s(values_[i].text, sizeof values_[i].text, "192.168.17.203");
            values_[i].length = 14;
            entries_[i].value = &values_[i];
        }
    }

    void deliver() {
        ConfConfigOmNotify notification = {static_cast<uint32_t>(entries_.size()), entries_.data()};
        ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 0, 0, &notification);
    }

    // The look-ups and copies alone.
    void lookUpAndCopy() {
        for (size_t i = 0; i < entries_.size(); ++i) {
            const ConfConfigOmNotifyEntry& entry = entries_[i];
            ConfConfigKeyValue& item = copies_[i];
            strncpy_s(item.key, sizeof item.key, entry.key, entry.keyLength);
            strncpy_s(item.value, sizeof item.value, entry.value->text, entry.value->length);
            benchmark::DoNotOptimize(tarn::detail::findItem(item.key));
            memcpy_s(&groups_[i], sizeof item, &item, sizeof item);
        }
        benchmark::ClobberMemory();
    }

 private:
    std::vector<ConfConfigOmValue> values_;
    std::vector<ConfConfigOmNotifyEntry> entries_;
    std::vector<ConfConfigKeyValue> copies_;
    std::vector<ConfConfigKeyValue> groups_;
};

void lookUp(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    bindInIndex(count);
    const std::vector<std::string> keys = askedKeys(count);
    size_t next = 0;
    for (auto iteration : state) {
        benchmark::DoNotOptimize(tarn::detail::findItem(keys[next].c_str()));
        next = next + 1 == count ? 0 : next + 1;
    }
    tarn::detail::closeIndex();
}
BENCHMARK(lookUp)->Arg(10)->Arg(100)->Arg(1000)->Arg(5000);

void deliverNotification(benchmark::State& state) {
    const auto count = static_cast<size_t>(state.range(0));
    bindEverywhere(count);
    Notification notification(count);
    for (auto iteration : state) {
        notification.deliver();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    ConfConfigDeInit();
    tarn::detail::closeIndex();
}
BENCHMARK(deliverNotification)->Arg(20)->Arg(500)->Arg(2000);

bool lookUpIsNoSlowerThanMap(size_t count) {
    bindInIndex(count);
    const auto map = keysInMap(count);
    const std::vector<std::string> keys = askedKeys(count);
    const double ratio = tarn::bench::medianRatio(
        [&] {
            for (const std::string& key : keys) {
                benchmark::DoNotOptimize(tarn::detail::findItem(key.c_str()));
            }
        },
        [&] {
            for (const std::string& key : keys) {
                benchmark::DoNotOptimize(map.find(key));
            }
        });
    tarn::detail::closeIndex();
    const std::string name = "look-up among " + std::to_string(count) + " keys, to std::map";
    return tarn::bench::holds(name.c_str(), ratio, 1.0);
}

// The time of a notification in those of its look-ups and copies, which meet the same caches: once for the cost, and of
// a large one against a small one for the growth.
bool notificationsAreCheapAndLinear() {
    constexpr size_t kItems = 500;
    bindEverywhere(4 * kItems);
    const auto toItsNeeds = [](size_t count) {
        Notification notification(count);
        return tarn::bench::medianRatio([&] { notification.deliver(); }, [&] { notification.lookUpAndCopy(); });
    };
    const double some = toItsNeeds(kItems);
    const double many = toItsNeeds(4 * kItems);
    ConfConfigDeInit();
    tarn::detail::closeIndex();
    bool allHold = tarn::bench::holds("notification of 500 items, to its look-ups and copies", some, 3);
    allHold &= tarn::bench::holds("notification of 2000 items, to its look-ups and copies", many, 3);
    allHold &= tarn::bench::holds("the second to the first", many / some, 1.5);
    return allHold;
}

bool ratios() {
    bool allHold = true;
    for (const size_t count : {1000U, 5000U}) {
        allHold &= lookUpIsNoSlowerThanMap(count);
    }
    allHold &= notificationsAreCheapAndLinear();
    return allHold;
}

} // namespace

// The service that does nothing; in place of the platform's.
uint32_t TarnOmConfigInit(uint32_t, const char*, const char*) {
    return 0;
}
uint32_t TarnOmConfigUnInit(const char*) {
    return 0;
}
uint32_t TarnOmConfigNotifyCallback(OmConfigNotifyFunc, const char*) {
    return 0;
}
uint32_t TarnOmConfigStringGet(ConfConfigOmRecord*) {
    return 0;
}
uint32_t TarnOmConfigStringMget(ConfConfigOmRecord*, uint32_t) {
    return 0;
}
uint32_t TarnOmConfigStringMset(ConfConfigOmRecord*, uint32_t) {
    return 0;
}
uint32_t TarnOmConfigcopyStr2Key(void*, const char*) {
    return 0;
}
uint32_t TarnOmConfigcopyStr2Val(void*, const char*) {
    return 0;
}
uint32_t TarnOmConfigsetIntValue(void*, int32_t) {
    return 0;
}
uint32_t TarnOmConfigsetUintValue(void*, uint64_t) {
    return 0;
}
uint32_t TarnOmKeymEncrypt(const char*, const char*, uint32_t, char*, uint32_t*) {
    return 0;
}

int main(int argc, char** argv) {
    SetLogLevel(CONF_LOG_ERROR);
    return tarn::bench::runAll(argc, argv, ratios);
}
