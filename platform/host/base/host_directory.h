// Directories of the host platform, for its services.
#pragma once

#include <string>

namespace tarn::host {

// Creates `TARN_HOST_DIR/name` (mode 0700, `name` may hold slashes) if it is absent. Empty, with the reason already on
// standard error, when that fails.
std::string hostSubdirectory(const std::string& name);

} // namespace tarn::host
