// tarn_launch: runs the processes of an image, a shared object that exports a table of them.
#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <string.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "command_line.h"
#include "tarn_host/host_launcher.h"

namespace {

constexpr int kFailed = 1;
constexpr int kCannotStart = 2;
constexpr int kSignalBase = 128;

struct Options {
    std::string image;
    std::vector<std::string> names;
    uint32_t graceMs = 3000;
    bool list = false;
};

struct LauncherDestroy {
    void operator()(TarnHostLauncher* launcher) const { TarnHostLauncherDestroy(launcher); }
};
using LauncherPointer = std::unique_ptr<TarnHostLauncher, LauncherDestroy>;

void complain(const std::string& text) {
    std::fprintf(stderr, "tarn_launch: %s\n", text.c_str());
}

// The table of the image, or null, with the reason on standard error. The image stays loaded.
const TarnHostImage* loadImage(const std::string& path) {
    // Without a slash the loader would look through its library path.
    const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
    void* object = dlopen(file.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (object == nullptr) {
        complain(std::string("cannot load the image: ") + dlerror());
        return nullptr;
    }
    const auto* image = static_cast<const TarnHostImage*>(dlsym(object, TARN_HOST_IMAGE_SYMBOL));
    if (image == nullptr) {
        complain(path + " has no table of processes: it does not export " TARN_HOST_IMAGE_SYMBOL);
        return nullptr;
    }
    if (image->version != TARN_HOST_IMAGE_VERSION) {
        complain(path + " has a table of version " + std::to_string(image->version) + ", this program reads version " +
                 std::to_string(TARN_HOST_IMAGE_VERSION));
        return nullptr;
    }
    if (image->count == 0 || image->processes == nullptr) {
        complain(path + " has an empty table of processes");
        return nullptr;
    }
    return image;
}

const TarnHostProcess* findProcess(const TarnHostImage& image, const std::string& name) {
    for (uint32_t i = 0; i < image.count; i++) {
        if (image.processes[i].name != nullptr && name == image.processes[i].name) {
            return &image.processes[i];
        }
    }
    return nullptr;
}

bool sameName(const TarnHostProcess* left, const TarnHostProcess* right) {
    return left->name != nullptr && right->name != nullptr && strcmp(left->name, right->name) == 0;
}

// All of the table, or those named, in the order named; empty, with the reason on standard error, for a name that is
// unknown or stands twice.
std::vector<const TarnHostProcess*> choose(const TarnHostImage& image, const Options& options) {
    std::vector<const TarnHostProcess*> chosen;
    for (const std::string& name : options.names) {
        const TarnHostProcess* process = findProcess(image, name);
        if (process == nullptr) {
            complain(options.image + " has no process " + name + "; --list shows what it has");
            return {};
        }
        chosen.push_back(process);
    }
    for (uint32_t i = 0; options.names.empty() && i < image.count; i++) {
        chosen.push_back(&image.processes[i]);
    }
    for (auto later = chosen.begin(); later != chosen.end(); ++later) {
        if (std::any_of(chosen.begin(), later, [&](const auto* earlier) { return sameName(earlier, *later); })) {
            complain(std::string("process ") + (*later)->name + " would be started twice");
            return {};
        }
    }
    return chosen;
}

// A signal during the start waits until all run and can be stopped in order.
void holdSignals() {
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGINT);
    sigaddset(&held, SIGTERM);
    sigprocmask(SIG_BLOCK, &held, nullptr);
}

bool start(TarnHostLauncher* launcher, const TarnHostProcess& process) {
    const std::string name = process.name == nullptr ? "" : process.name;
    TarnHostProcessState state = {};
    uint32_t error = TarnHostLauncherStart(launcher, &process);
    error = error != 0 ? error : TarnHostLauncherState(launcher, name.c_str(), &state);
    if (error != 0) {
        complain("cannot start process \"" + name + "\": " + strerror(static_cast<int>(error)));
        return false;
    }
    complain("process " + name + " started (pid " + std::to_string(state.pid) + ")");
    return true;
}

void tellEnd(const TarnHostProcessState* ended, void* /*argument*/) {
    const std::string who = std::string("process ") + ended->name + " (pid " + std::to_string(ended->pid) + ")";
    if (ended->signal != 0) {
        complain(who + " was ended by signal " + std::to_string(ended->signal) + " (" + strsignal(ended->signal) + ")");
    } else {
        complain(who + " ended with exit code " + std::to_string(ended->exitCode));
    }
}

// Until all have ended; the exit code.
int waitForAll(TarnHostLauncher* launcher, uint32_t graceMs) {
    int signal = 0;
    const uint32_t result = TarnHostLauncherRun(launcher, graceMs, tellEnd, nullptr, &signal);
    if (result != 0 && result != ECHILD && result != ECANCELED) {
        complain(std::string("cannot wait for the processes: ") + strerror(static_cast<int>(result)));
    }
    return signal != 0 ? kSignalBase + signal : result == 0 ? 0 : kFailed;
}

int launch(const Options& options) {
    const TarnHostImage* image = loadImage(options.image);
    if (image == nullptr) {
        return kCannotStart;
    }
    const std::vector<const TarnHostProcess*> chosen = choose(*image, options);
    if (chosen.empty()) {
        return kCannotStart;
    }
    if (options.list) {
        for (const TarnHostProcess* process : chosen) {
            std::printf("%s\n", process->name == nullptr ? "" : process->name);
        }
        return tarn::tool::isOutputWritten("tarn_launch") ? 0 : kFailed;
    }
    holdSignals();
    const LauncherPointer launcher(TarnHostLauncherCreate());
    if (launcher == nullptr) {
        complain(strerror(ENOMEM));
        return kCannotStart;
    }
    for (const TarnHostProcess* process : chosen) {
        if (!start(launcher.get(), *process)) {
            return kCannotStart;
        }
    }
    return waitForAll(launcher.get(), options.graceMs);
}

void addArguments(tarn::tool::Command tool) {
    const auto options = std::make_shared<Options>();
    tool.value("IMAGE", options->image, "The shared object").required();
    tool.value("NAME", options->names, "Processes to start, in this order; without names, all of the table");
    tool.flag("-l,--list", options->list, "Print the names of the processes and start none");
    tool.value("-g,--grace", options->graceMs, "Milliseconds that processes have to end after SIGTERM").showsDefault();
    tool.runs([options] { return launch(*options); });
}

int run(int argc, char** argv) {
    return tarn::tool::runCommandLine(
        {"tarn_launch",
         "Starts the processes of an image, a shared object that exports a table of processes, and takes them\n"
         "down together. SIGINT and SIGTERM stop them; none is restarted.",
         "Exit codes: 0 all processes ended with 0; 1 one did not, or waiting for them or printing failed;\n"
         "2 wrong usage, an image that cannot be used, or a process that could not be started; 128 + signal when\n"
         "stopped by a signal."},
        tarn::tool::wordsOf(argc, argv), addArguments);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarn_launch: %s\n", error.what());
        return kCannotStart;
    }
}
