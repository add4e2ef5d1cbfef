// tarnctl: shows and changes what the host platform keeps below its directory.
#include <cstdio>
#include <exception>

#include "command.h"
#include "command_line.h"

namespace {

void addCommands(tarnctl::Command tool) {
    tarnctl::addCertCommand(tool);
    tarnctl::addConfigCommand(tool);
    tarnctl::addLogCommand(tool);
    tarnctl::addMemoryCommand(tool);
    tarnctl::addPsCommand(tool);
    tarnctl::addSettingsCommand(tool);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return tarnctl::runCommandLine(argc, argv, addCommands);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarnctl: %s\n", error.what());
        return tarnctl::kFailed;
    }
}
