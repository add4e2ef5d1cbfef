// What the commands share: how they are chosen, how they end, how they complain.
#pragma once

#include <cstdint>
#include <string>

#include "command_line.h"

namespace tarnctl {

using tarn::tool::Argument;
using tarn::tool::Command;

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2, kNotFound = 3 };

void addCertCommand(Command app);
void addConfigCommand(Command app);
void addLogCommand(Command app);
void addMemoryCommand(Command app);
void addPsCommand(Command app);
void addSettingsCommand(Command app);

// Writes "tarnctl: text" to standard error; the given exit code.
int complain(ExitCode code, const std::string& text);

// For a call of the host platform that failed with an errno.
int complainOf(const std::string& what, uint32_t error);

// For a file that cannot be read with an errno: kNotFound when there is none.
int complainOfFile(const std::string& path, int error);

// Whether standard output wants colours: a terminal that knows them, and NO_COLOR is not set.
bool wantsColour();

// The text in bold, on a terminal.
std::string emphasised(const std::string& text);

// Flushes standard output; the exit code of a command that did its work.
int finish();

} // namespace tarnctl
