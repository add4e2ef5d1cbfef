// The media service's configuration: items of every type, bound to its variables.
#pragma once

#include "processes/service_process.h"

namespace tarn::demo {

// config-start: binds the items and loads them. Replies with all values.
Reply startConfig(const Arguments& arguments);
// config-values: all values as the variables have them.
Reply configValues(const Arguments& arguments);
// config-push: changes variables and writes all items below the media service's prefix to the configuration service.
Reply pushConfig(const Arguments& arguments);
// config-end: ends what `startConfig` began.
Reply endConfig(const Arguments& arguments);

} // namespace tarn::demo
