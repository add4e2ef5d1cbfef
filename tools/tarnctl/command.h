// What the commands share: how they are chosen, how they end, how they complain.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace tarnctl {

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2, kNotFound = 3 };

// What the command line asks for; set while it is read, run afterwards.
using Chosen = std::function<int()>;

void addCertCommand(CLI::App& app, Chosen& chosen);
void addConfigCommand(CLI::App& app, Chosen& chosen);
void addLogCommand(CLI::App& app, Chosen& chosen);
void addMemoryCommand(CLI::App& app, Chosen& chosen);
void addPsCommand(CLI::App& app, Chosen& chosen);
void addSettingsCommand(CLI::App& app, Chosen& chosen);

// Writes "tarnctl: text" to standard error; the given exit code.
int complain(ExitCode code, const std::string& text);

// For a call of the host platform that failed with an errno.
int complainOf(const std::string& what, uint32_t error);

// Whether standard output wants colours: a terminal, and NO_COLOR is not set.
bool wantsColour();

// The text in bold, on a terminal.
std::string emphasised(const std::string& text);

// Flushes standard output; the exit code of a command that did its work.
int finish();

} // namespace tarnctl
