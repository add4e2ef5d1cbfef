// tarnctl: shows and changes what the host platform keeps below its directory.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>

#include "command.h"
#include "tarn_host/host_process.h"

namespace tarnctl {
namespace {

bool isNegativeNumber(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && std::isdigit(static_cast<unsigned char>(word[1])) != 0;
}

// "config set KEY -5" means the number: without a "--" behind "set" the parser would look for an option of that name.
std::vector<std::string> withNegativeNumbers(std::vector<std::string> words) {
    const bool sets = words.size() > 2 && words[0] == "config" && words[1] == "set";
    if (sets && std::count(words.begin(), words.end(), "--") == 0 &&
        std::any_of(words.begin() + 2, words.end(), isNegativeNumber)) {
        words.insert(words.begin() + 2, "--");
    }
    return words;
}

void addCommands(Command tool) {
    tool.needsSubcommand();
    addCertCommand(tool);
    addConfigCommand(tool);
    addLogCommand(tool);
    addMemoryCommand(tool);
    addPsCommand(tool);
    addSettingsCommand(tool);
}

int run(int argc, char** argv) {
    TarnHostSetProcessName("tarnctl");
    return tarn::tool::runCommandLine(
        {"tarnctl",
         "Shows and drives the host platform. Everything it looks at stands below TARN_HOST_DIR\n"
         "(without it $XDG_RUNTIME_DIR/tarn, else /tmp/tarn-UID).",
         "Exit codes: 0 done; 1 failed; 2 wrong usage; 3 the key, file or process is not there."},
        withNegativeNumbers(tarn::tool::wordsOf(argc, argv)), addCommands);
}

} // namespace
} // namespace tarnctl

int main(int argc, char** argv) {
    try {
        return tarnctl::run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarnctl: %s\n", error.what());
        return tarnctl::kFailed;
    }
}
