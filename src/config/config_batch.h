// Values on their way to the service.
#pragma once

#include "tarn_conference/conf_config.h"

namespace tarn::detail {

// Records of a batch that one call of the service writes.
inline constexpr uint32_t kBatchRecords = 50;

// What `ConfConfigSetList` queues; lives as long as the process.
extern ConfConfigOmBatch g_omCfgPending;

} // namespace tarn::detail
