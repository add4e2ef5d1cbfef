// Configuration notifications: entries as a service sends them, dealt out to callbacks that apply them to variables of
// exactly their size. An entry is a byte of oddities and two lines, key and value.
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "input.h"
#include "scripted_run.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_log.h"

namespace {

// Such an entry stands there often enough to be more than a callback takes.
constexpr uint8_t kMany = 0xF0;

enum Oddity : uint8_t { kNoValue = 1, kLongKeyClaim = 2, kLongValueClaim = 4, kNothingBehind = 8 };

using Item = std::pair<std::string, std::string>;

struct Delivery {
    int callback;
    std::vector<Item> items;
};

std::vector<Delivery> deliveries;

template <int kNumber>
void apply(ConfConfigKeyValue* items, uint8_t count) {
    Delivery delivery = {kNumber, {}};
    for (uint8_t i = 0; i < count; ++i) {
        delivery.items.emplace_back(items[i].key, items[i].value);
    }
    deliveries.push_back(std::move(delivery));
    const int32_t applied = ConfConfigSetList(items, count, kNumber == 1 ? 1 : 0);
    FUZZ_CHECK(applied >= -int32_t{count} && applied <= int32_t{count});
}

struct Binding {
    const char* key;
    uint32_t type;
    uint32_t size;
    int callback; // -1 for none
};

constexpr Binding kBindings[] = {
    {"Conf.Sip.Port", CONF_CONFIG_TYPE_UINT, 2, 0},    {"Conf.Sip.Name", CONF_CONFIG_TYPE_STR, 9, 1},
    {"Conf.Sip.On", CONF_CONFIG_TYPE_BOOL, 1, 0},      {"Conf.Media.Rate", CONF_CONFIG_TYPE_FLOAT, 8, 2},
    {"Conf.Media.Offset", CONF_CONFIG_TYPE_INT, 4, 2}, {"Conf.SIPCallParam.sipPwd", CONF_CONFIG_TYPE_STR, 65, 1},
    {"Conf.Media.Quiet", CONF_CONFIG_TYPE_INT, 8, -1}, {"Conf.Media.Blob", CONF_CONFIG_TYPE_DATA, 3, 0},
};
constexpr ConfConfigChangeCallBack kCallbacks[] = {apply<0>, apply<1>, apply<2>};

std::vector<std::unique_ptr<uint8_t[]>> variables;

void bind() {
    variables.clear();
    for (const Binding& binding : kBindings) {
        variables.push_back(std::make_unique<uint8_t[]>(binding.size));
        ConfConfigBind(binding.key, binding.type, variables.back().get(), binding.size,
                       binding.callback < 0 ? nullptr : kCallbacks[binding.callback]);
    }
}

struct Notification {
    std::vector<ConfConfigOmNotifyEntry> entries;
    std::vector<std::unique_ptr<ConfConfigOmValue>> values;
    std::vector<Item> items; // as they are to be read
    bool usable = true;      // every entry can be read
};

// The text that a field of so many claimed bytes holds; none when it does not end in the field.
template <size_t kBytes>
bool readField(const char (&field)[kBytes], size_t length, std::string& text) {
    text.assign(field, strnlen(field, std::min(length, kBytes)));
    return text.size() < kBytes;
}

template <size_t kBytes>
size_t fillField(char (&field)[kBytes], std::string_view text, uint8_t oddities) {
    std::memset(field, (oddities & kNothingBehind) != 0 ? 'X' : 0, kBytes);
    const size_t length = std::min(text.size(), kBytes);
    std::copy_n(text.begin(), length, field);
    return length;
}

void addEntry(Notification& notification, tarn::fuzz::Input& input) {
    const uint8_t oddities = input.byte();
    const std::string_view key = input.line();
    const std::string_view value = input.line();
    ConfConfigOmNotifyEntry entry;
    auto held = std::make_unique<ConfConfigOmValue>();
    const size_t keyLength = fillField(entry.key, key, oddities);
    const size_t valueLength = fillField(held->text, value, oddities);
    entry.keyLength = (oddities & kLongKeyClaim) != 0 ? UINT8_MAX : static_cast<uint8_t>(keyLength);
    held->length = (oddities & kLongValueClaim) != 0 ? UINT32_MAX : static_cast<uint32_t>(valueLength);
    entry.value = (oddities & kNoValue) != 0 ? nullptr : held.get();
    Item item;
    notification.usable = notification.usable && entry.value != nullptr &&
                          readField(entry.key, entry.keyLength, item.first) &&
                          readField(held->text, held->length, item.second);
    notification.items.push_back(std::move(item));
    notification.values.push_back(std::move(held));
    notification.entries.push_back(entry);
}

int callbackOf(const std::string& key) {
    const auto* const found = std::find_if(std::begin(kBindings), std::end(kBindings), [&](const Binding& binding) {
        return strcasecmp(binding.key, key.c_str()) == 0;
    });
    return found == std::end(kBindings) ? -1 : found->callback;
}

std::vector<Delivery> expected(const std::vector<Item>& items) {
    std::vector<Delivery> groups;
    for (const Item& item : items) {
        const int callback = callbackOf(item.first);
        if (callback < 0) {
            continue;
        }
        auto group = std::find_if(groups.begin(), groups.end(), [=](auto& g) { return g.callback == callback; });
        if (group == groups.end()) {
            groups.push_back({callback, {}});
            group = groups.end() - 1;
        }
        if (group->items.size() < UINT8_MAX) {
            group->items.push_back(item);
        }
    }
    return groups;
}

void fuzzConfigNotify(std::span<const uint8_t> bytes) {
    const tarn::fuzz::ScriptedRun run;
    SetLogLevel(CONF_LOG_DEBUG);
    FUZZ_CHECK(ConfConfigInit(bind, "fuzz", "Conf") == 0);
    deliveries.clear();
    Notification notification;
    tarn::fuzz::Input input(bytes);
    constexpr size_t kFew = 12;
    while (!input.empty() && notification.entries.size() < kFew) {
        const tarn::fuzz::Input entry = input;
        addEntry(notification, input);
        const size_t repeated = entry.peek() == kMany ? UINT8_MAX - kFew + notification.entries.back().keyLength : 0;
        for (size_t i = 0; i < repeated; ++i) {
            tarn::fuzz::Input again = entry;
            addEntry(notification, again);
        }
    }
    notification.entries.shrink_to_fit();
    ConfConfigOmNotify notify = {static_cast<uint32_t>(notification.entries.size()), notification.entries.data()};
    tarn::test::ScriptedConfig::get().callback(OM_CONFIG_MSG_CHANGED, 0, 0, &notify);

    const std::vector<Delivery> wanted = notification.usable ? expected(notification.items) : std::vector<Delivery>();
    FUZZ_CHECK(deliveries.size() == wanted.size());
    for (size_t i = 0; i < wanted.size(); ++i) {
        FUZZ_CHECK(deliveries[i].callback == wanted[i].callback);
        FUZZ_CHECK(deliveries[i].items == wanted[i].items);
    }
    ConfConfigDeInit();
}

const tarn::fuzz::Target target("config_notify", fuzzConfigNotify);

} // namespace
