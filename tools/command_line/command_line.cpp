#include "command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tarn::tool {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

// The command that the words name, with the program before it.
std::string commandOf(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app.get_name() : app.get_name() + " " + commandOf(*chosen.front());
}

// What is wrong with the words. One that nobody knows says more than what is missing behind it.
std::string reasonOf(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining(true);
    const auto option = std::find_if(unknown.begin(), unknown.end(),
                                     [](const std::string& word) { return word.size() > 1 && word[0] == '-'; });
    if (option != unknown.end()) {
        return *option + " is no option here; a word that begins with - stands behind --";
    }
    return unknown.empty() ? error.what() : "\"" + unknown.front() + "\" is not known here";
}

} // namespace

Argument Argument::required() {
    option_->required();
    return *this;
}

Argument Argument::named(const std::string& word) {
    option_->type_name(word);
    return *this;
}

Argument Argument::showsDefault() {
    option_->capture_default_str();
    return *this;
}

Argument Argument::excludes(const Argument& other) {
    option_->excludes(other.option_);
    return *this;
}

Argument Argument::oneOf(const std::map<std::string, uint32_t>& words) {
    std::string list;
    for (const auto& [name, number] : words) {
        list.append(list.empty() ? "" : "|").append(name);
    }
    const auto toNumber = [words, list](std::string& word) -> std::string {
        const auto found = words.find(CLI::detail::to_lower(word));
        if (found == words.end()) {
            return word + " is not one of " + list;
        }
        word = std::to_string(found->second);
        return {};
    };
    option_->transform(CLI::Validator(toNumber, ""))->type_name(list);
    return *this;
}

Command Command::subcommand(const std::string& name, const std::string& description) {
    return {*app_->add_subcommand(name, description), *chosen_};
}

void Command::needsSubcommand() {
    app_->require_subcommand(1);
}

Argument Command::flag(const std::string& names, bool& variable, const std::string& description) {
    return Argument(app_->add_flag(names, variable, description));
}

Argument Command::value(const std::string& names, std::string& variable, const std::string& description) {
    return Argument(app_->add_option(names, variable, description));
}

Argument Command::value(const std::string& names, std::vector<std::string>& variable, const std::string& description) {
    return Argument(app_->add_option(names, variable, description));
}

Argument Command::value(const std::string& names, uint32_t& variable, const std::string& description) {
    return Argument(app_->add_option(names, variable, description));
}

void Command::runs(Action action) {
    app_->callback([chosen = chosen_, action = std::move(action)] { *chosen = action; });
}

std::vector<std::string> wordsOf(int argc, char** argv) {
    return {argv + std::min(argc, 1), argv + argc};
}

bool isOutputWritten(const std::string& program) {
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return true;
    }
    const char* const reason = errno == 0 ? "" : std::strerror(errno);
    std::fprintf(stderr, "%s: cannot write to standard output%s%s\n", program.c_str(), *reason == '\0' ? "" : ": ",
                 reason);
    return false;
}

int runCommandLine(const Program& program, std::vector<std::string> words, const std::function<void(Command)>& define) {
    CLI::App app(program.description, program.name);
    app.footer(program.footer);
    app.set_version_flag("--version", program.name + " " TARN_VERSION);
    Action chosen;
    define(Command(app, chosen));
    std::reverse(words.begin(), words.end()); // as CLI11 takes them
    try {
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            app.exit(error); // prints the help or the version
            return isOutputWritten(program.name) ? kDone : kFailed;
        }
        std::fprintf(stderr, "%s: %s; see %s --help\n", program.name.c_str(), reasonOf(app, error).c_str(),
                     commandOf(app).c_str());
        return kUsage;
    }
    return chosen();
}

} // namespace tarn::tool
