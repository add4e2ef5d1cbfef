// "tarnctl settings": the settings file and its switches.
#include <cstdio>
#include <memory>

#include "command.h"
#include "file_content.h"
#include "json.h"
#include "settings_file.h"
#include "tarn_platform/om_path.h"

namespace tarnctl {
namespace {

struct SettingsOptions {
    bool json = false;
    std::string check;
    std::string sample;
};

std::string settingsPath() {
    const char* const directory = TarnOmCustUtilGetCfgPath(0);
    return directory == nullptr ? "" : std::string(directory) + "/conference/conf_config.xml";
}

// A process that refuses the file, and one without a file, has every switch at 0.
bool isRead(const SettingsFile& file) {
    return !file.absent && !isRefused(problemsOf(file));
}

// The switch as a process reads it; `note`, when it is given, receives why it is 0.
uint32_t valueOf(const SettingsFile& file, const Switch& known, std::string* note = nullptr) {
    const Setting* const setting = isRead(file) ? findSetting(file, known.name) : nullptr;
    const auto number = setting == nullptr ? std::nullopt : numberOf(*setting->value);
    if (note != nullptr && !number) {
        const bool isSet = setting != nullptr;
        *note = isSet ? " (no number: " : isRead(file) || file.absent ? " (not set" : " (refused";
        note->append(isSet ? *setting->value : "").append(")");
    }
    return number ? switchValue(known, *number) : 0;
}

void print(const SettingsFile& file, const std::string& path) {
    std::printf("%s%s\n", path.c_str(), file.absent ? " (there is none)" : "");
    for (const Switch& known : switches()) {
        std::string note;
        const std::string value = std::to_string(valueOf(file, known, &note)).append(note);
        std::string name = known.name;
        name.resize(34, ' ');
        std::printf("%s %-12s %s\n", emphasised(name).c_str(), value.c_str(), known.meaning);
    }
}

void printJson(const SettingsFile& file, const std::string& path) {
    const Json object = makeObject();
    addMember(*object, "file", path);
    addMember(*object, "isRead", Json(cJSON_CreateBool(isRead(file) ? 1 : 0)));
    Json list = makeArray();
    for (const Switch& known : switches()) {
        Json entry = makeObject();
        addMember(*entry, "name", known.name);
        addMember(*entry, "value", static_cast<double>(valueOf(file, known)));
        addMember(*entry, "meaning", known.meaning);
        addElement(*list, std::move(entry));
    }
    addMember(*object, "switches", std::move(list));
    printText(*object);
}

int show(bool json) {
    const std::string path = settingsPath();
    if (path.empty()) {
        return complain(kFailed, "there is no configuration directory");
    }
    const SettingsFile file = readSettings(path);
    json ? printJson(file, path) : print(file, path);
    const int finished = finish();
    if (finished == kDone && !file.absent && !isRead(file)) {
        return complain(kFailed, "a process refuses this file: every switch is 0; --check " + path + " tells why");
    }
    return finished;
}

void printProblemsJson(const SettingsFile& file, const std::string& path, const std::vector<Problem>& problems) {
    const Json object = makeObject();
    addMember(*object, "file", path);
    addMember(*object, "settings", static_cast<double>(file.settings.size()));
    Json list = makeArray();
    for (const Problem& problem : problems) {
        Json entry = makeObject();
        addMember(*entry, "line", static_cast<double>(problem.line));
        addMember(*entry, "text", problem.text);
        addMember(*entry, "refusesFile", Json(cJSON_CreateBool(problem.fatal ? 1 : 0)));
        addElement(*list, std::move(entry));
    }
    addMember(*object, "problems", std::move(list));
    printText(*object);
}

void printProblems(const SettingsFile& file, const std::string& path, const std::vector<Problem>& problems) {
    for (const Problem& problem : problems) {
        std::printf("%s:", path.c_str());
        if (problem.line != 0) {
            std::printf("%d:", problem.line);
        }
        std::printf(" %s%s\n", problem.text.c_str(), problem.fatal ? " (a process refuses the whole file)" : "");
    }
    if (!isRefused(problems)) {
        std::printf("%s: a process reads %zu settings from it\n", path.c_str(), file.settings.size());
    }
}

int check(const std::string& path, bool json) {
    const SettingsFile file = readSettings(path);
    if (file.absent) {
        return complain(kNotFound, "there is no file " + path);
    }
    const std::vector<Problem> problems = problemsOf(file);
    json ? printProblemsJson(file, path, problems) : printProblems(file, path, problems);
    const int finished = finish();
    return isRefused(problems) ? kFailed : finished;
}

std::string sampleText() {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- Settings of the conference processes, read once at "
        "their start. 0 is off, 1 is on. -->\n<settings>\n";
    for (const Switch& known : switches()) {
        text.append("  <!-- ").append(known.meaning).append(" -->\n  <setting name=\"").append(known.name);
        text.append("\">0</setting>\n");
    }
    return text.append("</settings>\n");
}

// Writes a new file only: nobody's settings are overwritten.
int writeSample(const std::string& path) {
    const std::string text = sampleText();
    if (path == "-") {
        std::fputs(text.c_str(), stdout);
        return finish();
    }
    const int error = writeContent(path, text, Place::kNew, 0644);
    return error == 0 ? kDone : complainOf("cannot write " + path, static_cast<uint32_t>(error));
}

int settings(const SettingsOptions& options) {
    if (!options.check.empty()) {
        return check(options.check, options.json);
    }
    return options.sample.empty() ? show(options.json) : writeSample(options.sample);
}

} // namespace

void addSettingsCommand(Command app) {
    Command command =
        app.subcommand("settings", "Shows the switches of the settings file, checks a file, or writes a sample");
    auto options = std::make_shared<SettingsOptions>();
    const Argument json = command.flag("--json", options->json, "Print a JSON object");
    Argument checked =
        command.value("--check", options->check, "Tell what is wrong with a settings file").named("FILE");
    Argument sample =
        command.value("--sample", options->sample, "Write a commented sample to a new file, or to \"-\"").named("FILE");
    checked.excludes(sample);
    sample.excludes(json);
    command.runs([options] { return settings(*options); });
}

} // namespace tarnctl
