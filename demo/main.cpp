// tarn_demo: an endpoint of three real processes on the host platform, shown at work. Exit code 0 only when every
// observation was made.
#include <getopt.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>

#include "scenes/scene.h"

namespace tarn::demo {
namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitInterrupted = 130;

constexpr const char* kUsage =
    "usage: tarn_demo [options]\n"
    "\n"
    "Shows an endpoint of three processes (meeting, media, application) on the host platform: they log, call each\n"
    "other, keep time, follow the configuration, talk over TLS, and survive the killing of one of them. Each line\n"
    "marked \"ok\" was checked.\n"
    "\n"
    "  -k, --keep       leave the endpoint's directory behind, to look around in it\n"
    "      --no-colour  plain text even on a terminal\n"
    "  -h, --help       this text\n"
    "\n"
    "exit code: 0 every observation made, 1 one failed, 2 wrong usage, 130 interrupted\n";

struct Options {
    bool keep = false;
    bool colours = false;
};

// The endpoint's own directory, removed at the end unless it is to be kept.
class StageDirectory {
 public:
    explicit StageDirectory(bool keep) : keep_(keep) {
        std::string wanted = (std::filesystem::temp_directory_path() / "tarn-demo-XXXXXX").string();
        if (mkdtemp(wanted.data()) == nullptr) {
            throw std::filesystem::filesystem_error("cannot make a directory", wanted,
                                                    std::error_code(errno, std::generic_category()));
        }
        path_ = wanted;
        setenv("TARN_HOST_DIR", wanted.c_str(), 1);
    }
    ~StageDirectory() {
        std::error_code ignored;
        if (!keep_) {
            std::filesystem::remove_all(path_, ignored);
        }
    }
    StageDirectory(const StageDirectory&) = delete;
    StageDirectory& operator=(const StageDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

 private:
    bool keep_;
    std::filesystem::path path_;
};

void onInterrupt(int) {
    noteInterrupt();
}

void catchInterrupts() {
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}

int perform(const Options& options) {
    Transcript transcript(options.colours);
    const StageDirectory directory(options.keep);
    transcript.title("An endpoint of three processes on the host platform");
    transcript.note("everything of it stands below " + directory.path().string() +
                    (options.keep ? "" : ", removed at the end"));
    {
        Endpoint endpoint;
        Stage stage = {endpoint, transcript, LogReader(directory.path()), directory.path()};
        for (const auto scene : {sceneStart, sceneCalls, sceneNotifications, sceneTexts, sceneTimers, sceneConfig,
                                 sceneXml, sceneTls, sceneCrash, sceneEnd}) {
            if (!interrupted()) {
                scene(stage);
            }
        }
    }
    transcript.verdict(interrupted());
    if (interrupted()) {
        return kExitInterrupted;
    }
    return transcript.failures() == 0 ? 0 : kExitFailed;
}

bool wantsColour() {
    const char* const never = getenv("NO_COLOR");
    const char* const terminal = getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && (never == nullptr || *never == '\0') && terminal != nullptr &&
           std::strcmp(terminal, "dumb") != 0;
}

// The exit code to end with at once, or -1 to go on.
int parse(int argc, char** argv, Options& options) {
    constexpr option kLong[] = {{"keep", no_argument, nullptr, 'k'},
                                {"no-colour", no_argument, nullptr, 'n'},
                                {"help", no_argument, nullptr, 'h'},
                                {nullptr, 0, nullptr, 0}};
    options.colours = wantsColour();
    for (int opt = 0; (opt = getopt_long(argc, argv, "kh", kLong, nullptr)) != -1;) {
        switch (opt) {
            case 'k':
                options.keep = true;
                break;
            case 'n':
                options.colours = false;
                break;
            case 'h':
                return std::fputs(kUsage, stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : kExitFailed;
            default:
                std::fputs(kUsage, stderr);
                return kExitUsage;
        }
    }
    if (optind < argc) {
        std::fprintf(stderr, "tarn_demo: what is \"%s\"?\n%s", argv[optind], kUsage);
        return kExitUsage;
    }
    return -1;
}

} // namespace
} // namespace tarn::demo

int main(int argc, char** argv) {
    using namespace tarn::demo;
    Options options;
    const int ended = parse(argc, argv, options);
    if (ended >= 0) {
        return ended;
    }
    catchInterrupts();
    try {
        return perform(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarn_demo: %s\n", error.what());
        return kExitFailed;
    }
}
