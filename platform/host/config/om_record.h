// What may be asked for and written: keys of 1 to 127 bytes, values of up to 1023. The text counts; a length of 0
// stands for "not filled in", any other must be the text's.
#pragma once

#include <span>

#include "tarn_platform/om_config.h"

namespace tarn::host {

// Whether it can be read as a key, an empty one too.
bool isKeyField(const ConfConfigOmKey& key);

// 0 or EINVAL.
int checkKey(const ConfConfigOmKey& key);
int checkRecords(std::span<const ConfConfigOmRecord> records);

} // namespace tarn::host
