// Directories of the host platform, for its services.
#pragma once

#include <string>

#include "base/told_error.h"

namespace tarn::host {

// Creates `TARN_HOST_DIR/name` (mode 0700, `name` may hold slashes) if it is absent. 0, or an `errno` value, with the
// directory in `path` (the one that failed). Tells nobody, unless it is the host directory itself that fails.
int makeHostSubdirectory(const std::string& name, std::string& path);

// The directory of a service below the host directory.
class HostSubdirectory {
 public:
    constexpr explicit HostSubdirectory(const char* name) : name_(name) {}

    // As above; an error is told on standard error once.
    int make(std::string& path);

 private:
    const char* name_;
    ToldError told_;
};

} // namespace tarn::host
