// tarnctl: shows and changes what the host platform keeps below its directory.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "command.h"
#include "tarn_host/host_process.h"

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

int run(int argc, char** argv) {
    CLI::App app(
        "Shows and drives the host platform. Everything it looks at stands below TARN_HOST_DIR\n"
        "(without it $XDG_RUNTIME_DIR/tarn, else /tmp/tarn-UID).",
        "tarnctl");
    app.footer("Exit codes: 0 done; 1 failed; 2 wrong usage; 3 the key, file or process is not there.");
    app.set_version_flag("--version", "tarnctl " TARN_VERSION);
    app.require_subcommand(1);
    tarnctl::Chosen chosen;
    tarnctl::addCertCommand(app, chosen);
    tarnctl::addConfigCommand(app, chosen);
    tarnctl::addLogCommand(app, chosen);
    tarnctl::addMemoryCommand(app, chosen);
    tarnctl::addPsCommand(app, chosen);
    tarnctl::addSettingsCommand(app, chosen);
    try {
        app.parse(wordsOf(argc, argv));
        TarnHostSetProcessName("tarnctl");
        return chosen();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? tarnctl::kDone : tarnctl::kUsage;
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarnctl: %s\n", error.what());
        return tarnctl::kFailed;
    }
}
