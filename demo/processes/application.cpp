// The application: it is told about things.
#include "processes/application_orders.h"
#include "processes/notification_bridge.h"
#include "processes/service_process.h"
#include "tarn_conference/conf_config.h"

namespace tarn::demo {

namespace {

// config-start: the application serves others' lists and binds nothing itself.
Reply startConfig(const Arguments&) {
    return {{"result", std::to_string(ConfConfigInit([] {}, "TarnUIConf", "Conf"))}};
}

// config-end
Reply endConfig(const Arguments&) {
    ConfConfigUnInit();
    ConfConfigDeInit();
    return {{"result", "0"}};
}

} // namespace

Orders applicationOrders() {
    registerReassembly();
    return {{"config-start", startConfig}, {"config-end", endConfig}, {"tree-fill", fillTree},
            {"tree-clear", clearTree},     {"tree-save", saveTree},   {"tree-load", loadTree},
            {"switches", readSwitches}};
}

} // namespace tarn::demo
