// Values on their way to the service, and the keys whose values no log may show.
#pragma once

#include "tarn_conference/conf_config.h"

namespace tarn::detail {

// Records of a batch that one call of the service writes.
inline constexpr uint32_t kBatchRecords = 50;

// What `ConfConfigSetList` queues; lives as long as the process.
extern ConfConfigOmBatch g_omCfgPending;

// Both compare exactly, unlike the index.
bool isProtectedKey(const char* key);
// The protected keys whose values are stored encrypted.
bool isEncryptedKey(const char* key);

} // namespace tarn::detail
