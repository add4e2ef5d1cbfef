// A folder is watched by what it is, not by its name, so each is also a name that its parent's watch tells about: when
// that name comes or goes, the folder and all below it are watched anew. Only the host directory itself has nobody who
// would tell, and is looked for again and again while it is gone.
#include "certificate/folder_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "base/report.h"
#include "certificate/certificate_types.h"
#include "tarn_host/host_process.h"

namespace tarn::host {
namespace {

constexpr uint32_t kNamed = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr uint32_t kLost = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED;
constexpr uint32_t kContent = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB;

uint32_t watchedEvents(int subject) {
    return kNamed | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | (subject >= 0 ? kContent : 0);
}

} // namespace

FolderWatch::FolderWatch()
    : nodes_({{{"", -1, -1},
               {"cert", 0, -1},
               {"ca", 1, kSubjectCa},
               {"crl", 1, kSubjectCrl},
               {"service", 1, -1},
               {kCertificateTypes[0].folder, 4, 0},
               {kCertificateTypes[1].folder, 4, 1},
               {kCertificateTypes[2].folder, 4, 2},
               {kCertificateTypes[3].folder, 4, 3}}}) {
    static_assert(kCertificateTypes.size() == kSubjectCa, "the types come first among the subjects");
}

int FolderWatch::open() {
    events_ = OwnedDescriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (!events_) {
        return errno;
    }
    watchFrom(0);
    if (isRooted()) {
        return 0;
    }
    const int error = errno;
    close();
    return error;
}

void FolderWatch::close() {
    events_ = OwnedDescriptor();
    for (Node& node : nodes_) {
        node.watch = -1;
        node.error = 0;
    }
}

// Leaves `errno` of the node's own watch when that fails.
void FolderWatch::watchFrom(size_t start) {
    std::array<std::string, std::tuple_size_v<decltype(nodes_)>> paths;
    int startError = 0;
    for (size_t i = 0; i < nodes_.size(); i++) {
        Node& node = nodes_[i];
        if (node.parent < 0) {
            const char* const root = TarnHostDir();
            paths[i] = root == nullptr ? "" : root;
        } else {
            paths[i] = paths[static_cast<size_t>(node.parent)];
            paths[i].append("/").append(node.name);
        }
        if (!isBelow(i, start)) {
            continue;
        }
        watch(node, paths[i]);
        startError = i == start && node.watch < 0 ? errno : startError;
    }
    tellTrouble();
    errno = startError;
}

// Leaves `errno` when that fails.
void FolderWatch::watch(Node& node, const std::string& path) {
    const int before = node.watch;
    node.watch = inotify_add_watch(events_.get(), path.c_str(), watchedEvents(node.subject));
    const int error = node.watch < 0 ? errno : 0;
    node.error = error == ENOENT || error == ENOTDIR ? 0 : error;
    if (before >= 0 && before != node.watch) {
        inotify_rm_watch(events_.get(), before); // Fails when the kernel was quicker.
    }
    errno = error;
}

void FolderWatch::tellTrouble() {
    const auto troubled = std::find_if(nodes_.begin(), nodes_.end(), [](const Node& node) { return node.error != 0; });
    const int error = troubled == nodes_.end() ? 0 : troubled->error;
    if (told_.isNews(error)) {
        report("changes below the certificate folder \"%s\" cannot be watched: %s; tried again every second",
               troubled->name, std::strerror(error));
    }
}

bool FolderWatch::isWhole() const {
    return isRooted() && std::all_of(nodes_.begin(), nodes_.end(), [](const Node& node) { return node.error == 0; });
}

bool FolderWatch::isBelow(size_t node, size_t ancestor) const {
    while (node > ancestor) {
        node = static_cast<size_t>(nodes_[node].parent);
    }
    return node == ancestor;
}

void FolderWatch::touchBelow(size_t start, ChangeSettler& settler) const {
    const auto now = std::chrono::steady_clock::now();
    for (size_t i = start; i < nodes_.size(); i++) {
        if (nodes_[i].subject >= 0 && isBelow(i, start)) {
            settler.touch(static_cast<size_t>(nodes_[i].subject), now);
        }
    }
}

void FolderWatch::retry(ChangeSettler& settler, bool everything) {
    const auto before = nodes_;
    watchFrom(0);
    for (size_t i = 0; i < nodes_.size(); i++) {
        if (nodes_[i].watch >= 0 && (everything || before[i].watch < 0)) {
            touchBelow(i, settler);
        }
    }
}

// Something else, or nothing, may stand in the node's place now.
void FolderWatch::lose(size_t node, ChangeSettler& settler) {
    watchFrom(node);
    touchBelow(node, settler);
}

void FolderWatch::loseChild(size_t parent, std::string_view name, ChangeSettler& settler) {
    for (size_t child = parent + 1; child < nodes_.size(); child++) {
        if (nodes_[child].parent == static_cast<int>(parent) && name == nodes_[child].name) {
            lose(child, settler);
        }
    }
}

void FolderWatch::handle(int watch, uint32_t mask, std::string_view name, ChangeSettler& settler) {
    if ((mask & IN_Q_OVERFLOW) != 0) {
        lose(0, settler);
        return;
    }
    // One folder can stand under two names, by a symbolic link.
    for (size_t i = 0; i < nodes_.size(); i++) {
        if (nodes_[i].watch != watch) {
            continue;
        }
        if ((mask & kLost) != 0) {
            lose(i, settler);
        } else if (nodes_[i].subject >= 0) {
            touchBelow(i, settler);
        } else {
            loseChild(i, name, settler);
        }
    }
}

void FolderWatch::take(ChangeSettler& settler) {
    alignas(inotify_event) std::array<char, size_t{16} * 1024> buffer;
    const ssize_t length = read(events_.get(), buffer.data(), buffer.size());
    for (ssize_t offset = 0; offset < length;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + offset);
        offset += static_cast<ssize_t>(sizeof *event + event->len);
        handle(event->wd, event->mask, event->len > 0 ? event->name : "", settler);
    }
}

} // namespace tarn::host
