// Locks of whole files, which tell other processes that this one lives.
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace tarn::host {

// What fcntl is to lock, or to look for.
inline struct flock wholeFile() {
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    return range;
}

} // namespace tarn::host
