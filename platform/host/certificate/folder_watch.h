// Watches the certificate folders, also while they are absent, replaced or made anew.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

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

    int descriptor() const { return events_; }
    // Without it, `retry` has to be called from time to time.
    bool isRooted() const { return nodes_[0].watch >= 0; }
    void retry(ChangeSettler& settler);
    // Takes what the kernel has to tell, one buffer of it.
    void take(ChangeSettler& settler);

 private:
    struct Node {
        const char* name; // Below its parent; the root's is empty.
        int parent;       // Stands before its children.
        int subject;      // -1: none of its own.
        int watch = -1;
    };

    void watchFrom(size_t node);
    void handle(int watch, uint32_t mask, std::string_view name, ChangeSettler& settler);
    void lose(size_t node, ChangeSettler& settler);
    void loseChild(size_t parent, std::string_view name, ChangeSettler& settler);
    bool isBelow(size_t node, size_t ancestor) const;
    void touchBelow(size_t node, ChangeSettler& settler) const;

    int events_ = -1;
    std::array<Node, 9> nodes_;
};

} // namespace tarn::host
