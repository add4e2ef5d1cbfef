// In a process that was started with a standard descriptor closed, the next file that is opened gets its number, and
// all that is meant for standard error would go into that file.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace tarn::host {

// A new descriptor, or -1 with `errno`, as it is or under a number that is nobody's standard descriptor.
inline int aboveStandard(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int lifted = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int savedErrno = errno;
    close(descriptor);
    errno = savedErrno;
    return lifted;
}

} // namespace tarn::host
