// "tarnctl log": the last records of a process, and the next ones as they come. Only the newest file of each log counts
// for the last records; --follow goes on when the process starts a new one.
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>

#include "command.h"
#include "json.h"
#include "log_files.h"
#include "log_record.h"
#include "tarn_host/host_log.h"
#include "tarn_host/host_process.h"

namespace tarnctl {
namespace {

constexpr int kLookAgainMs = 1000;

struct Options {
    std::string process;
    uint32_t count = 20;
    bool follow = false;
    bool json = false;
};

int listProcesses(bool json) {
    const char* directory = TarnHostDir();
    if (directory == nullptr) {
        return kFailed; // It has said why.
    }
    std::vector<std::string> names;
    if (!readNames(std::string(directory) + "/log", names) && errno != ENOENT) {
        return complain(kFailed, std::string("cannot read the logs: ") + std::strerror(errno));
    }
    const Json array = makeArray();
    for (const std::string& name : names) {
        if (json) {
            addElement(*array, makeText(name));
        } else {
            std::printf("%s\n", name.c_str());
        }
    }
    if (json) {
        printText(*array);
    }
    return finish();
}

void print(const std::string& record, bool json) {
    if (json) {
        printLine(*objectOfRecord(record));
    } else {
        std::printf("%s\n", record.c_str());
    }
}

// An inotify descriptor that tells of changes in the directory, or -1 with `errno`.
int watch(const char* directory) {
    const int events = inotify_init1(IN_CLOEXEC);
    return events < 0 || inotify_add_watch(events, directory, IN_MODIFY | IN_CREATE | IN_MOVED_TO) < 0 ? -1 : events;
}

int complainOfWatch(int error) {
    const std::string reason = std::string("cannot follow the log: ") + std::strerror(error);
    switch (error) {
        case EMFILE:
            return complain(kFailed, reason + "; raise fs.inotify.max_user_instances (sysctl), or ulimit -n");
        case ENOSPC:
            return complain(kFailed, reason + "; raise fs.inotify.max_user_watches (sysctl)");
        default:
            return complain(kFailed, reason);
    }
}

// Until the directory is gone, or Ctrl-C.
int follow(LogView& view, int events, bool json) {
    pollfd readable = {events, POLLIN, 0};
    std::array<char, 4096> ignored;
    while (true) {
        if (!view.readOn([json](const std::string& record) { print(record, json); })) {
            return complain(kFailed, std::string("the log can be followed no further: ") + std::strerror(errno));
        }
        if (finish() != kDone) {
            return kFailed;
        }
        // The kernel keeps a removed directory, and tells nothing of it, as long as a file of it is open here.
        if (poll(&readable, 1, kLookAgainMs) > 0) {
            [[maybe_unused]] const ssize_t taken = read(events, ignored.data(), ignored.size());
        }
    }
}

int show(const Options& options) {
    if (options.process.empty()) {
        return listProcesses(options.json);
    }
    std::array<char, 4096> directory = {};
    const uint32_t error = TarnHostLogDirectory(options.process.c_str(), directory.data(), directory.size());
    if (error != 0) {
        return complainOf("there can be no log of " + options.process, error);
    }
    // Watched before it is read, so that nothing falls between.
    const int events = options.follow ? watch(directory.data()) : -1;
    const int watchError = errno;
    LogView view(directory.data());
    std::deque<std::string> last;
    const bool isRead = view.readOn([&](const std::string& record) {
        last.push_back(record);
        if (last.size() > options.count) {
            last.pop_front();
        }
    });
    if (!isRead) {
        return complain(errno == ENOENT ? kNotFound : kFailed, "cannot read the log of " + options.process + " in " +
                                                                   directory.data() + ": " + std::strerror(errno) +
                                                                   "; \"tarnctl log\" lists the processes");
    }
    for (const std::string& record : last) {
        print(record, options.json);
    }
    const int shown = finish();
    if (shown != kDone || !options.follow) {
        return shown;
    }
    return events < 0 ? complainOfWatch(watchError) : follow(view, events, options.json);
}

} // namespace

void addLogCommand(Command app) {
    Command command = app.subcommand("log", "Prints the last records of a process; without one, whose logs there are");
    auto options = std::make_shared<Options>();
    command.value("PROCESS", options->process, "Name of the process, or NAME.PID");
    command.value("-n,--lines", options->count, "How many records, of the newest file of each of its logs")
        .showsDefault();
    command.flag("-f,--follow", options->follow, "Go on with new records until Ctrl-C");
    command.flag("--json", options->json, "Print one JSON object a record, or a JSON array of the processes");
    command.runs([options] { return show(*options); });
}

} // namespace tarnctl
