// Meeting-server blocks: a list of items written to the configuration service, and read from it. The header's claims
// and an item's oddities are bytes, its key and value lines.
#include <algorithm>
#include <cstring>
#include <memory>

#include "input.h"
#include "scripted_run.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"

namespace {

using tarn::fuzz::Input;
using tarn::fuzz::ScriptedRun;
using tarn::test::ScriptedConfig;

constexpr uint8_t kMany = 254;
constexpr size_t kHeaderBytes = offsetof(ConfMeetingServerMsgBlock, data);
constexpr const char* kSecret = "\x01\x02secret\x03";
constexpr const char* kProtectedKeys[] = {
    "Conf.SIPCallParam.sipPwd",  "Conf.H323CallParam.gkPwd",       "Conf.SIPCallParam.sipServerAddr",
    "Conf.H323CallParam.gkAddr", "Conf.H323CallParam.vgAddr",      "Conf.FireWallParam.NatAddr",
    "Conf.ServerParam.addr",     "Conf.ConfParam.DataConfRVXAddr", "Conf.ServerParam.pwd",
};

bool isProtected(const char* key) {
    return std::any_of(std::begin(kProtectedKeys), std::end(kProtectedKeys),
                       [=](const char* one) { return std::strncmp(one, key, OM_CONFIG_KEY_LEN) == 0; });
}

bool isEncrypted(const char* key) {
    return std::strcmp(key, kProtectedKeys[0]) == 0 || std::strcmp(key, kProtectedKeys[1]) == 0;
}

template <size_t kBytes>
void fillField(char (&field)[kBytes], std::string_view text) {
    std::copy_n(text.begin(), std::min(text.size(), kBytes), field);
}

template <size_t kBytes>
bool isText(const char (&field)[kBytes]) {
    return std::memchr(field, '\0', kBytes) != nullptr;
}

// A few items, the last of which may stand there often enough to make a list that is too long.
std::vector<ConfConfigKeyValue> readItems(Input& input) {
    std::vector<ConfConfigKeyValue> items;
    constexpr size_t kFew = 12;
    size_t repeated = 1;
    while (!input.empty() && items.size() < kFew) {
        ConfConfigKeyValue item;
        const uint8_t kind = input.byte();
        repeated = kind == kMany ? CONF_CONFIG_MAX_LIST - kFew + input.byte() % 32U : 1;
        const uint8_t filling = kind % 2 == 0 ? 0 : 'X';
        std::memset(&item, filling, sizeof item);
        const std::string_view key = input.line();
        std::string value(input.line());
        fillField(item.key, key);
        if (isProtected(item.key)) {
            value.insert(0, kSecret);
        }
        fillField(item.value, value);
        items.insert(items.end(), repeated, item);
    }
    return items;
}

// Claims of a header: right, one off, or anything.
uint32_t claim(uint32_t right, Input& input) {
    const uint8_t kind = input.byte();
    return kind < 250 ? right + kind % 3 - 1 : input.number<uint32_t>();
}

void checkNoSecretLogged() {
    for (const std::string& text : ScriptedRun::platform().logTexts()) {
        FUZZ_CHECK(text.find(kSecret) == std::string::npos);
    }
}

struct ReleaseBlock {
    void operator()(void* block) const { OSMemTypeFreeMon(block, 0, 0, __LINE__, "fuzz"); }
};

// What is written is all of the list or nothing, passwords encrypted and wiped in the block.
void write(const std::vector<ConfConfigKeyValue>& items, Input claims) {
    const auto bytes = static_cast<uint32_t>(items.size() * sizeof(ConfConfigKeyValue));
    const std::unique_ptr<ConfMeetingServerMsgBlock, ReleaseBlock> block(
        GenerateMeetingServerMsgBlock(items.data(), bytes));
    FUZZ_CHECK(block != nullptr);
    FUZZ_CHECK(GetMeetingServerMsgBlockSize(block.get()) == (bytes == 0 ? 96 : bytes + 95));
    block->listLen = claim(static_cast<uint32_t>(items.size()), claims);
    const uint32_t count = std::min(block->listLen, static_cast<uint32_t>(items.size()));
    const uint32_t result = ConfConfigSetConfConfig(0, block.get());
    checkNoSecretLogged();

    const auto& writes = ScriptedConfig::get().writes;
    if (result != 0) {
        FUZZ_CHECK(writes.empty());
        return;
    }
    FUZZ_CHECK(writes.size() == 1 && writes[0].size() == count && block->listLen <= CONF_CONFIG_MAX_LIST);
    const uint8_t* const data = reinterpret_cast<const uint8_t*>(block.get()) + kHeaderBytes;
    for (uint32_t i = 0; i < count; ++i) {
        ConfConfigKeyValue left;
        std::memcpy(&left, data + i * sizeof left, sizeof left);
        FUZZ_CHECK(isText(items[i].key) && writes[0][i].first == items[i].key);
        const bool encrypted = isEncrypted(items[i].key);
        FUZZ_CHECK(writes[0][i].second ==
                   (encrypted ? tarn::test::scriptedCipherText(items[i].value) : items[i].value));
        FUZZ_CHECK(!encrypted || left.value[0] == '\0');
        FUZZ_CHECK(encrypted || std::memcmp(&left, &items[i], sizeof left) == 0);
    }
}

// What is read is what the service holds for each key of the list, which is cut where it does not end.
void checkAnswers(const ConfMeetingServerMsgBlock& block, const std::vector<ConfConfigKeyValue>& items) {
    const uint32_t count =
        std::min(block.listLen, static_cast<uint32_t>(block.dataLength / sizeof(ConfConfigKeyValue)));
    FUZZ_CHECK(block.resultLength == count * sizeof(ConfConfigKeyValue) && count <= items.size());
    const auto* const answers = static_cast<const ConfConfigKeyValue*>(block.result);
    for (uint32_t i = 0; i < count; ++i) {
        const std::string key(items[i].key, strnlen(items[i].key, sizeof items[i].key - 1));
        const auto held = ScriptedConfig::get().held.find(key);
        FUZZ_CHECK(isText(answers[i].key) && isText(answers[i].value) && answers[i].key == key);
        FUZZ_CHECK(answers[i].value == (held == ScriptedConfig::get().held.end() ? "" : held->second));
    }
}

void read(const std::vector<ConfConfigKeyValue>& items, Input claims, bool endless) {
    const auto bytes = static_cast<uint32_t>(items.size() * sizeof(ConfConfigKeyValue));
    const uint32_t spare = std::min(claims.byte() % 9U, 7U);
    const uint32_t bufferSize = uint32_t{kHeaderBytes} + bytes + 7 - spare;
    const auto buffer = std::make_unique<uint32_t[]>((bufferSize + 3) / 4);
    auto* const block = reinterpret_cast<ConfMeetingServerMsgBlock*>(buffer.get());
    if (bufferSize >= sizeof *block) {
        std::memcpy(reinterpret_cast<uint8_t*>(block) + kHeaderBytes, items.data(), bytes);
        block->listLen = claim(static_cast<uint32_t>(items.size()), claims);
        block->dataLength = claim(bytes, claims);
    }
    if (endless) {
        // A service whose values do not end.
        ScriptedConfig::get().held.clear();
        ScriptedConfig::get().afterRead = [](ConfConfigOmRecord* records, uint32_t count) {
            for (uint32_t i = 0; i < count; ++i) {
                std::memset(&records[i].value, 'v', sizeof records[i].value);
            }
        };
    }
    void* const before = &ScriptedConfig::get();
    block->result = before;
    const uint32_t result = ConfConfigGetConfConfig(0, block, bufferSize);
    checkNoSecretLogged();
    if (result != 0) {
        FUZZ_CHECK(block->result == before);
        return;
    }
    FUZZ_CHECK(block->result != before && block->listLen <= CONF_CONFIG_MAX_LIST);
    const std::unique_ptr<void, ReleaseBlock> owned(block->result);
    if (!endless) {
        checkAnswers(*block, items);
    }
}

void fuzzMeetingBlock(std::span<const uint8_t> bytes) {
    if (tarn::fuzz::asText(bytes).find(kSecret) != std::string_view::npos) {
        return; // libFuzzer has read what the target looks for.
    }
    const ScriptedRun run;
    SetLogLevel(CONF_LOG_DEBUG);
    Input input(bytes);
    const bool endless = input.byte() % 4 == 1;
    const Input claims(input.take(12));
    const std::vector<ConfConfigKeyValue> items = readItems(input);
    write(items, claims);
    read(items, claims, endless);
}

const tarn::fuzz::Target target("meeting_block", fuzzMeetingBlock);

} // namespace
