#include "command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace tarn::tool {
namespace {

constexpr int kDone = 0;
constexpr int kUsage = 2;

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
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    return chosen();
}

} // namespace tarn::tool
