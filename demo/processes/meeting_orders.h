// Orders of the meeting service that stand in a file of their own.
#pragma once

#include "processes/service_process.h"

namespace tarn::demo {

Reply notifySingle(const Arguments& arguments);
Reply notifyLarge(const Arguments& arguments);
Reply jsonRequest(const Arguments& arguments);
Reply logMasked(const Arguments& arguments);
Reply getConfigList(const Arguments& arguments);
Reply setConfigList(const Arguments& arguments);
Reply sendXmlMessage(const Arguments& arguments);

} // namespace tarn::demo
