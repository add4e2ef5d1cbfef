// Orders of the application that stand in files of their own.
#pragma once

#include "processes/service_process.h"

namespace tarn::demo {

// The application's lasting variables, in application_tree.cpp.
Reply fillTree(const Arguments& arguments);
Reply clearTree(const Arguments& arguments);
Reply saveTree(const Arguments& arguments);
Reply loadTree(const Arguments& arguments);

// switches: reads the settings file and asks the six switches.
Reply readSwitches(const Arguments& arguments);

} // namespace tarn::demo
