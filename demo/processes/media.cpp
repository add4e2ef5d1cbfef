// The media service: it is called, and does nothing of its own accord.
#include "processes/service_process.h"

namespace tarn::demo {

Orders mediaOrders() {
    return {};
}

} // namespace tarn::demo
