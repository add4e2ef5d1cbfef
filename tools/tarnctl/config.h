// The subcommands of "tarnctl config", and what they share.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "command.h"

namespace tarnctl {

using Item = std::pair<std::string, std::string>;

// How many items one write takes.
constexpr size_t kMostItems = 65536;

// Which items are shown, and how.
struct ShowOptions {
    std::string prefix;
    bool json = false;
    bool reveal = false;
};

void addConfigGet(Command config);
void addConfigSet(Command config);
void addConfigUnset(Command config);
void addConfigList(Command config);
void addConfigWatch(Command config);
void addConfigImport(Command config);
void addConfigExport(Command config);

// PREFIX, --json and --reveal; `json` describes the second.
std::shared_ptr<ShowOptions> addShowOptions(Command command, const std::string& json);

// Connects the configuration client for the life of the object.
class ConfigClient {
 public:
    ConfigClient();
    ~ConfigClient();
    ConfigClient(const ConfigClient&) = delete;
    ConfigClient(ConfigClient&&) = delete;
    ConfigClient& operator=(const ConfigClient&) = delete;
    ConfigClient& operator=(ConfigClient&&) = delete;

    // An exit code: kDone, or the complaint was made.
    int state() const { return state_; }

 private:
    int state_;
};

// Writes all items or none, passwords encrypted; an exit code.
int writeItems(const std::vector<Item>& items);

// All items below the prefix, sorted; an exit code.
int readItems(const std::string& prefix, std::vector<Item>& items);

} // namespace tarnctl
