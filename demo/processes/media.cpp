// The media service: it is called, and keeps itself in step with the configuration.
#include "processes/media_config.h"
#include "processes/service_process.h"

namespace tarn::demo {

Orders mediaOrders() {
    return {{"config-start", startConfig},
            {"config-values", configValues},
            {"config-push", pushConfig},
            {"config-end", endConfig}};
}

} // namespace tarn::demo
