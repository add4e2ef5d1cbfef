#include "processes/service_process.h"

#include <chrono>
#include <cstdlib>
#include <sstream>

#include "processes/common_orders.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_host/host_message.h"
#include "tarn_host/host_process.h"

namespace tarn::demo {
namespace {

constexpr const char* kLogName = "service_process";
constexpr std::chrono::hours kUntilOrdered{24};

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

Arguments wordsOf(const std::string& line) {
    std::istringstream stream(line);
    Arguments words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

Reply obey(const Orders& orders, const Arguments& words) {
    const auto order = orders.find(words.front());
    if (order == orders.end()) {
        return {{"error", "unknown order " + words.front()}};
    }
    return order->second(Arguments(words.begin() + 1, words.end()));
}

} // namespace

uint32_t number(const Arguments& arguments, size_t index) {
    return index < arguments.size() ? static_cast<uint32_t>(std::strtoul(arguments[index].c_str(), nullptr, 10)) : 0;
}

int runServiceProcess(ProcessLink& link, const Orders& orders) {
    const char* const name = TarnHostProcessName();
    Reply greeting;
    greeting["log"] = std::to_string(ConfLogInit());
    greeting["timers"] = std::to_string(startTimerTable());
    greeting["receiver"] = std::to_string(OsMsgReceiverStart(name, onRecord));
    ConfLogPrintf(CONF_LOG_INFO, __func__, kLogName, __LINE__, "%s is up", name);
    link.sendReply(greeting);

    Orders all = commonOrders();
    all.insert(orders.begin(), orders.end());
    bool running = true;
    while (running) {
        const auto line = link.readLine(kUntilOrdered);
        const Arguments words = wordsOf(line.value_or("end"));
        running = words.empty() || words.front() != "end";
        if (running && !words.empty()) {
            link.sendReply(obey(all, words));
        }
    }
    ConfLogPrintf(CONF_LOG_INFO, __func__, kLogName, __LINE__, "%s ends", name);
    OsMsgReceiverStop(name);
    stopTimerTable();
    const Reply memory = liveMemory();
    ConfLogUnInit();
    link.sendReply(memory);
    return 0;
}

} // namespace tarn::demo
