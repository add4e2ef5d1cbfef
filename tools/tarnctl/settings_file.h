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
    bool absent = false;
};

// What is wrong with a file. A fatal problem makes a process refuse all of it.
struct Problem {
    int line;
    bool fatal;
    std::string text;
};

SettingsFile readSettings(const std::string& path);
std::vector<Problem> problemsOf(const SettingsFile& file);

// The first setting of that name, letter case aside; null without one.
const Setting* findSetting(const SettingsFile& file, const std::string& name);

// The number that a process reads from a value: decimal, 0x... or 0...; nothing for any other text, which counts as 0.
std::optional<int32_t> switchNumber(const std::string& value);

} // namespace tarnctl
