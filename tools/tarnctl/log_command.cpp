// "tarnctl log": the last records of a process, and the next ones as they come. Only the newest file of each log counts
// for the last records; --follow goes on when the process starts a new one.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <map>
#include <memory>

#include "command.h"
#include "tarn_host/host_log.h"
#include "tarn_host/host_process.h"

namespace tarnctl {
namespace {

struct Options {
    std::string process;
    uint32_t count = 20;
    bool follow = false;
};

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

// Names in the directory without those that begin with '.', sorted; false when it cannot be read.
bool readNames(const std::string& path, std::vector<std::string>& names) {
    const std::unique_ptr<DIR, CloseDirectory> directory(opendir(path.c_str()));
    if (directory == nullptr) {
        return false;
    }
    while (const dirent* entry = readdir(directory.get())) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return true;
}

// Whether a name is that of an older file, "FILE.1" and so on.
bool isPredecessor(const std::string& name) {
    const size_t dot = name.rfind('.');
    return dot != std::string::npos && dot + 1 < name.size() &&
           name.find_first_not_of("0123456789", dot + 1) == std::string::npos;
}

int listProcesses() {
    const char* directory = TarnHostDir();
    std::vector<std::string> names;
    if (directory == nullptr || (!readNames(std::string(directory) + "/log", names) && errno != ENOENT)) {
        return complain(kFailed, std::string("cannot read the logs: ") + std::strerror(errno));
    }
    for (const std::string& name : names) {
        std::printf("%s\n", name.c_str());
    }
    return finish();
}

// One log file, read on from where it was left.
class Reader {
 public:
    // What was written since, line by line; from the beginning of a file that is new under the name.
    template <typename Line>
    void readOn(const std::string& path, Line line) {
        struct stat status = {};
        if (stat(path.c_str(), &status) != 0) {
            return;
        }
        if (status.st_ino != inode_ || status.st_size < offset_) {
            inode_ = status.st_ino;
            offset_ = 0;
        }
        std::ifstream file(path, std::ios::binary);
        file.seekg(offset_);
        for (std::string text; std::getline(file, text) && !file.eof();) {
            offset_ += static_cast<off_t>(text.size() + 1);
            line(text);
        }
    }

 private:
    ino_t inode_ = 0;
    off_t offset_ = 0;
};

class LogView {
 public:
    explicit LogView(std::string directory) : directory_(std::move(directory)) {}

    // Reads on in all files; false when the directory cannot be read.
    template <typename Line>
    bool readOn(Line line) {
        std::vector<std::string> names;
        if (!readNames(directory_, names)) {
            return false;
        }
        for (const std::string& name : names) {
            if (!isPredecessor(name)) {
                readers_[name].readOn(directory_ + "/" + name, line);
            }
        }
        return true;
    }

 private:
    std::string directory_;
    std::map<std::string, Reader> readers_;
};

int follow(LogView& view, int events) {
    pollfd readable = {events, POLLIN, 0};
    std::array<char, 4096> ignored;
    while (poll(&readable, 1, -1) > 0) {
        [[maybe_unused]] const ssize_t taken = read(events, ignored.data(), ignored.size());
        view.readOn([](const std::string& line) { std::printf("%s\n", line.c_str()); });
        if (finish() != kDone) {
            return kFailed;
        }
    }
    return complain(kFailed, std::string("cannot follow the log: ") + std::strerror(errno));
}

int show(const Options& options) {
    if (options.process.empty()) {
        return listProcesses();
    }
    std::array<char, 4096> directory = {};
    const uint32_t error = TarnHostLogDirectory(options.process.c_str(), directory.data(), directory.size());
    if (error != 0) {
        return complainOf("there can be no log of " + options.process, error);
    }
    // Watched before it is read, so that nothing falls between.
    const int events = inotify_init1(IN_CLOEXEC);
    const int watch = inotify_add_watch(events, directory.data(), IN_MODIFY | IN_CREATE | IN_MOVED_TO);
    LogView view(directory.data());
    std::deque<std::string> last;
    const bool isRead = view.readOn([&](const std::string& line) {
        last.push_back(line);
        if (last.size() > options.count) {
            last.pop_front();
        }
    });
    if (!isRead) {
        return complain(errno == ENOENT ? kNotFound : kFailed, "cannot read the log of " + options.process + " in " +
                                                                   directory.data() + ": " + std::strerror(errno) +
                                                                   "; \"tarnctl log\" lists the processes");
    }
    for (const std::string& line : last) {
        std::printf("%s\n", line.c_str());
    }
    const int shown = finish();
    if (shown != kDone || !options.follow) {
        return shown;
    }
    return watch < 0 ? complain(kFailed, std::string("cannot follow the log: ") + std::strerror(errno))
                     : follow(view, events);
}

} // namespace

void addLogCommand(CLI::App& app, Chosen& chosen) {
    CLI::App* const command =
        app.add_subcommand("log", "Prints the last records of a process; without one, whose logs there are");
    auto options = std::make_shared<Options>();
    command->add_option("PROCESS", options->process, "Name of the process, or NAME.PID");
    command->add_option("-n,--lines", options->count, "How many records of all its files together")
        ->capture_default_str();
    command->add_flag("-f,--follow", options->follow, "Go on with new records until Ctrl-C");
    command->callback([options, &chosen] { chosen = [options] { return show(*options); }; });
}

} // namespace tarnctl
