// The command line, in front of the library that reads it: that one is all templates, and each file would compile it
// again.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace CLI { // NOLINT(readability-identifier-naming): its own name
class App;
class Option;
} // namespace CLI

namespace tarn::tool {

// What a command does; returns the exit code.
using Action = std::function<int()>;

// A value or a flag of a command.
class Argument {
 public:
    explicit Argument(CLI::Option* option) : option_(option) {}

    Argument required();
    // The word for its value in the help text.
    Argument named(const std::string& word);
    // Shows the value that stands there now as the default.
    Argument showsDefault();
    Argument excludes(const Argument& other);
    // Takes only these words, which have no capitals, in any letter case, each for its number.
    Argument oneOf(const std::map<std::string, uint32_t>& words);

 private:
    CLI::Option* option_;
};

// A command or a group of commands. Variables that its arguments fill must live until the action has run.
class Command {
 public:
    // `chosen` receives the action of the command that the command line names.
    Command(CLI::App& app, Action& chosen) : app_(&app), chosen_(&chosen) {}

    Command subcommand(const std::string& name, const std::string& description);
    void needsSubcommand();

    Argument flag(const std::string& names, bool& variable, const std::string& description);
    Argument value(const std::string& names, std::string& variable, const std::string& description);
    Argument value(const std::string& names, std::vector<std::string>& variable, const std::string& description);
    Argument value(const std::string& names, uint32_t& variable, const std::string& description);

    void runs(Action action);

 private:
    CLI::App* app_;
    Action* chosen_;
};

// What the help of a program says around its options.
struct Program {
    std::string name;
    std::string description;
    std::string footer;
};

// The words behind the name of the program, first one first.
std::vector<std::string> wordsOf(int argc, char** argv);

// Flushes standard output; false, with a line on standard error, when not all of it could be written.
bool isOutputWritten(const std::string& program);

// Reads the words and runs what they choose; its exit code, or 2 with a line on standard error for wrong usage.
// `define` adds the arguments and commands.
int runCommandLine(const Program& program, std::vector<std::string> words, const std::function<void(Command)>& define);

} // namespace tarn::tool
