// How the library's own code logs: the writing function and line are filled in, the log name is a constant of the file.
#pragma once

#include "tarn_conference/conf_log.h"

// Each source file that logs defines `kLogName`, the fixed name under which its records are known to readers of the
// log.
#define TARN_LOG(level, ...) TARN_LOG_AS(__func__, level, __VA_ARGS__)

// For code that an exported function shares with others: the record carries that function's name.
#define TARN_LOG_AS(function, level, ...) ConfLogPrintf((level), (function), kLogName, __LINE__, __VA_ARGS__)

namespace tarn::detail {

inline constexpr const char* kNullPointerText = "Null ptr.";
inline constexpr const char* kSecureFunctionText = "conf secure func failed, err = %d!\n";

} // namespace tarn::detail
