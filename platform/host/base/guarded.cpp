#include "base/guarded.h"

#include <cerrno>
#include <system_error>

namespace tarn::host {

int errorOf(const std::exception& failure) {
    const auto* const systems = dynamic_cast<const std::system_error*>(&failure);
    // Zero would be success.
    return systems == nullptr || systems->code().value() == 0 ? ENOMEM : systems->code().value();
}

} // namespace tarn::host
