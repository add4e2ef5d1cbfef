// See scripted_openssl.cpp.
#pragma once

#include <string>

namespace tarn::test {

// Where the library looked for its engine last.
std::string& engineModulePath();

} // namespace tarn::test
