#include "command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>

#include "command.h"
#include "tarn_host/host_process.h"

namespace tarnctl {
namespace {

bool isNegativeNumber(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && std::isdigit(static_cast<unsigned char>(word[1])) != 0;
}

// The words of the command line, last one first, as CLI11 takes them. "config set KEY -5" means the number: without a
// "--" behind "set" the parser would look for an option of that name.
std::vector<std::string> wordsOf(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    const bool sets = words.size() > 2 && words[0] == "config" && words[1] == "set";
    if (sets && std::count(words.begin(), words.end(), "--") == 0 &&
        std::any_of(words.begin() + 2, words.end(), isNegativeNumber)) {
        words.insert(words.begin() + 2, "--");
    }
    std::reverse(words.begin(), words.end());
    return words;
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

int runCommandLine(int argc, char** argv, const std::function<void(Command)>& define) {
    CLI::App app(
        "Shows and drives the host platform. Everything it looks at stands below TARN_HOST_DIR\n"
        "(without it $XDG_RUNTIME_DIR/tarn, else /tmp/tarn-UID).",
        "tarnctl");
    app.footer("Exit codes: 0 done; 1 failed; 2 wrong usage; 3 the key, file or process is not there.");
    app.set_version_flag("--version", "tarnctl " TARN_VERSION);
    app.require_subcommand(1);
    Action chosen;
    define(Command(app, chosen));
    try {
        app.parse(wordsOf(argc, argv));
        TarnHostSetProcessName("tarnctl");
        return chosen();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
}

} // namespace tarnctl
