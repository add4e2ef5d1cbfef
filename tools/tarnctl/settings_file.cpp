#include "settings_file.h"

#include <strings.h>
#include <tinyxml2.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace tarnctl {
namespace {

constexpr size_t kLongestText = 127;

bool sameName(const std::string& left, const std::string& right) {
    return strcasecmp(left.c_str(), right.c_str()) == 0;
}

std::optional<std::string> textOf(const char* text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

bool isSwitch(const std::string& name) {
    for (const Switch& known : switches()) {
        if (sameName(known.name, name)) {
            return true;
        }
    }
    return false;
}

void checkLength(const Setting& setting, const char* what, const std::string& text, std::vector<Problem>& problems) {
    if (text.size() > kLongestText) {
        problems.push_back({setting.line, true,
                            std::string("the ")
                                .append(what)
                                .append(" has ")
                                .append(std::to_string(text.size()))
                                .append(" bytes, more than 127")});
    }
}

void checkSetting(const SettingsFile& file, const Setting& setting, std::vector<Problem>& problems) {
    if (!setting.name || !setting.value) {
        const char* const missing =
            setting.name ? "there is no value in the element" : "the attribute \"name\" is missing";
        problems.push_back({setting.line, true, missing});
        return;
    }
    checkLength(setting, "name", *setting.name, problems);
    checkLength(setting, "value", *setting.value, problems);
    if (findSetting(file, *setting.name) != &setting) {
        problems.push_back({setting.line, false, *setting.name + " stands there before; the first one counts"});
    }
    if (!isSwitch(*setting.name)) {
        problems.push_back({setting.line, false, *setting.name + " is no switch that a process asks for"});
    } else if (!switchNumber(*setting.value)) {
        problems.push_back({setting.line, false, *setting.name + " is no number and counts as 0: " + *setting.value});
    }
}

} // namespace

const std::vector<Switch>& switches() {
    static const std::vector<Switch> known = {
        {"isCloseWirelessCastWhenStopShare", "close the wireless cast when sharing stops"},
        {"isStopCastWhenConfEnd", "stop casting when the conference ends"},
        {"forbiddenSdkStopWirelessCast", "do not let the SDK stop a wireless cast"},
        {"onlyReportPresentationDevicePlug", "report only that a presentation device was plugged in"},
        {"ignoreLayoutStrategy", "ignore the layout strategy"},
        {"isForbiddenKitCapbility", "fixed certificate folders, and addresses from the device manager"},
    };
    return known;
}

SettingsFile readSettings(const std::string& path) {
    SettingsFile file;
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        file.absent = true;
        return file;
    }
    tinyxml2::XMLDocument document;
    if (document.LoadFile(path.c_str()) != tinyxml2::XML_SUCCESS) {
        file.error = document.ErrorStr();
        return file;
    }
    const tinyxml2::XMLElement* const root = document.RootElement();
    for (const auto* child = root == nullptr ? nullptr : root->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        file.settings.push_back({textOf(child->Attribute("name")), textOf(child->GetText()), child->GetLineNum()});
    }
    return file;
}

std::vector<Problem> problemsOf(const SettingsFile& file) {
    std::vector<Problem> problems;
    if (file.settings.empty()) {
        problems.push_back({0, true, "there is no setting in it"});
    }
    for (const Setting& setting : file.settings) {
        checkSetting(file, setting, problems);
    }
    return problems;
}

const Setting* findSetting(const SettingsFile& file, const std::string& name) {
    for (const Setting& setting : file.settings) {
        if (setting.name && sameName(*setting.name, name)) {
            return &setting;
        }
    }
    return nullptr;
}

std::optional<int32_t> switchNumber(const std::string& value) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(value.c_str(), &end, 0);
    if (errno == ERANGE || end == value.c_str() || *end != '\0') {
        return std::nullopt;
    }
    return static_cast<int32_t>(number);
}

} // namespace tarnctl
