// The subcommands of "tarnctl config", and what they share.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "command.h"

namespace tarnctl {

using Item = std::pair<std::string, std::string>;

void addConfigGet(CLI::App& config, Chosen& chosen);
void addConfigSet(CLI::App& config, Chosen& chosen);
void addConfigUnset(CLI::App& config, Chosen& chosen);
void addConfigList(CLI::App& config, Chosen& chosen);
void addConfigWatch(CLI::App& config, Chosen& chosen);
void addConfigImport(CLI::App& config, Chosen& chosen);
void addConfigExport(CLI::App& config, Chosen& chosen);

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
