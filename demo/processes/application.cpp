// The application: it is told about things.
#include "processes/notification_bridge.h"
#include "processes/service_process.h"

namespace tarn::demo {

Orders applicationOrders() {
    registerReassembly();
    return {};
}

} // namespace tarn::demo
