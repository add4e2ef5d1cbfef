#include "director/endpoint.h"

#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "tarn_host/host_process.h"

namespace tarn::demo {
namespace {

constexpr std::chrono::seconds kComeUp{10};
constexpr uint32_t kEndMs = 5000;

} // namespace

Endpoint::Endpoint() : launcher_(TarnHostLauncherCreate()) {
    if (launcher_ == nullptr) {
        throw std::runtime_error("no memory for the launcher");
    }
    add(kMeeting, meetingOrders);
    add(kMedia, mediaOrders);
    add(kApplication, applicationOrders);
}

void Endpoint::add(const char* name, Orders (*orders)()) {
    Process& process = processes_[name];
    process.name = name;
    process.orders = orders;
    process.endpoint = this;
}

Endpoint::~Endpoint() {
    TarnHostLauncherDestroy(launcher_);
}

// Runs in the forked process. The directors' ends it inherited are closed, so that each end of a link has one holder.
// What it prints on standard error goes into a file, so that the transcript stays readable.
int Endpoint::entry(void* argument) {
    auto* const process = static_cast<Process*>(argument);
    const char* const directory = TarnHostDir();
    const std::string errors =
        std::string(directory == nullptr ? "." : directory).append("/stderr-").append(process->name);
    if (std::freopen(errors.c_str(), "a", stderr) == nullptr) {
        return 1;
    }
    for (auto& [name, other] : process->endpoint->processes_) {
        other.directorEnd.close();
    }
    return runServiceProcess(process->processEnd, process->orders());
}

Reply Endpoint::start(const std::string& name) {
    Process& process = processes_.at(name);
    std::tie(process.directorEnd, process.processEnd) = ProcessLink::makePair();
    const TarnHostProcess wanted = {process.name.c_str(), entry, &process};
    const uint32_t started = TarnHostLauncherStart(launcher_, &wanted);
    process.processEnd.close();
    if (started != 0) {
        return {{"error", std::to_string(started)}};
    }
    return reply(name, kComeUp);
}

bool Endpoint::kill(const std::string& name) {
    if (::kill(pid(name), SIGKILL) != 0) {
        return false;
    }
    TarnHostProcessState ended = {};
    return TarnHostLauncherWait(launcher_, kEndMs, &ended) == 0 && name == ended.name && ended.signal == SIGKILL;
}

Reply Endpoint::end(const std::string& name) {
    const Reply last = ask(name, "end");
    TarnHostProcessState ended = {};
    const bool well = TarnHostLauncherWait(launcher_, kEndMs, &ended) == 0 && name == ended.name && ended.signal == 0 &&
                      ended.exitCode == 0;
    return well ? last : Reply{};
}

pid_t Endpoint::pid(const std::string& name) const {
    TarnHostProcessState state = {};
    return TarnHostLauncherState(launcher_, name.c_str(), &state) == 0 ? static_cast<pid_t>(state.pid) : 0;
}

void Endpoint::order(const std::string& name, const std::string& line) {
    processes_.at(name).directorEnd.sendLine(line);
}

Reply Endpoint::reply(const std::string& name, std::chrono::milliseconds timeout) {
    return processes_.at(name).directorEnd.readReply(timeout).value_or(Reply{});
}

Reply Endpoint::ask(const std::string& name, const std::string& line) {
    order(name, line);
    return reply(name);
}

std::string field(const Reply& reply, const std::string& key) {
    const auto found = reply.find(key);
    return found == reply.end() ? "" : found->second;
}

double numberField(const Reply& reply, const std::string& key) {
    return std::strtod(field(reply, key).c_str(), nullptr);
}

} // namespace tarn::demo
