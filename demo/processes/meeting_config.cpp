// The meeting service's configuration lists, which the application serves.
#include <cstring>
#include <vector>

#include "processes/handlers.h"
#include "processes/meeting_orders.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"

namespace tarn::demo {
namespace {

constexpr const char* kLogName = "meeting";
constexpr uint32_t kTimeoutMs = 3000;

ConfConfigKeyValue item(const std::string& key, const std::string& value) {
    ConfConfigKeyValue pair = {};
    std::strncpy(pair.key, key.c_str(), sizeof pair.key - 1);
    std::strncpy(pair.value, value.c_str(), sizeof pair.value - 1);
    return pair;
}

// Sends a list to the application in a meeting-server block. `answers` receives the result array.
uint32_t callWithList(ConfCommMsgHandler handler, uint32_t msgId, const std::vector<ConfConfigKeyValue>& items,
                      std::vector<ConfConfigKeyValue>* answers) {
    const auto bytes = static_cast<uint32_t>(items.size() * sizeof(ConfConfigKeyValue));
    ConfMeetingServerMsgBlock* const block = GenerateMeetingServerMsgBlock(items.data(), bytes);
    if (block == nullptr) {
        return 1;
    }
    block->listLen = static_cast<uint32_t>(items.size());
    const uint32_t result = ConfCommMsgSynSendImplHaveResp(kApplication, handler, msgId, block,
                                                           GetMeetingServerMsgBlockSize(block), kTimeoutMs);
    void* const attached = block->result;
    if (answers != nullptr && attached != nullptr) {
        answers->resize(block->resultLength / sizeof(ConfConfigKeyValue));
        std::memcpy(answers->data(), attached, answers->size() * sizeof(ConfConfigKeyValue));
    }
    OSMemTypeFreeMon(attached, 0, 0, __LINE__, kLogName);
    OSMemTypeFreeMon(block, 0, 0, __LINE__, kLogName);
    return result;
}

} // namespace

// config-get KEY...
Reply getConfigList(const Arguments& arguments) {
    std::vector<ConfConfigKeyValue> items;
    for (const std::string& key : arguments) {
        items.push_back(item(key, ""));
    }
    std::vector<ConfConfigKeyValue> answers;
    Reply reply = {{"result", std::to_string(callWithList(serveConfigGet, kMsgConfigGet, items, &answers))}};
    for (const ConfConfigKeyValue& answer : answers) {
        reply[answer.key] = answer.value;
    }
    return reply;
}

// config-set KEY VALUE...
Reply setConfigList(const Arguments& arguments) {
    std::vector<ConfConfigKeyValue> items;
    for (size_t i = 0; i + 1 < arguments.size(); i += 2) {
        items.push_back(item(arguments[i], arguments[i + 1]));
    }
    return {{"result", std::to_string(callWithList(serveConfigSet, kMsgConfigSet, items, nullptr))}};
}

} // namespace tarn::demo
