// Watches the certificate folders, also while they are absent, replaced or made anew.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/owned_descriptor.h"
#include "base/told_error.h"
#include "certificate/change_settler.h"

namespace tarn::host {

// What can change: a service certificate by its place in the type table, or one of these.
inline constexpr size_t kSubjectCa = 4;
inline constexpr size_t kSubjectCrl = 5;

class FolderWatch {
 public:
    FolderWatch();

    // 0 or an errno.
    int open();
    // In a forked child, and for a watch that is not needed any more.
    void close();

    int descriptor() const { return events_.get(); }
    // Otherwise `retry` has to be called from time to time.
    bool isWhole() const;
    // Folders that are watched again count as changed; with `everything` all do.
    void retry(ChangeSettler& settler, bool everything);
    // Takes what the kernel has to tell, one buffer of it.
    void take(ChangeSettler& settler);

 private:
    struct Node {
        const char* name; // Below its parent; the root's is empty.
        int parent;       // Stands before its children.
        int subject;      // -1: none of its own.
        int watch = -1;
        int error = 0; // Why the folder is not watched though it is there.
    };

    bool isRooted() const { return nodes_[0].watch >= 0; }
    void watchFrom(size_t node);
    void watch(Node& node, const std::string& path);
    void tellTrouble();
    void handle(int watch, uint32_t mask, std::string_view name, ChangeSettler& settler);
    void lose(size_t node, ChangeSettler& settler);
    void loseChild(size_t parent, std::string_view name, ChangeSettler& settler);
    bool isBelow(size_t node, size_t ancestor) const;
    void touchBelow(size_t node, ChangeSettler& settler) const;

    OwnedDescriptor events_;
    std::array<Node, 9> nodes_;
    ToldError told_;
};

} // namespace tarn::host
