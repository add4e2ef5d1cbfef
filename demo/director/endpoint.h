// The processes of the endpoint, forked from this program so that all hold the same code at the same addresses.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>

#include "link/process_link.h"
#include "processes/service_process.h"
#include "tarn_host/host_launcher.h"

namespace tarn::demo {

class Endpoint {
 public:
    Endpoint();
    ~Endpoint();
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    // Starts a process, or starts it again. Returns its greeting; empty when it did not come up.
    Reply start(const std::string& process);
    // Kills a process as a crash would, and waits until it is gone.
    bool kill(const std::string& process);
    // Ends a process in good order. Returns its last reply; empty when it did not end well.
    Reply end(const std::string& process);

    pid_t pid(const std::string& process) const;

    void order(const std::string& process, const std::string& line);
    Reply reply(const std::string& process, std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // Order and reply in one.
    Reply ask(const std::string& process, const std::string& line);

 private:
    struct Process {
        std::string name;
        Orders (*orders)();
        ProcessLink directorEnd{Descriptor()};
        ProcessLink processEnd{Descriptor()};
        Endpoint* endpoint = nullptr;
    };

    static int entry(void* process);
    void add(const char* name, Orders (*orders)());

    std::map<std::string, Process> processes_;
    TarnHostLauncher* launcher_;
};

// A reply's entry as text, and as a number; empty and 0 when it is missing.
std::string field(const Reply& reply, const std::string& key);
double numberField(const Reply& reply, const std::string& key);

} // namespace tarn::demo
