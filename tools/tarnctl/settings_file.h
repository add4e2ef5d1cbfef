// The settings file "conference/conf_config.xml" below the product configuration directory, as a process reads it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnctl {

// A switch that processes ask for by name, letter case aside.
struct Switch {
    const char* name;
    const char* meaning;
    uint32_t mask = UINT32_MAX; // of a number: the bits that a process keeps
};

const std::vector<Switch>& switches();

struct Setting {
    std::optional<std::string> name;
    std::optional<std::string> value;
    int line = 0;
};

struct SettingsFile {
    std::vector<Setting> settings;
    std::string error; // why it cannot be read; empty when it can
    int errorLine = 0; // 0 for none
    bool absent = false;
};

// What is wrong with a file. A fatal problem makes a process refuse all of it.
struct Problem {
    int line = 0; // 0 for the file as a whole
    bool fatal = false;
    std::string text;
};

SettingsFile readSettings(const std::string& path);
std::vector<Problem> problemsOf(const SettingsFile& file);
bool isRefused(const std::vector<Problem>& problems);

// The first setting of that name, letter case aside; null without one.
const Setting* findSetting(const SettingsFile& file, const std::string& name);

// The number in a value: decimal, 0x... or 0...; nothing for any other text, which counts as 0.
std::optional<long> numberOf(const std::string& value);

// What a process reads from a number.
uint32_t switchValue(const Switch& known, long number);

} // namespace tarnctl
