// "tarnctl ps": who receives messages.
#include <cstdio>
#include <ctime>
#include <memory>
#include <string_view>

#include "command.h"
#include "json.h"
#include "receivers.h"

namespace tarnctl {
namespace {

// ISO 8601-1, local time with zone offset.
std::string timeText(uint64_t seconds) {
    const auto time = static_cast<time_t>(seconds);
    tm parts = {};
    std::array<char, 32> text = {};
    localtime_r(&time, &parts);
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &parts);
    // strftime writes the zone as +hhmm.
    const std::string_view whole = text.data();
    const size_t minutes = whole.size() - 2;
    return std::string(whole.substr(0, minutes)).append(":").append(whole.substr(minutes));
}

void print(const std::vector<TarnHostReceiver>& receivers) {
    if (receivers.empty()) {
        return;
    }
    std::printf("%s\n", emphasised("NAME                 PID  SINCE").c_str());
    for (const TarnHostReceiver& receiver : receivers) {
        std::printf("%-15s %8u  %s\n", receiver.name, receiver.pid, timeText(receiver.startTime).c_str());
    }
}

void printJson(const std::vector<TarnHostReceiver>& receivers) {
    const Json array = makeArray();
    for (const TarnHostReceiver& receiver : receivers) {
        Json object = makeObject();
        addMember(*object, "name", receiver.name);
        addMember(*object, "pid", static_cast<double>(receiver.pid));
        addMember(*object, "since", timeText(receiver.startTime));
        addElement(*array, std::move(object));
    }
    printText(*array);
}

int ps(bool json) {
    std::vector<TarnHostReceiver> receivers;
    const int read = readReceivers(receivers);
    if (read != kDone) {
        return read;
    }
    json ? printJson(receivers) : print(receivers);
    return finish();
}

} // namespace

void addPsCommand(Command app) {
    Command command = app.subcommand("ps", "Lists the processes that receive messages, sorted by name");
    auto json = std::make_shared<bool>(false);
    command.flag("--json", *json, "Print a JSON array");
    command.runs([json] { return ps(*json); });
}

} // namespace tarnctl
