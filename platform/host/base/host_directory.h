// Directories of the host platform, for its services.
#pragma once

#include <string>

namespace tarn::host {

// Creates `TARN_HOST_DIR/name` (mode 0700, `name` may hold slashes) if it is absent. Empty, with the reason already on
// standard error, when that fails.
std::string hostSubdirectory(const std::string& name);

// The same without a word: 0, or an `errno` value, with the directory in `path` (the one that failed, or empty when
// there is no host directory at all). For services that try again and again.
int makeHostSubdirectory(const std::string& name, std::string& path);

} // namespace tarn::host
