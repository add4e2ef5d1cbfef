#include "settings_file.h"

#include <strings.h>
#include <tinyxml2.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tarnctl {
namespace {

constexpr size_t kLongestText = 127;

bool sameName(const std::string& left, const std::string& right) {
    return strcasecmp(left.c_str(), right.c_str()) == 0;
}

std::optional<std::string> textOf(const char* text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

void add(std::vector<Problem>& problems, int line, bool fatal, std::string text) {
    Problem& problem = problems.emplace_back();
    problem.line = line;
    problem.fatal = fatal;
    problem.text = std::move(text);
}

const Switch* findSwitch(const std::string& name) {
    for (const Switch& known : switches()) {
        if (sameName(known.name, name)) {
            return &known;
        }
    }
    return nullptr;
}

// "XML_ERROR_MISMATCHED_ELEMENT" is "mismatched element".
std::string parseError(const tinyxml2::XMLDocument& document) {
    std::string words = document.ErrorName();
    words.erase(0, std::strlen("XML_ERROR_"));
    std::transform(words.begin(), words.end(), words.begin(),
                   [](unsigned char c) { return c == '_' ? ' ' : static_cast<char>(std::tolower(c)); });
    return words;
}

void checkLength(const Setting& setting, const char* what, const std::string& text, std::vector<Problem>& problems) {
    if (text.size() > kLongestText) {
        add(problems, setting.line, true,
            std::string("the ")
                .append(what)
                .append(" has ")
                .append(std::to_string(text.size()))
                .append(" bytes, more than 127"));
    }
}

void checkSwitch(const Setting& setting, std::vector<Problem>& problems) {
    const Switch* const known = findSwitch(*setting.name);
    const std::string& name = *setting.name;
    if (known == nullptr) {
        add(problems, setting.line, false, name + " is no switch; a setting of the product's own?");
        return;
    }
    const auto number = numberOf(*setting.value);
    const uint32_t value = number ? switchValue(*known, *number) : 0;
    if (!number) {
        add(problems, setting.line, false, name + " is no number and counts as 0: " + *setting.value);
    } else if (value != *number) {
        std::string text = name;
        text.append(" counts as ").append(std::to_string(value)).append(": ").append(*setting.value);
        add(problems, setting.line, false, std::move(text));
    }
}

void checkSetting(const SettingsFile& file, const Setting& setting, std::vector<Problem>& problems) {
    if (!setting.name || !setting.value) {
        const char* const missing =
            setting.name ? "there is no value in the element" : "the attribute \"name\" is missing";
        add(problems, setting.line, true, missing);
        return;
    }
    checkLength(setting, "name", *setting.name, problems);
    checkLength(setting, "value", *setting.value, problems);
    if (findSetting(file, *setting.name) != &setting) {
        add(problems, setting.line, false, *setting.name + " stands there before; the first one counts");
    }
    checkSwitch(setting, problems);
}

} // namespace

const std::vector<Switch>& switches() {
    static const std::vector<Switch> known = {
        {"isCloseWirelessCastWhenStopShare", "close the wireless cast when sharing stops"},
        {"isStopCastWhenConfEnd", "stop casting when the conference ends"},
        {"forbiddenSdkStopWirelessCast", "do not let the SDK stop a wireless cast"},
        {"onlyReportPresentationDevicePlug", "report only that a presentation device was plugged in"},
        {"ignoreLayoutStrategy", "ignore the layout strategy"},
        {"isForbiddenKitCapbility", "fixed certificate folders, and addresses from the device manager", UINT8_MAX},
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
    errno = 0;
    const tinyxml2::XMLError error = document.LoadFile(path.c_str());
    if (error != tinyxml2::XML_SUCCESS) {
        const bool isXml = error >= tinyxml2::XML_ERROR_PARSING_ELEMENT;
        file.error = isXml ? std::string("not XML: ").append(parseError(document))
                           : std::string("cannot be read: ").append(std::strerror(errno == 0 ? EISDIR : errno));
        file.errorLine = isXml ? document.ErrorLineNum() : 0;
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
    if (!file.error.empty()) {
        add(problems, file.errorLine, true, file.error);
    } else if (file.settings.empty()) {
        add(problems, 0, true, "there is no setting in it");
    }
    for (const Setting& setting : file.settings) {
        checkSetting(file, setting, problems);
    }
    return problems;
}

bool isRefused(const std::vector<Problem>& problems) {
    return std::any_of(problems.begin(), problems.end(), [](const Problem& problem) { return problem.fatal; });
}

const Setting* findSetting(const SettingsFile& file, const std::string& name) {
    for (const Setting& setting : file.settings) {
        if (setting.name && sameName(*setting.name, name)) {
            return &setting;
        }
    }
    return nullptr;
}

std::optional<long> numberOf(const std::string& value) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(value.c_str(), &end, 0);
    if (errno == ERANGE || end == value.c_str() || *end != '\0') {
        return std::nullopt;
    }
    return number;
}

uint32_t switchValue(const Switch& known, long number) {
    return static_cast<uint32_t>(number) & known.mask;
}

} // namespace tarnctl
